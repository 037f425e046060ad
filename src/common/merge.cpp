// SPDX-License-Identifier: Apache-2.0
#include "src/common/merge.h"

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <unordered_map>
#include <utility>

#include "platform/log/qor_log.h"
#include "src/common/entity_family.h"
#include "src/common/entity_key.h"

namespace qor::common {
namespace {

using maintaind::DriverType;

constexpr QorLog kLog{"QorCommon"};

struct MergeTexts {
  const char* begin;
  const char* afterPub;
  const char* afterOffPub;
  const char* afterNoneNetwork;
};

template <class Record>
constexpr MergeTexts kTexts{};
template <>
constexpr MergeTexts kTexts<maintaind::EventInfoWithPubSub>{
    "Begin to merge event info. Size is ", "After merge pub event info. Size is ",
    "After merge off pub event info. Size is ", "After merge None network sub event info. Size is "};
template <>
constexpr MergeTexts kTexts<maintaind::MethodInfoWithPubSub>{
    "Begin to merge method info. Size is ", "After merge pub method info. Size is ",
    "After merge off pub method info. Size is ", "After merge None network sub method info. Size is "};
template <>
constexpr MergeTexts kTexts<maintaind::FieldInfoWithPubSub>{
    "Begin to merge field info. Size is ", "After merge pub field info. Size is ",
    "After merge off pub field info. Size is ", "After merge None network sub field info. Size is "};
template <>
constexpr MergeTexts kTexts<maintaind::ServiceInfoWithPubSub>{
    "Begin to merge service info. Size is ", "After merge pub service info. Size is ",
    "After merge off pub service info. Size is ", "After merge None network sub service info. Size is "};

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

template <class Record>
void AppendConsumers(Record& from, Record& to) {
  auto& given = EntityFamily<Record>::Consumers(from);
  auto& taken = EntityFamily<Record>::Consumers(to);
  taken.insert(taken.end(), std::move_iterator(given.begin()), std::move_iterator(given.end()));
}

/// The merging of one list. Every distinct key of the list becomes a small number once, and all steps work with these.
template <class Record>
class EntityMerger {
 public:
  explicit EntityMerger(std::vector<Record>& list) : list_(list), isGone_(list.size(), false) {
    ids_.reserve(list.size());
    numbers_.reserve(2 * list.size());
    for (const Record& record : list) {
      ids_.push_back(IdsOf(record));
    }
    numberCount_ = numbers_.size();
    numbers_.clear();  // the keys refer to the records
  }

  void MergePubSubs() {
    GiveToFirst([](const Record& record) { return HasOnlineProvider(record); },
                [](const Record& record) { return !HasOnlineProvider(record); }, &Ids::lead, {&Ids::dds, &Ids::someip});
  }

  void MergeOffPubSubs() {
    GiveToFirst([](const Record& record) { return HasOfflineProvider(record); },
                [](const Record& record) { return !HasProvider(record); }, &Ids::lead, {&Ids::dds, &Ids::someip});
  }

  void MergeNoneNetworkSubs() {
    GiveToFirst([](const Record& record) { return HasProvider(record); },
                [](const Record& record) { return !HasProvider(record) && StartsWithLocalTransport(record); },
                &Ids::ddsOnAnyNetwork, {&Ids::ddsOnAnyNetwork});
  }

  void MergeNoPub() {
    const Chains chains = ChainCandidates();
    for (std::uint32_t i = 0; i < list_.size(); ++i) {
      if (!isGone_[i] && !HasOnlineProvider(list_[i]) && ids_[i].lead != kNone) {
        TakeInLater(i, chains);
      }
    }
    RemoveGone();
  }

 private:
  /// The numbers of one record's keys.
  struct Ids {
    std::uint32_t dds = kNone;     ///< as a candidate, against a DDS key
    std::uint32_t someip = kNone;  ///< as a candidate, against a SOME/IP key
    std::uint32_t lead = kNone;    ///< the key by which it looks for an equal record
    std::uint32_t ddsOnAnyNetwork = kNone;
  };
  using Id = std::uint32_t Ids::*;

  /// For every key, the candidates that have it, from the front: entry 2i is record i by its DDS key, 2i + 1 by its
  /// SOME/IP key.
  struct Chains {
    std::vector<std::uint32_t> head;
    std::vector<std::uint32_t> next;
  };

  static bool StartsWithLocalTransport(const Record& record) {
    const auto dds = record.bindings.find(DriverType::kDds);
    if (dds == record.bindings.end()) {
      return false;
    }
    const auto* transports = EntityFamily<Record>::Dds(dds->second).transports;
    return transports != nullptr && !transports->empty() && transports->front() != maintaind::TransportQos::kUdp;
  }

  Ids IdsOf(const Record& record) {
    Ids ids;
    if (!IsComparable(record)) {
      return ids;
    }
    ids.dds = NumberOf(CandidateKey(record, DriverType::kDds));
    ids.someip = NumberOf(CandidateKey(record, DriverType::kSomeip));
    ids.lead = ids.someip;
    if (const auto dds = record.bindings.find(DriverType::kDds); dds != record.bindings.end()) {
      ids.lead = ids.dds;
      ids.ddsOnAnyNetwork =
          NumberOf(MakeEntityKey(EntityKey::Scope::kDdsOnAnyNetwork, EntityFamily<Record>::Dds(dds->second)));
    }
    return ids;
  }

  std::uint32_t NumberOf(EntityKey key) {
    return numbers_.try_emplace(std::move(key), static_cast<std::uint32_t>(numbers_.size())).first->second;
  }

  /// Gives the consumers of every record that `isGiver` selects to the first record that `isTaker` selects and that has
  /// the giver's key among its own. No record is both.
  template <class IsTaker, class IsGiver>
  void GiveToFirst(IsTaker isTaker, IsGiver isGiver, Id giverKey, std::initializer_list<Id> takerKeys) {
    std::vector<std::uint32_t> firstTaker(numberCount_, kNone);
    for (std::uint32_t i = 0; i < list_.size(); ++i) {
      if (!isTaker(list_[i])) {
        continue;
      }
      for (const Id key : takerKeys) {
        if (const std::uint32_t number = ids_[i].*key; number != kNone && firstTaker[number] == kNone) {
          firstTaker[number] = i;
        }
      }
    }
    for (std::uint32_t i = 0; i < list_.size(); ++i) {
      const std::uint32_t number = ids_[i].*giverKey;
      if (number != kNone && firstTaker[number] != kNone && isGiver(list_[i])) {
        Give(i, firstTaker[number]);
      }
    }
    RemoveGone();
  }

  Chains ChainCandidates() const {
    Chains chains{std::vector<std::uint32_t>(numberCount_, kNone), std::vector<std::uint32_t>(2 * list_.size(), kNone)};
    for (std::uint32_t i = static_cast<std::uint32_t>(list_.size()); i-- > 0;) {
      if (HasOnlineProvider(list_[i]) || ids_[i].lead == kNone) {
        continue;
      }
      chains.next[2 * i] = std::exchange(chains.head[ids_[i].dds], 2 * i);
      chains.next[2 * i + 1] = std::exchange(chains.head[ids_[i].someip], 2 * i + 1);
    }
    return chains;
  }

  /// After this nothing behind record i has its key any more, so each chain is walked at most once.
  void TakeInLater(std::uint32_t i, const Chains& chains) {
    for (std::uint32_t entry = chains.head[ids_[i].lead]; entry != kNone; entry = chains.next[entry]) {
      if (const std::uint32_t j = entry / 2; j > i && !isGone_[j]) {
        Give(j, i);
      }
    }
  }

  void Give(std::uint32_t from, std::uint32_t to) {
    AppendConsumers(list_[from], list_[to]);
    isGone_[from] = true;
  }

  void RemoveGone() {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < list_.size(); ++i) {
      if (isGone_[i]) {
        continue;
      }
      if (kept != i) {
        list_[kept] = std::move(list_[i]);
        ids_[kept] = ids_[i];
      }
      ++kept;
    }
    list_.erase(list_.begin() + static_cast<std::ptrdiff_t>(kept), list_.end());
    ids_.resize(kept);
    isGone_.assign(kept, false);
  }

  std::vector<Record>& list_;
  std::vector<Ids> ids_;                                                 // one for each record
  std::vector<bool> isGone_;                                             // one for each record
  std::unordered_map<EntityKey, std::uint32_t, EntityKeyHash> numbers_;  // in use during construction only
  std::size_t numberCount_ = 0;
};

template <class Record>
void LoggedMergeNoPub(EntityMerger<Record>& merger, const std::vector<Record>& list) {
  kLog.Debug() << "Begin to merge no pub event info. Size is " << list.size();
  merger.MergeNoPub();
  kLog.Debug() << "After merge no pub event info. Size is " << list.size();
}

}  // namespace

template <class Record>
void MergeEntities(std::vector<Record>& list) {
  constexpr MergeTexts texts = kTexts<Record>;
  kLog.Debug() << texts.begin << list.size();
  EntityMerger<Record> merger(list);
  merger.MergePubSubs();
  kLog.Debug() << texts.afterPub << list.size();
  if (list.size() > 1) {
    merger.MergeOffPubSubs();
    kLog.Debug() << texts.afterOffPub << list.size();
  }
  if (list.size() > 1) {
    merger.MergeNoneNetworkSubs();
    kLog.Debug() << texts.afterNoneNetwork << list.size();
  }
  LoggedMergeNoPub(merger, list);
}

template <class Record>
void MergePubSubs(std::vector<Record>& list) {
  EntityMerger<Record>(list).MergePubSubs();
}

template <class Record>
void MergeOffPubSubs(std::vector<Record>& list) {
  EntityMerger<Record>(list).MergeOffPubSubs();
}

template <class Record>
void MergeNoneNetworkSubs(std::vector<Record>& list) {
  EntityMerger<Record>(list).MergeNoneNetworkSubs();
}

template <class Record>
void MergeNoPub(std::vector<Record>& list) {
  EntityMerger<Record> merger(list);
  LoggedMergeNoPub(merger, list);
}

template <class Record>
void MergeNoPubSubs(std::size_t index, std::vector<Record>& list) {
  if (index >= list.size() || HasOnlineProvider(list[index])) {
    return;
  }
  Record& taker = list[index];
  std::size_t kept = index + 1;
  for (std::size_t j = index + 1; j < list.size(); ++j) {
    if (!HasOnlineProvider(list[j]) && IsSameEntity(list[j], taker.bindings)) {
      AppendConsumers(list[j], taker);
      continue;
    }
    if (kept != j) {
      list[kept] = std::move(list[j]);
    }
    ++kept;
  }
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(kept), list.end());
}

template void MergeEntities(std::vector<maintaind::EventInfoWithPubSub>&);
template void MergePubSubs(std::vector<maintaind::EventInfoWithPubSub>&);
template void MergeOffPubSubs(std::vector<maintaind::EventInfoWithPubSub>&);
template void MergeNoneNetworkSubs(std::vector<maintaind::EventInfoWithPubSub>&);
template void MergeNoPub(std::vector<maintaind::EventInfoWithPubSub>&);
template void MergeNoPubSubs(std::size_t, std::vector<maintaind::EventInfoWithPubSub>&);

template void MergeEntities(std::vector<maintaind::MethodInfoWithPubSub>&);
template void MergePubSubs(std::vector<maintaind::MethodInfoWithPubSub>&);
template void MergeOffPubSubs(std::vector<maintaind::MethodInfoWithPubSub>&);
template void MergeNoneNetworkSubs(std::vector<maintaind::MethodInfoWithPubSub>&);
template void MergeNoPub(std::vector<maintaind::MethodInfoWithPubSub>&);
template void MergeNoPubSubs(std::size_t, std::vector<maintaind::MethodInfoWithPubSub>&);

template void MergeEntities(std::vector<maintaind::FieldInfoWithPubSub>&);
template void MergeNoneNetworkSubs(std::vector<maintaind::FieldInfoWithPubSub>&);

template void MergeEntities(std::vector<maintaind::ServiceInfoWithPubSub>&);

}  // namespace qor::common
