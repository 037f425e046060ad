// SPDX-License-Identifier: Apache-2.0
#include "src/common/event_name.h"

#include <cstddef>

#include "platform/log/qor_log.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};
constexpr std::size_t kLongestName = 5000;
constexpr std::size_t kLongestNameWithUuid = 5050;

}  // namespace

bool GetSubEventName(const std::string& name, std::string& pureName, std::string& uuid) {
  if (name.size() > kLongestName) {
    kLog.Warn() << "Event name length should be not more than 5000.";
    return false;
  }
  return GetNameAndUuid(name, pureName, uuid);
}

bool GetNameAndUuid(const std::string& name, std::string& pureName, std::string& uuid) {
  if (name.size() > kLongestNameWithUuid) {
    kLog.Warn() << "Event name length with uuid should be not more than 5050.";
    return false;
  }
  const std::size_t bracket = name.ends_with(']') ? name.rfind('[') : std::string::npos;
  if (bracket == std::string::npos) {
    pureName = name;
    uuid.clear();
  } else {
    // `name` may be one of the results
    std::string between = name.substr(bracket + 1, name.size() - bracket - 2);
    pureName = name.substr(0, bracket);
    uuid = std::move(between);
  }
  kLog.Debug() << "[GetNameAndUuid][pureName=" << pureName << ", uuid=" << uuid << "]";
  return true;
}

bool IsAllNames(const std::string& name) { return name == "ALL" || name == "all"; }

}  // namespace qor::common
