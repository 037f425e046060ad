// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_view.h"

#include <algorithm>
#include <utility>

namespace qor::qorbag {

QorEventQuery::QorEventQuery(std::vector<std::string> included, std::vector<std::string> skipped,
                             std::uint16_t domainId, std::string networkSegment)
    : included_(std::move(included)),
      skipped_(std::move(skipped)),
      domainId_(domainId),
      networkSegment_(std::move(networkSegment)) {
  std::ranges::sort(included_);
  std::ranges::sort(skipped_);
}

bool QorEventQuery::operator()(const Connection& connection) const {
  const bool isIncluded = included_.empty() || std::ranges::binary_search(included_, connection.eventName);
  return isIncluded && !std::ranges::binary_search(skipped_, connection.eventName) && CheckEventIndex(connection);
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
  for (const auto& [id, index] : query.bag->Content()->indexes) {
    const auto connection = query.bag->Content()->connections.find(id);
    if (connection == query.bag->Content()->connections.end() || !query.query.predicate(connection->second)) {
      continue;
    }
    const auto begin = std::ranges::lower_bound(index, query.query.startTime, {}, &MessageIndex::time);
    const auto end = std::ranges::upper_bound(index, query.query.endTime, {}, &MessageIndex::time);
    if (begin < end) {
      ranges_.push_back({std::span(begin, end), &connection->second, query.bag});
    }
  }
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
  for (const MessageRange& range : view.ranges_) {
    cursors_.push_back({range.messages.data(), range.messages.data() + range.messages.size(), &range});
  }
  for (std::size_t place = cursors_.size() / 2; place-- > 0;) {
    SiftDown(place);
  }
}

/// Messages of one time come as they stand in the file.
bool QorView::Iterator::IsBefore(const ViewIterHelper& left, const ViewIterHelper& right) {
  if (left.at->time != right.at->time) {
    return left.at->time < right.at->time;
  }
  return std::pair(left.at->chunk, left.at->msgPos) < std::pair(right.at->chunk, right.at->msgPos);
}

void QorView::Iterator::SiftDown(std::size_t place) {
  const ViewIterHelper moved = cursors_[place];
  for (std::size_t child = 2 * place + 1; child < cursors_.size(); child = 2 * place + 1) {
    if (child + 1 < cursors_.size() && IsBefore(cursors_[child + 1], cursors_[child])) {
      ++child;
    }
    if (!IsBefore(cursors_[child], moved)) {
      break;
    }
    cursors_[place] = cursors_[child];
    place = child;
  }
  cursors_[place] = moved;
}

const QorMsgEntity& QorView::Iterator::Value() {
  if (current_.empty()) {
    const ViewIterHelper& first = cursors_.front();
    current_.emplace_back(*first.range->bag, *first.range->connection, *first.at);
  }
  return current_.front();
}

void QorView::Iterator::Increase() {
  current_.clear();
  ++position_;
  if (++cursors_.front().at == cursors_.front().end) {
    cursors_.front() = cursors_.back();
    cursors_.pop_back();
  }
  if (!cursors_.empty()) {
    SiftDown(0);
  }
}

}  // namespace qor::qorbag
