// SPDX-License-Identifier: Apache-2.0
#include "platform/com/event_registration.h"

#include <utility>

#include "platform/com/application_name.h"
#include "platform/com/daemon_link.h"
#include "platform/com/host_domain.h"

namespace qor::com {
namespace {

maintaind::EventRegisterInfo Complete(const std::string& nodeName, maintaind::EventRegisterInfo config) {
  config.applicationName = ApplicationName();
  config.nodeName = nodeName;
  config.hostDomainName = HostDomainName();
  config.maintaindInstance = 0;  // the daemon that holds the registration says which it is
  return config;
}

}  // namespace

EventRegistration::EventRegistration(maintaind::EntityRole role, const std::string& nodeName,
                                     maintaind::EventRegisterInfo config)
    : id_(DaemonLink::Instance().AddEvent(role, Complete(nodeName, std::move(config)))) {}

EventRegistration::~EventRegistration() { DaemonLink::Instance().RemoveEntity(id_); }

}  // namespace qor::com
