// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SOMEIP_SERVICE_RECORDS_H
#define QOR_COM_SOMEIP_SERVICE_RECORDS_H

#include <string>

#include "platform/someip/service_server.h"
#include "src/common/records/event_info.h"
#include "src/common/records/someip_link.h"

/// Between the records that describe SOME/IP events and what the wire takes.
namespace qor::com {

maintaind::ServiceIndex ServiceOf(const maintaind::SomeipEventInfo& event);
maintaind::OfferedEvent OfferedEventOf(const maintaind::SomeipEventInfo& event);
someip::EventSettings SettingsOf(const maintaind::OfferedEvent& event);
/// "service 0x1234, instance 1, version 1".
std::string Text(const maintaind::ServiceIndex& service);
/// What ServiceServer::OpenNear took in place of the ports that were asked for: "UDP port 40001 cannot be had, 51234 is
/// in its place". Empty when it took those.
std::string ReplacedPorts(const someip::ServiceServerOptions& asked, const someip::ServiceServer& opened);

}  // namespace qor::com

#endif
