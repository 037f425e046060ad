// SPDX-License-Identifier: Apache-2.0
#include "src/common/entity_key.h"

#include <functional>

#include "src/common/utils/net_process.h"

namespace qor::common {
namespace {

/// Spreads every bit of `value` over the whole word (the finaliser of SplitMix64).
std::uint64_t Mix(std::uint64_t value) {
  value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27U)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31U);
}

}  // namespace

std::size_t EntityKeyHash::operator()(const EntityKey& key) const {
  const std::uint64_t ids = (std::uint64_t{key.serviceId} << 48U) | (std::uint64_t{key.instanceId} << 32U) |
                            (std::uint64_t{key.domainId} << 8U) | static_cast<std::uint64_t>(key.scope);
  const std::hash<std::string_view> hashText;
  return Mix(Mix(Mix(ids) + key.entityId) + hashText(key.topicName) + 31 * hashText(key.segment));
}

EntityKey MakeEntityKey(EntityKey::Scope scope, const BindingView& view) {
  EntityKey key{.scope = scope,
                .serviceId = view.serviceId,
                .instanceId = view.instanceId,
                .entityId = view.entityId,
                .domainId = view.domainId,
                .topicName = view.topicName != nullptr ? std::string_view(*view.topicName) : std::string_view(),
                .segment = {}};
  if (scope != EntityKey::Scope::kDdsOnAnyNetwork) {
    key.segment = qortools::utils::NetProcess::TransToNetSegment(*view.networkIp, *view.subnetMask);
  }
  return key;
}

}  // namespace qor::common
