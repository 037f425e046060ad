// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_ENTITY_KEY_H
#define QOR_COMMON_ENTITY_KEY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "src/common/entity_family.h"
#include "src/common/records/binding.h"

namespace qor::common {

/// What two records agree in when they describe one entity. The topic name refers to the record. A plain value; what
/// is made of it here is for any thread.
struct EntityKey {
  enum class Scope : std::uint8_t { kDds, kSomeip, kDdsOnAnyNetwork };

  Scope scope = Scope::kDds;
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::uint32_t entityId = 0;
  std::uint16_t domainId = 0;
  std::string_view topicName;
  std::string segment;  ///< network address with the mask applied; empty in scope kDdsOnAnyNetwork

  bool operator==(const EntityKey&) const = default;
};

struct EntityKeyHash {
  std::size_t operator()(const EntityKey& key) const;
};

EntityKey MakeEntityKey(EntityKey::Scope scope, const BindingView& view);

/// The key of a candidate's DDS or SOME/IP part. A part that the candidate lacks counts as an empty one.
template <class Record>
EntityKey CandidateKey(const Record& candidate, maintaind::DriverType driver) {
  using Family = EntityFamily<Record>;
  static const typename Family::Binding kEmpty;
  const auto found = candidate.bindings.find(driver);
  const auto& binding = found != candidate.bindings.end() ? found->second : kEmpty;
  return driver == maintaind::DriverType::kDds ? MakeEntityKey(EntityKey::Scope::kDds, Family::Dds(binding))
                                               : MakeEntityKey(EntityKey::Scope::kSomeip, Family::Someip(binding));
}

/// True when the candidate has a wire at all; one without is never the same as anything.
template <class Record>
bool IsComparable(const Record& candidate) {
  return HasBinding(candidate, maintaind::DriverType::kDds) || HasBinding(candidate, maintaind::DriverType::kSomeip);
}

/// Whether the candidate describes the entity that `bindings` describe: by their DDS part, without one by their SOME/IP
/// part, without either not at all.
template <class Record>
bool IsSameEntity(const Record& candidate,
                  const std::map<maintaind::DriverType, typename EntityFamily<Record>::Binding>& bindings) {
  using Family = EntityFamily<Record>;
  using maintaind::DriverType;
  if (!IsComparable(candidate)) {
    return false;
  }
  if (const auto dds = bindings.find(DriverType::kDds); dds != bindings.end()) {
    return CandidateKey(candidate, DriverType::kDds) == MakeEntityKey(EntityKey::Scope::kDds, Family::Dds(dds->second));
  }
  if (const auto someip = bindings.find(DriverType::kSomeip); someip != bindings.end()) {
    return CandidateKey(candidate, DriverType::kSomeip) ==
           MakeEntityKey(EntityKey::Scope::kSomeip, Family::Someip(someip->second));
  }
  return false;
}

}  // namespace qor::common

#endif
