// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_PLAIN_MERGE_H
#define QOR_TESTS_SUPPORT_PLAIN_MERGE_H

#include <cstddef>
#include <vector>

#include "src/common/entity_key.h"

namespace qor::test {

/// The rules of merging events as one would say them, comparing every record with the list: what the fast merge is held
/// against. Which records are one event is the business of the key.
class PlainMerge {
 public:
  using Record = maintaind::EventInfoWithPubSub;
  using List = std::vector<Record>;

  static void Pub(List& list) {
    Pass(
        list, [](const Record& r) { return !IsOnline(r); },
        [](const Record& p, const Record& r) { return IsOnline(p) && common::IsSameEntity(p, r.bindings); });
  }
  static void OffPub(List& list) {
    Pass(
        list, [](const Record& r) { return r.publisher.empty(); },
        [](const Record& p, const Record& r) {
          return !p.publisher.empty() && !IsOnline(p) && common::IsSameEntity(p, r.bindings);
        });
  }
  static void NoneNetwork(List& list) {
    Pass(
        list,
        [](const Record& r) {
          return r.publisher.empty() && r.bindings.contains(kDds) && !TransportsOf(r).empty() &&
                 TransportsOf(r)[0] != maintaind::TransportQos::kUdp;
        },
        [](const Record& p, const Record& r) {
          return !p.publisher.empty() && p.bindings.contains(kDds) && KeyOnAnyNetwork(p) == KeyOnAnyNetwork(r);
        });
  }
  static void NoPub(List& list) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      for (std::size_t j = i + 1; !IsOnline(list[i]) && j < list.size();) {
        if (!IsOnline(list[j]) && common::IsSameEntity(list[j], list[i].bindings)) {
          Give(list, j, i);
        } else {
          ++j;
        }
      }
    }
  }
  static void All(List& list) {
    Pub(list);
    OffPub(list);
    NoneNetwork(list);
    NoPub(list);
  }

 private:
  static constexpr auto kDds = maintaind::DriverType::kDds;

  static bool IsOnline(const Record& record) { return !record.publisher.empty() && record.isPublisherOnline; }
  static const std::vector<maintaind::TransportQos>& TransportsOf(const Record& record) {
    return record.bindings.at(kDds).dds.transports;
  }
  static common::EntityKey KeyOnAnyNetwork(const Record& record) {
    return MakeEntityKey(common::EntityKey::Scope::kDdsOnAnyNetwork, common::ViewOf(record.bindings.at(kDds).dds));
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
  static void Give(List& list, std::size_t from, std::size_t to) {
    list[to].subscribers.insert(list[to].subscribers.end(), list[from].subscribers.begin(),
                                list[from].subscribers.end());
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(from));
  }
};

}  // namespace qor::test

#endif
