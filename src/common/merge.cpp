// SPDX-License-Identifier: Apache-2.0
#include "src/common/merge.h"

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <numeric>
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

constexpr std::uint32_t kNoKey = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kNobody = std::numeric_limits<std::uint32_t>::max();

template <class Record>
void AppendConsumers(Record& from, Record& to) {
  auto& given = EntityFamily<Record>::Consumers(from);
  auto& taken = EntityFamily<Record>::Consumers(to);
  taken.insert(taken.end(), std::move_iterator(given.begin()), std::move_iterator(given.end()));
}

/// The merging of one list. What the rules ask of a record is read from it once and kept in a few numbers; the records
/// themselves move once, at the end, by Finish.
template <class Record>
class EntityMerger {
 public:
  explicit EntityMerger(std::vector<Record>& list) : list_(list) {
    entries_.reserve(list.size());
    numbers_.reserve(2 * list.size());
    for (const Record& record : list) {
      entries_.push_back(EntryOf(record));
    }
    alive_.resize(list.size());
    std::iota(alive_.begin(), alive_.end(), 0U);
    numberCount_ = numbers_.size();
    numbers_.clear();  // the keys refer to the records
  }

  /// How many records are left.
  std::size_t Size() const { return alive_.size(); }

  void MergePubSubs() {
    GiveToFirst([](const Entry& entry) { return entry.provider == Provider::kOnline; },
                [](const Entry& entry) { return entry.provider != Provider::kOnline; }, &Entry::lead,
                {&Entry::dds, &Entry::someip});
  }

  void MergeOffPubSubs() {
    GiveToFirst([](const Entry& entry) { return entry.provider == Provider::kOffline; },
                [](const Entry& entry) { return entry.provider == Provider::kNone; }, &Entry::lead,
                {&Entry::dds, &Entry::someip});
  }

  void MergeNoneNetworkSubs() {
    GiveToFirst([](const Entry& entry) { return entry.provider != Provider::kNone; },
                [](const Entry& entry) { return entry.provider == Provider::kNone && entry.startsWithLocalTransport; },
                &Entry::ddsOnAnyNetwork, {&Entry::ddsOnAnyNetwork});
  }

  void MergeNoPub() {
    const Chains chains = ChainCandidates();
    for (const std::uint32_t i : alive_) {
      const Entry& entry = entries_[i];
      if (!entry.isGone && entry.provider != Provider::kOnline && entry.lead != kNoKey) {
        TakeInLater(i, chains);
      }
    }
    ForgetGone();
  }

  /// Brings the list up to date.
  void Finish() {
    for (std::size_t kept = 0; kept < alive_.size(); ++kept) {
      if (alive_[kept] != kept) {
        list_[kept] = std::move(list_[alive_[kept]]);
      }
    }
    list_.erase(list_.begin() + static_cast<std::ptrdiff_t>(alive_.size()), list_.end());
  }

 private:
  enum class Provider : std::uint8_t { kNone, kOffline, kOnline };

  /// What the rules ask of one record. Equal keys of the list have equal numbers.
  struct Entry {
    std::uint32_t dds = kNoKey;     ///< as a candidate, against a DDS key
    std::uint32_t someip = kNoKey;  ///< as a candidate, against a SOME/IP key
    std::uint32_t lead = kNoKey;    ///< the key by which it looks for an equal record
    std::uint32_t ddsOnAnyNetwork = kNoKey;
    Provider provider = Provider::kNone;
    bool startsWithLocalTransport = false;
    bool isGone = false;
  };
  using Key = std::uint32_t Entry::*;

  /// For every key, the candidates that have it, from the front: link 2i is record i by its DDS key, 2i + 1 by its
  /// SOME/IP key.
  struct Chains {
    std::vector<std::uint32_t> head;
    std::vector<std::uint32_t> next;
  };

  Entry EntryOf(const Record& record) {
    Entry entry;
    entry.provider = HasOnlineProvider(record) ? Provider::kOnline
                     : HasProvider(record)     ? Provider::kOffline
                                               : Provider::kNone;
    if (!IsComparable(record)) {
      return entry;
    }
    entry.dds = NumberOf(CandidateKey(record, DriverType::kDds));
    entry.someip = NumberOf(CandidateKey(record, DriverType::kSomeip));
    entry.lead = entry.someip;
    if (const auto found = record.bindings.find(DriverType::kDds); found != record.bindings.end()) {
      const BindingView dds = EntityFamily<Record>::Dds(found->second);
      entry.lead = entry.dds;
      entry.ddsOnAnyNetwork = NumberOf(MakeEntityKey(EntityKey::Scope::kDdsOnAnyNetwork, dds));
      entry.startsWithLocalTransport = dds.transports != nullptr && !dds.transports->empty() &&
                                       dds.transports->front() != maintaind::TransportQos::kUdp;
    }
    return entry;
  }

  std::uint32_t NumberOf(EntityKey key) {
    return numbers_.try_emplace(std::move(key), static_cast<std::uint32_t>(numbers_.size())).first->second;
  }

  /// Gives the consumers of every record that `isGiver` selects to the first record that `isTaker` selects and that has
  /// the giver's key among its own. No record is both.
  template <class IsTaker, class IsGiver>
  void GiveToFirst(IsTaker isTaker, IsGiver isGiver, Key giverKey, std::initializer_list<Key> takerKeys) {
    std::vector<std::uint32_t> firstTaker(numberCount_, kNobody);
    for (const std::uint32_t i : alive_) {
      if (!isTaker(entries_[i])) {
        continue;
      }
      for (const Key key : takerKeys) {
        if (const std::uint32_t number = entries_[i].*key; number != kNoKey && firstTaker[number] == kNobody) {
          firstTaker[number] = i;
        }
      }
    }
    for (const std::uint32_t i : alive_) {
      const std::uint32_t number = entries_[i].*giverKey;
      if (number != kNoKey && firstTaker[number] != kNobody && isGiver(entries_[i])) {
        Give(i, firstTaker[number]);
      }
    }
    ForgetGone();
  }

  Chains ChainCandidates() const {
    Chains chains{std::vector<std::uint32_t>(numberCount_, kNobody),
                  std::vector<std::uint32_t>(2 * entries_.size(), kNobody)};
    for (auto i = alive_.rbegin(); i != alive_.rend(); ++i) {
      const Entry& entry = entries_[*i];
      if (entry.provider != Provider::kOnline && entry.lead != kNoKey) {
        chains.next[2 * *i] = std::exchange(chains.head[entry.dds], 2 * *i);
        chains.next[2 * *i + 1] = std::exchange(chains.head[entry.someip], 2 * *i + 1);
      }
    }
    return chains;
  }

  /// After this nothing behind record i has its key any more, so each chain is walked at most once.
  void TakeInLater(std::uint32_t i, const Chains& chains) {
    for (std::uint32_t link = chains.head[entries_[i].lead]; link != kNobody; link = chains.next[link]) {
      if (const std::uint32_t j = link / 2; j > i && !entries_[j].isGone) {
        Give(j, i);
      }
    }
  }

  void Give(std::uint32_t from, std::uint32_t to) {
    AppendConsumers(list_[from], list_[to]);
    entries_[from].isGone = true;
  }

  void ForgetGone() {
    std::erase_if(alive_, [this](std::uint32_t i) { return entries_[i].isGone; });
  }

  std::vector<Record>& list_;
  std::vector<Entry> entries_;                                           // one for each record that the list began with
  std::vector<std::uint32_t> alive_;                                     // indexes of those that are left, ascending
  std::unordered_map<EntityKey, std::uint32_t, EntityKeyHash> numbers_;  // in use during construction only
  std::size_t numberCount_ = 0;
};

template <class Record>
void LoggedMergeNoPub(EntityMerger<Record>& merger) {
  kLog.Debug() << "Begin to merge no pub event info. Size is " << merger.Size();
  merger.MergeNoPub();
  kLog.Debug() << "After merge no pub event info. Size is " << merger.Size();
}

/// One step alone.
template <class Record>
void RunStep(std::vector<Record>& list, void (EntityMerger<Record>::*step)()) {
  EntityMerger<Record> merger(list);
  (merger.*step)();
  merger.Finish();
}

}  // namespace

template <class Record>
void MergeEntities(std::vector<Record>& list) {
  constexpr MergeTexts texts = kTexts<Record>;
  kLog.Debug() << texts.begin << list.size();
  EntityMerger<Record> merger(list);
  merger.MergePubSubs();
  kLog.Debug() << texts.afterPub << merger.Size();
  if (merger.Size() > 1) {
    merger.MergeOffPubSubs();
    kLog.Debug() << texts.afterOffPub << merger.Size();
  }
  if (merger.Size() > 1) {
    merger.MergeNoneNetworkSubs();
    kLog.Debug() << texts.afterNoneNetwork << merger.Size();
  }
  LoggedMergeNoPub(merger);
  merger.Finish();
}

template <class Record>
void MergePubSubs(std::vector<Record>& list) {
  RunStep(list, &EntityMerger<Record>::MergePubSubs);
}

template <class Record>
void MergeOffPubSubs(std::vector<Record>& list) {
  RunStep(list, &EntityMerger<Record>::MergeOffPubSubs);
}

template <class Record>
void MergeNoneNetworkSubs(std::vector<Record>& list) {
  RunStep(list, &EntityMerger<Record>::MergeNoneNetworkSubs);
}

template <class Record>
void MergeNoPub(std::vector<Record>& list) {
  EntityMerger<Record> merger(list);
  LoggedMergeNoPub(merger);
  merger.Finish();
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
