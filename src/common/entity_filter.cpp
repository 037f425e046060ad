// SPDX-License-Identifier: Apache-2.0
#include "src/common/entity_filter.h"

#include "platform/log/qor_log.h"
#include "src/common/event_name.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};

}  // namespace

void FilterEvents(const std::string& name, std::vector<maintaind::EventInfoWithPubSub>& list,
                  const CommonFilter& filter) {
  const bool isAnyName = IsAllNames(name);
  std::erase_if(list, [&](const maintaind::EventInfoWithPubSub& record) {
    return (!isAnyName && record.eventName != name) || !PassesFilter(record, filter);
  });
  kLog.Debug() << "Filter event info with instanceShortName finished. Size is " << list.size();
}

}  // namespace qor::common
