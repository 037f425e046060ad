// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_ENTITY_FILTER_H
#define QOR_COMMON_ENTITY_FILTER_H

#include <string>
#include <vector>

#include "src/common/entity_family.h"
#include "src/common/filters.h"
#include "src/common/records/event_info.h"
#include "src/common/utils/net_process.h"

/// Which records a CommonFilter selects. Its empty texts and its domain id kAnyDomain select all. The address selects a
/// binding that has it or whose segment it lies in. The domain id is a matter of DDS and rules out no SOME/IP binding.
/// The uuid is the record's own or, as lists show it in the brackets after the name, an instance short name. Any
/// thread.
namespace qor::common {

namespace internal {

template <class Record>
bool HasUuid(const Record& record, const BindingView& view, const std::string& uuid) {
  return uuid.empty() || record.uuid == uuid || record.instanceShortName == uuid ||
         (view.instanceShortName != nullptr && *view.instanceShortName == uuid);
}

template <class Record>
bool HasInstanceShortName(const Record& record, const BindingView& view, const std::string& name) {
  return name.empty() || record.instanceShortName == name ||
         (view.instanceShortName != nullptr && *view.instanceShortName == name);
}

inline bool IsInNetwork(const BindingView& view, const std::string& ip) {
  using qortools::utils::NetProcess;
  return ip.empty() || *view.networkIp == ip ||
         (!view.networkIp->empty() && NetProcess::TransToNetSegment(ip, *view.subnetMask) ==
                                          NetProcess::TransToNetSegment(*view.networkIp, *view.subnetMask));
}

template <class Record>
bool PassesOnWire(const Record& record, const BindingView& view, const CommonFilter& filter) {
  return HasInstanceShortName(record, view, filter.instanceShortName) && HasUuid(record, view, filter.uuid) &&
         IsInNetwork(view, filter.networkIp);
}

}  // namespace internal

/// Whether the record has a DDS binding that the filter selects.
template <class Record>
bool PassesDds(const Record& record, const CommonFilter& filter) {
  const auto found = record.bindings.find(maintaind::DriverType::kDds);
  if (found == record.bindings.end()) {
    return false;
  }
  const BindingView view = EntityFamily<Record>::Dds(found->second);
  return (filter.domainId == CommonFilter::kAnyDomain || filter.domainId == view.domainId) &&
         internal::PassesOnWire(record, view, filter);
}

/// Whether the record has a SOME/IP binding that the filter selects.
template <class Record>
bool PassesSomeip(const Record& record, const CommonFilter& filter) {
  const auto found = record.bindings.find(maintaind::DriverType::kSomeip);
  return found != record.bindings.end() &&
         internal::PassesOnWire(record, EntityFamily<Record>::Someip(found->second), filter);
}

/// Whether either binding is selected.
template <class Record>
bool PassesFilter(const Record& record, const CommonFilter& filter) {
  return PassesDds(record, filter) || PassesSomeip(record, filter);
}

/// Removes what has another name than `name` ("ALL" and "all": any) or is not selected; the order stays.
void FilterEvents(const std::string& name, std::vector<maintaind::EventInfoWithPubSub>& list,
                  const CommonFilter& filter);

}  // namespace qor::common

#endif
