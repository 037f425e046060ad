// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/filter_conflict.h"

#include "platform/log/qor_log.h"

namespace qor::qorevent {
namespace {

constexpr QorLog kLog{"QorEvent"};

bool IsConflicting(RoleType role, bool isDistanceChosen) { return isDistanceChosen && role != RoleType::kPublisher; }

}  // namespace

bool IsDistanceChosen(const EventFilter& filter) {
  return filter.communicableType == CommunicableType::kLocal || filter.communicableType == CommunicableType::kNetwork ||
         filter.communicableType == CommunicableType::kCross;
}

bool RefusesQueryAll(RoleType role, bool isDistanceChosen) {
  if (!IsConflicting(role, isDistanceChosen)) {
    return false;
  }
  kLog.Error() << "[QueryAll][Filter is conflicting, because -c is specified with -s or -a]";
  return true;
}

bool RefusesQueryAllWithNamespace(RoleType role, bool isDistanceChosen) {
  if (!IsConflicting(role, isDistanceChosen)) {
    return false;
  }
  kLog.Error() << "[QueryAllWithNamespace][Filter is conflicting, because -c is specified with -s or -a]";
  return true;
}

}  // namespace qor::qorevent
