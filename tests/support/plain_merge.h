// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_PLAIN_MERGE_H
#define QOR_TESTS_SUPPORT_PLAIN_MERGE_H

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/service_info.h"
#include "src/common/utils/net_process.h"

/// The rules of merging as one would say them, comparing every record with the list: what the fast merge is held
/// against.
namespace qor::test {

inline std::string Segment(const std::string& ip, const std::string& mask) {
  return qortools::utils::NetProcess::TransToNetSegment(ip, mask);
}

/// What identifies an entity on a wire, but the network.
inline auto DdsKey(const maintaind::DDSEventInfo& part) {
  return std::tie(part.serviceId, part.instanceId, part.topicName, part.domainId);
}
inline auto DdsKey(const maintaind::DDSMethodInfo& part) {
  return std::tie(part.serviceId, part.instanceId, part.requestTopicName, part.methodId, part.domainId);
}
inline auto DdsKey(const maintaind::ServiceInfo& part) {
  return std::tie(part.serviceId, part.instanceId, part.domainId);
}
inline auto SomeipKey(const maintaind::SomeipEventInfo& part) {
  return std::tie(part.serviceId, part.instanceId, part.eventId);
}
inline auto SomeipKey(const maintaind::SomeipMethodInfo& part) {
  return std::tie(part.serviceId, part.instanceId, part.methodId);
}
inline auto SomeipKey(const maintaind::ServiceInfo& part) { return std::tie(part.serviceId, part.instanceId); }
template <class Part>
bool SameNetwork(const Part& a, const Part& b) {
  return Segment(a.networkIp, a.subnetMask) == Segment(b.networkIp, b.subnetMask);
}

inline std::string& Provider(maintaind::EventInfoWithPubSub& record) { return record.publisher; }
inline bool& IsOnline(maintaind::EventInfoWithPubSub& record) { return record.isPublisherOnline; }
inline std::vector<std::string>& Consumers(maintaind::EventInfoWithPubSub& record) { return record.subscribers; }
template <class Record>
std::string& Provider(Record& record) {
  return record.server;
}
template <class Record>
bool& IsOnline(Record& record) {
  return record.isServerOnline;
}
template <class Record>
std::vector<std::string>& Consumers(Record& record) {
  return record.clients;
}

/// The generator sets only one kind of binding part in a field, the notifier's.
template <class Record>
class PlainMerge {
 public:
  using List = std::vector<Record>;
  using Bindings = decltype(Record::bindings);
  static constexpr auto kDds = maintaind::DriverType::kDds;
  static constexpr auto kSomeip = maintaind::DriverType::kSomeip;

  static const auto& Dds(const typename Bindings::mapped_type& binding) {
    if constexpr (
        requires { binding.setGet; } || requires { binding.hasNotifier; }) {
      return binding.dds.notify.event;
    } else if constexpr (requires { binding.dds; }) {
      return binding.dds;
    } else {
      return binding;
    }
  }
  static const auto& Someip(const typename Bindings::mapped_type& binding) {
    if constexpr (requires { binding.hasNotifier; }) {
      return binding.someip.notify.event;
    } else if constexpr (requires { binding.someip; }) {
      return binding.someip;
    } else {
      return binding;
    }
  }

  static bool Equal(Record candidate, const Bindings& bindings) {
    if (!candidate.bindings.contains(kDds) && !candidate.bindings.contains(kSomeip)) {
      return false;
    }
    if (bindings.contains(kDds)) {
      const auto& mine = Dds(bindings.at(kDds));
      const auto& theirs = Dds(candidate.bindings[kDds]);
      return DdsKey(mine) == DdsKey(theirs) && SameNetwork(mine, theirs);
    }
    if (bindings.contains(kSomeip)) {
      const auto& mine = Someip(bindings.at(kSomeip));
      const auto& theirs = Someip(candidate.bindings[kSomeip]);
      return SomeipKey(mine) == SomeipKey(theirs) && SameNetwork(mine, theirs);
    }
    return false;
  }

  static bool EqualOnAnyNetwork(const Record& candidate, const Bindings& bindings) {
    return candidate.bindings.contains(kDds) &&
           DdsKey(Dds(bindings.at(kDds))) == DdsKey(Dds(candidate.bindings.at(kDds)));
  }

  static bool Online(Record& record) { return !Provider(record).empty() && IsOnline(record); }
  static bool Offline(Record& record) { return !Provider(record).empty() && !IsOnline(record); }

  static void Give(List& list, std::size_t from, std::size_t to) {
    for (const std::string& name : Consumers(list[from])) {
      Consumers(list[to]).push_back(name);
    }
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(from));
  }

  template <class IsGiver, class IsTaker>
  static void Pass(List& list, IsGiver isGiver, IsTaker isTaker) {
    for (std::size_t r = 0; r < list.size();) {
      std::size_t p = list.size();
      if (isGiver(list[r])) {
        for (p = 0; p < list.size() && !isTaker(list[p], list[r]); ++p) {
        }
      }
      if (p < list.size()) {
        Give(list, r, p);
      } else {
        ++r;
      }
    }
  }

  static void Pub(List& list) {
    Pass(
        list, [](Record& r) { return !Online(r); },
        [](Record& p, Record& r) { return Online(p) && Equal(p, r.bindings); });
  }
  static void OffPub(List& list) {
    Pass(
        list, [](Record& r) { return Provider(r).empty(); },
        [](Record& p, Record& r) { return Offline(p) && Equal(p, r.bindings); });
  }
  static void NoneNetwork(List& list) {
    Pass(
        list,
        [](Record& r) {
          if (!Provider(r).empty() || !r.bindings.contains(kDds)) {
            return false;
          }
          if constexpr (requires { Dds(r.bindings.at(kDds)).transports; }) {
            const auto& transports = Dds(r.bindings.at(kDds)).transports;
            return !transports.empty() && transports[0] != maintaind::TransportQos::kUdp;
          }
          return false;
        },
        [](Record& p, Record& r) { return !Provider(p).empty() && EqualOnAnyNetwork(p, r.bindings); });
  }
  static void NoPubSubs(std::size_t i, List& list) {
    for (std::size_t j = i + 1; j < list.size();) {
      if (!Online(list[j]) && Equal(list[j], list[i].bindings)) {
        Give(list, j, i);
      } else {
        ++j;
      }
    }
  }
  static void NoPub(List& list) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (!Online(list[i])) {
        NoPubSubs(i, list);
      }
    }
  }
  static void All(List& list) {
    Pub(list);
    OffPub(list);
    NoneNetwork(list);
    NoPub(list);
  }
};

}  // namespace qor::test

#endif
