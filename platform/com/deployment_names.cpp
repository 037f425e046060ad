// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_names.h"

#include <algorithm>

namespace qor::com {
namespace {

/// What the running system finds out by itself.
constexpr auto kRunTimeFields = std::to_array<std::string_view>({
    "isForeign",
    "isFieldNotifier",
    "participantGuid",
    "clientIds",
    "offerState",
    "offeringHost",
    "peers",
    "ttls",
    "serializedConfig",
    "hasInitialValue",
});

constexpr auto kShorterNames = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"topicName", "topic"},
    {"requestTopicName", "requestTopic"},
    {"replyTopicName", "replyTopic"},
    {"domainId", "domain"},
    {"eventGroupIds", "eventGroups"},
});

}  // namespace

std::string DeploymentKey(std::string_view fieldName) {
  if (std::ranges::find(kRunTimeFields, fieldName) != kRunTimeFields.end()) {
    return {};
  }
  for (const auto& [field, key] : kShorterNames) {
    if (field == fieldName) {
      return std::string(key);
    }
  }
  if (fieldName.starts_with("is") && fieldName.size() > 2 && fieldName[2] >= 'A' && fieldName[2] <= 'Z') {
    std::string key(fieldName.substr(2));
    key[0] = static_cast<char>(key[0] - 'A' + 'a');
    return key;
  }
  return std::string(fieldName);
}

}  // namespace qor::com
