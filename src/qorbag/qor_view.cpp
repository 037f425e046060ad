// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_view.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "src/common/name_pattern.h"

namespace qor::qorbag {
namespace {

using Messages = std::span<const MessageIndex>;

/// Where the first message that is not before the time would be if the event came at a steady rate.
std::size_t GuessOf(Messages messages, std::uint64_t time) {
  const std::uint64_t first = messages.front().time;
  const std::uint64_t last = messages.back().time;
  if (time <= first || time > last) {
    return time <= first ? 0 : messages.size() - 1;
  }
  const double share = static_cast<double>(time - first) / static_cast<double>(last - first);
  return std::min(static_cast<std::size_t>(share * static_cast<double>(messages.size())), messages.size() - 1);
}

/// The first message that is not before the time: sought outwards from the guess. Of messages, one at least.
const MessageIndex* FirstNotBefore(Messages messages, std::uint64_t time) {
  const auto isBefore = [&](std::size_t at) { return messages[at].time < time; };
  std::size_t low = GuessOf(messages, time);
  std::size_t high = low;
  for (std::size_t step = 1; low > 0 && !isBefore(low); step *= 2) {
    high = low;
    low -= std::min(low, step);
  }
  for (std::size_t step = 1; high < messages.size() && isBefore(high); step *= 2) {
    low = high;
    high += std::min(messages.size() - high, step);
  }
  return std::to_address(std::ranges::lower_bound(messages.subspan(low, high - low), time, {}, &MessageIndex::time));
}

}  // namespace

QorEventQuery::QorEventQuery(std::vector<std::string> included, std::vector<std::string> skipped,
                             std::uint16_t domainId, std::string networkSegment)
    : included_(std::move(included)),
      skipped_(std::move(skipped)),
      domainId_(domainId),
      networkSegment_(std::move(networkSegment)) {}

bool QorEventQuery::operator()(const Connection& connection) const {
  const bool isIncluded = included_.empty() || common::MatchesAny(included_, connection.eventName);
  return isIncluded && !common::MatchesAny(skipped_, connection.eventName) && CheckEventIndex(connection);
}

bool QorEventQuery::CheckEventIndex(const Connection& connection) const {
  const EventIdentity identity = IdentityOf(connection);
  return (domainId_ == kAnyDomain || identity.domainId == domainId_) &&
         (networkSegment_.empty() || identity.networkSegment == networkSegment_);
}

void QorView::AddQuery(QorBagFile& bag, ConnectionPredicate predicate, std::uint64_t startTime, std::uint64_t endTime) {
  UpdateQueries(QorBagQuery{&bag, {std::move(predicate), startTime, endTime}});
}

void QorView::UpdateQueries(const QorBagQuery& query) {
  if (query.query.startTime > query.query.endTime) {
    return;
  }
  const std::uint64_t start = query.query.startTime;
  const std::uint64_t end = query.query.endTime;
  const std::size_t before = ranges_.size();
  const BagContent& content = *query.bag->Content();
  for (const auto& [id, index] : content.indexes) {
    const auto connection = content.connections.find(id);
    if (connection != content.connections.end() && !index.empty() && query.query.predicate(connection->second)) {
      __builtin_prefetch(&index[GuessOf(index, start)]);  // all of them are waited for at once
      ranges_.push_back({index, &connection->second, query.bag, id});
    }
  }
  for (MessageRange& range : std::span(ranges_).subspan(before)) {
    const Messages all = range.messages;
    const MessageIndex* const first = FirstNotBefore(all, start);
    const MessageIndex* const last = end == UINT64_MAX ? std::to_address(all.end()) : FirstNotBefore(all, end + 1);
    range.messages = {first, last};
  }
  std::erase_if(ranges_, [](const MessageRange& range) { return range.messages.empty(); });
}

std::uint64_t QorView::Size() const {
  std::uint64_t size = 0;
  for (const MessageRange& range : ranges_) {
    size += range.messages.size();
  }
  return size;
}

std::uint64_t QorView::PayloadBytes() const {
  std::uint64_t bytes = 0;
  for (const MessageRange& range : ranges_) {
    for (const MessageIndex& message : range.messages) {
      bytes += message.size;
    }
  }
  return bytes;
}

std::uint64_t QorView::GetBeginTime() const {
  const auto first =
      std::ranges::min_element(ranges_, {}, [](const auto& range) { return range.messages.front().time; });
  return first == ranges_.end() ? 0 : first->messages.front().time;
}

std::uint64_t QorView::GetEndTime() const {
  const auto last = std::ranges::max_element(ranges_, {}, [](const auto& range) { return range.messages.back().time; });
  return last == ranges_.end() ? 0 : last->messages.back().time;
}

std::vector<const Connection*> QorView::GetConnections() const {
  std::vector<const Connection*> connections;
  for (const MessageRange& range : ranges_) {
    if (std::ranges::find(connections, range.connection) == connections.end()) {
      connections.push_back(range.connection);
    }
  }
  return connections;
}

QorView::Iterator::Iterator(const QorView& view) { Populate(view); }

void QorView::Iterator::Populate(const QorView& view) {
  cursors_.reserve(view.ranges_.size());
  for (const MessageRange& range : view.ranges_) {
    cursors_.push_back({range.messages.data(), range.messages.data() + range.messages.size(), &range});
  }
  TakeBatch();
  beginTime_ = IsEnd() ? 0 : batch_.front().GetTime();
}

/// Everything up to the earliest message that is `stride_` ahead in its range.
void QorView::Iterator::TakeBatch() {
  constexpr std::size_t kFew = 4096;
  constexpr std::size_t kMany = 16384;
  std::pair bound(UINT64_MAX, UINT64_MAX);
  for (const ViewIterHelper& cursor : cursors_) {
    __builtin_prefetch(cursor.at);  // all of them are waited for at once
    if (static_cast<std::size_t>(cursor.end - cursor.at) >= stride_) {
      bound = std::min(bound, cursor.at[stride_ - 1].Order());
    }
  }
  batch_.clear();
  next_ = 0;
  for (ViewIterHelper& cursor : cursors_) {
    for (; cursor.at != cursor.end; ++cursor.at) {
      if (cursor.at->Order() > bound) {
        break;
      }
      batch_.emplace_back(*cursor.range, *cursor.at);
    }
  }
  std::erase_if(cursors_, [](const ViewIterHelper& cursor) { return cursor.at == cursor.end; });
  SortBatch();
  if (batch_.size() < kFew) {
    stride_ *= 2;
  } else if (batch_.size() > kMany && stride_ > 1) {
    stride_ /= 2;
  }
}

void QorView::Iterator::SortBatch() {
  constexpr std::size_t kFew = 256;
  const auto order = [](const QorMsgEntity& message) { return message.Index().Order(); };
  if (batch_.size() < kFew) {
    std::ranges::sort(batch_, {}, order);
    return;
  }
  SortByTime();
  for (auto first = batch_.begin(); first != batch_.end();) {
    const auto last = std::find_if(first + 1, batch_.end(),
                                   [&](const QorMsgEntity& message) { return message.GetTime() != first->GetTime(); });
    std::sort(first, last, [](const QorMsgEntity& one, const QorMsgEntity& other) {
      return one.Index().Place() < other.Index().Place();
    });
    first = last;
  }
}

/// A radix sort: times that lie close together take few passes.
void QorView::Iterator::SortByTime() {
  constexpr unsigned kBits = 11;
  constexpr std::uint64_t kBuckets = std::uint64_t{1} << kBits;
  const auto [first, last] = std::ranges::minmax_element(batch_, {}, &QorMsgEntity::GetTime);
  const std::uint64_t earliest = first->GetTime();
  const std::uint64_t width = last->GetTime() - earliest;
  scratch_ = batch_;
  for (unsigned shift = 0; shift < 64 && (width >> shift) != 0; shift += kBits) {
    const auto bucketOf = [&](const QorMsgEntity& message) {
      return ((message.GetTime() - earliest) >> shift) % kBuckets;
    };
    std::array<std::uint32_t, kBuckets + 1> begins{};
    for (const QorMsgEntity& message : batch_) {
      ++begins[bucketOf(message) + 1];
    }
    std::partial_sum(begins.begin(), begins.end(), begins.begin());
    for (const QorMsgEntity& message : batch_) {
      scratch_[begins[bucketOf(message)]++] = message;
    }
    batch_.swap(scratch_);
  }
}

void QorView::Iterator::Increase() {
  ++position_;
  if (++next_ == batch_.size()) {
    TakeBatch();
  }
}

}  // namespace qor::qorbag
