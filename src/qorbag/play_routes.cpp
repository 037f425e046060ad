// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/play_routes.h"

#include <set>

#include "src/common/qor_common.h"
#include "src/qorbag/live_events.h"
#include "src/qorbag/player_log.h"
#include "src/qorbag/port_map.h"
#include "src/qorbag/port_range.h"
#include "src/qorbag/recorded_mbuf.h"

namespace qor::qorbag {
namespace {

MessagePreparer::Kind KindOf(const PlayedEvent& event) {
  if (event.isRaw) {
    return MessagePreparer::Kind::kRaw;
  }
  return IsUsingRawData(*event.connection) ? MessagePreparer::Kind::kFlattened : MessagePreparer::Kind::kNormal;
}

}  // namespace

std::optional<PlayCode> PlayRoutes::Prepare(const QorView& view) {
  for (const Connection* connection : view.GetConnections()) {
    events_.emplace_back(*connection, options_);
  }
  const LiveEvents live = LiveEvents::Query();
  hasDaemon_ = live.HasDaemon();
  if (!live.IsWhole()) {
    return PlayCode::kUnknown;
  }
  if (!CheckService(live)) {
    kPlayerLog.Verbose() << "Some events are existing.";
    return PlayCode::kLive;
  }
  if (!CheckPorts(live)) {
    return PlayCode::kPorts;
  }
  live.QueryE2EConfigInfoForAll(events_);
  publishers_.AdvertiseEvents(events_);
  if (publishers_.Count() == 0) {
    kPlayerLog.Error() << "No valid publisher.";
    return PlayCode::kNoPublisher;
  }
  MakeRoutes();
  return std::nullopt;
}

bool PlayRoutes::CheckService(const LiveEvents& live) {
  std::set<std::string> offered;
  for (const PlayedEvent& event : events_) {
    if (live.IsOffered(event)) {
      offered.insert("'" + event.registration.eventName + "' (" + Text(event.Index()) + ")");
    }
  }
  liveEvents_.assign(offered.begin(), offered.end());
  return liveEvents_.empty();
}

bool PlayRoutes::CheckPorts(const LiveEvents& live) {
  PortMap ports(live.UsedPorts(), IsPortInUse);
  for (const PlayedEvent& event : events_) {
    if (event.Driver() == maintaind::DriverType::kSomeip) {
      ports.Add(event.Binding().someip);
    }
  }
  if (ports.CheckPortStatus()) {
    return true;
  }
  missingPorts_ = ports.MissingText();
  if (!ports.GetInputPubPort(options_.port)) {
    return false;
  }
  for (PlayedEvent& event : events_) {
    if (event.Driver() == maintaind::DriverType::kSomeip) {
      ports.Apply(event.Binding().someip);
    }
  }
  return true;
}

void PlayRoutes::MakeRoutes() {
  std::string pureName;
  std::string uuid;
  static_cast<void>(QorCommon::GetInstance().GetSubEventName(options_.traceEvent, pureName, uuid));
  for (const PlayedEvent& event : events_) {
    Route& route = routes_[event.connection];
    route.name = event.registration.eventName;
    route.kind = KindOf(event);
    route.publisher = publishers_.Find(event);
    const std::string& recorded = event.connection->eventName;
    route.isTraced = !pureName.empty() && (recorded == pureName || recorded == options_.traceEvent);
  }
}

std::vector<std::string> PlayRoutes::UnplayedEvents() const {
  std::set<std::string> names;
  for (const auto& [connection, route] : routes_) {
    if (route.publisher == nullptr) {
      names.insert(route.name);
    }
  }
  return {names.begin(), names.end()};
}

}  // namespace qor::qorbag
