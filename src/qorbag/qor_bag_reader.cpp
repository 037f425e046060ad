// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_bag_reader.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;

/// A bag knows no uuids: a filter with one lets no event pass.
bool IsPassed(const Connection& connection, const CommonFilter& filter) {
  const auto& someip = connection.eventInfo.someip;
  const bool isSomeip = connection.driverType == DriverType::kSomeip;
  return filter.uuid.empty() &&
         (filter.instanceShortName.empty() || (isSomeip && someip.instanceShortName == filter.instanceShortName)) &&
         QorEventQuery({}, {}, filter.domainId, filter.networkIp)(connection);
}

}  // namespace

EventMsgView::EventMsgView(QorBagFile& bag, std::uint64_t startTime, std::uint64_t endTime,
                           const std::string& eventName, std::uint16_t domainId) {
  const std::vector<std::string> names = eventName.empty() ? std::vector<std::string>() : std::vector{eventName};
  view_.AddQuery(bag, QorEventQuery(names, {}, domainId), startTime, endTime);
  at_.emplace(view_.Begin());
}

EventMsgView::EventMsgView(QorBagFile& bag, std::uint32_t connectionId) {
  view_.AddQuery(
      bag, [connectionId](const Connection& one) { return one.id == connectionId; }, 0, UINT64_MAX);
  at_.emplace(view_.Begin());
}

bool EventMsgView::Read(EventMsg& msg, std::uint32_t offset) {
  if (IsEnd()) {
    return false;
  }
  const QorMsgEntity message = at_->Value();
  at_->Increase();
  msg.event = message.GetRecordingEvent().event;
  msg.time = message.GetTime();
  return message.WriteMsg(msg.payload, offset) == QorBagFile::kOk;
}

bool QorBagReader::Init() {
  log_.Info() << "Start to open and parse bag file[bagPath=" << path_ << "]";
  if (!bag_.OpenReadByName(path_)) {
    log_.Error() << "Open the bag file fail[bagPath=" << path_ << "]";
    return false;
  }
  if (!bag_.GetFileHeaderInfo(info_)) {
    log_.Error() << "Get bag info fail[bagPath=" << path_ << "]";
    return false;
  }
  for (const auto& [id, connection] : bag_.Content()->connections) {
    events_.push_back({&connection, EventMsgView(bag_, id)});
  }
  all_.emplace(bag_, 0, UINT64_MAX, "", QorEventQuery::kAnyDomain);
  log_.Info() << "Open the bag file successfully[bagPath=" << path_ << "]";
  return true;
}

bool QorBagReader::ReadEventMsg(EventMsg& msg, std::uint32_t offset) {
  return all_.has_value() && all_->Read(msg, offset);
}

bool QorBagReader::ReadEventMsg(const std::string& eventName, std::size_t index, EventMsg& msg, std::uint32_t offset,
                                const CommonFilter* filter) {
  for (EventView& event : events_) {
    const bool isMeant =
        event.connection->eventName == eventName && (filter == nullptr || IsPassed(*event.connection, *filter));
    if (isMeant && index-- == 0) {
      return event.messages.Read(msg, offset);
    }
  }
  return false;
}

}  // namespace qor::qorbag
