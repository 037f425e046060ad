// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_FOREIGN_EVENT_H
#define QOR_MAINTAIND_DAEMON_FOREIGN_EVENT_H

#include <string>

#include "platform/dds/discovery_watcher.h"
#include "src/common/records/event_info.h"

namespace qor::maintaind {

/// "/" and the topic name, with "_" for every character that an event name cannot have.
std::string EventNameOfTopic(const std::string& topicName);

/// What stands for the program of an endpoint: "dds:", the name of its participant or "unnamed", and the last eight
/// digits of the participant's GUID prefix, which tell participants of one name apart.
std::string ForeignNodeName(const dds::DiscoveredEndpoint& endpoint);

/// A discovered endpoint as an event.
EventRegisterInfo ForeignEvent(const dds::DiscoveredEndpoint& endpoint);

}  // namespace qor::maintaind

#endif
