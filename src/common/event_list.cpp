// SPDX-License-Identifier: Apache-2.0
#include "src/common/event_list.h"

#include <string>
#include <string_view>

#include "platform/log/qor_log.h"
#include "src/common/event_entry.h"

namespace qor::common {
namespace {

using maintaind::EventInfoWithPubSub;
using qorevent::CommunicableType;
using qorevent::RoleType;

constexpr QorLog kLog{"QorCommon"};

/// The names of a list, joined only if the line is written.
class NamesOf {
 public:
  explicit NamesOf(const EventRecords& list) : list_(list) {}

  operator std::string_view() const {  // NOLINT(google-explicit-constructor): what a log line takes
    text_.clear();
    for (const EventInfoWithPubSub& record : list_) {
      text_ += text_.empty() ? "" : "&&";
      text_ += record.eventName;
    }
    return text_;
  }

 private:
  const EventRecords& list_;
  mutable std::string text_;
};

template <class IsListed>
void ListIf(const EventRecords& list, IsListed isListed, EventEntries& out) {
  for (const EventInfoWithPubSub& record : list) {
    if (isListed(record)) {
      kLog.Debug() << "Get result pub:" << record.publisher << " subs_ size:" << record.subscribers.size();
      AppendEntries(record, out);
    }
  }
}

bool IsDefined(CommunicableType type) {
  return type == CommunicableType::kLocal || type == CommunicableType::kNetwork || type == CommunicableType::kCross ||
         type == CommunicableType::kAll;
}

}  // namespace

void ListEvents(const qorevent::EventFilter& filter, const EventRecords& list, const Communicability& communicability,
                EventEntries& out) {
  EventRecords filtered;
  SelectCommunicable(list, filter.communicableType, communicability, filtered);
  switch (filter.roleType) {
    case RoleType::kPublisher:
      kLog.Debug() << "[QorCommon][GetListResultWithFilter EventFilter::Type is PUBLISHER]";
      ListPublished(filtered, out);
      break;
    case RoleType::kSubscriber:
      kLog.Debug() << "[QorCommon][GetListResultWithFilter EventFilter::Type is SUBSCRIBER]";
      ListSubscribed(filtered, out);
      break;
    default:
      kLog.Debug() << "[QorCommon][GetListResultWithFilter EventFilter::Type is ALL]";
      ListAll(filtered, out);
      break;
  }
}

void SelectCommunicable(const EventRecords& list, CommunicableType type, const Communicability& communicability,
                        EventRecords& out) {
  if (!IsDefined(type)) {
    kLog.Warn() << "[QorCommon][UNDEFINED]";
  } else {
    for (const EventInfoWithPubSub& record : list) {
      if (communicability.IsKept(record, type)) {
        out.push_back(record);
      }
    }
  }
  kLog.Debug() << "[QorCommon][GetListResultByCommunicatableType][inputEventList=" << NamesOf(list)
               << ",outEventList=" << NamesOf(out) << "]";
}

void ListPublished(const EventRecords& list, EventEntries& out) {
  ListIf(
      list, [](const EventInfoWithPubSub& record) { return !record.publisher.empty(); }, out);
}

void ListSubscribed(const EventRecords& list, EventEntries& out) {
  ListIf(
      list, [](const EventInfoWithPubSub& record) { return !record.subscribers.empty(); }, out);
}

void ListAll(const EventRecords& list, EventEntries& out) {
  ListIf(
      list, [](const EventInfoWithPubSub& record) { return !record.publisher.empty() || !record.subscribers.empty(); },
      out);
}

}  // namespace qor::common
