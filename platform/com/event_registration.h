// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_EVENT_REGISTRATION_H
#define QOR_COM_EVENT_REGISTRATION_H

#include <cstdint>
#include <string>

#include "src/common/records/event_info.h"
#include "src/common/records/node_info.h"

namespace qor::com {

/// The place of one side of one event in the daemon's registry, from construction to destruction.
class EventRegistration {
 public:
  /// `config` is the event's configuration with the bindings that are really used; who uses it is filled in here.
  EventRegistration(maintaind::EntityRole role, const std::string& nodeName, maintaind::EventRegisterInfo config);
  ~EventRegistration();
  EventRegistration(const EventRegistration&) = delete;
  EventRegistration& operator=(const EventRegistration&) = delete;

 private:
  std::uint32_t id_;
};

}  // namespace qor::com

#endif
