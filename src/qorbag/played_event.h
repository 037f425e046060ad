// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYED_EVENT_H
#define QOR_QORBAG_PLAYED_EVENT_H

#include <string>

#include "src/common/records/event_info.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/played_event_index.h"
#include "src/qorbag/player_options.h"

namespace qor::qorbag {

/// A recorded event as it is to be published: what was recorded, with what the options say in its place. A plain value.
struct PlayedEvent {
  PlayedEvent(const Connection& recorded, const PlayerOptions& options);

  maintaind::DriverType Driver() const { return connection->driverType; }
  maintaind::EventInfo& Binding() { return registration.bindings[Driver()]; }
  const maintaind::EventInfo& Binding() const { return registration.bindings.at(Driver()); }
  PlayedEventIndex Index() const { return IndexOf(Driver(), Binding()); }

  const Connection* connection;  ///< outlives it
  maintaind::EventRegisterInfo registration;
  bool isRaw;  ///< published as mbuf samples
};

/// The topic of an event under its new name: the part that is made of the old one is replaced, or all of it.
std::string RenamedTopic(const std::string& topic, const std::string& oldName, const std::string& newName);

}  // namespace qor::qorbag

#endif
