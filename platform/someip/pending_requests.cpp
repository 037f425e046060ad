// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/pending_requests.h"

namespace qor::someip {
namespace {

constexpr std::size_t kSessionIds = 0xFFFF;

}  // namespace

std::optional<std::uint16_t> PendingRequests::Add(std::uint16_t methodId, bool isReliable, TimePoint deadline,
                                                  AnswerHandler handler) {
  if (bySession_.size() == kSessionIds) {
    return std::nullopt;
  }
  std::uint16_t session = NextSession();
  while (bySession_.contains(session)) {
    session = NextSession();
  }
  bySession_.emplace(session, Pending{methodId, isReliable, deadline, std::move(handler)});
  byDeadline_.emplace(deadline, session);
  return session;
}

std::uint16_t PendingRequests::NextSession() {
  lastSession_ = lastSession_ == kSessionIds ? std::uint16_t{1} : static_cast<std::uint16_t>(lastSession_ + 1);
  return lastSession_;
}

AnswerHandler PendingRequests::Take(std::uint16_t methodId, std::uint16_t sessionId, bool isReliable) {
  const auto found = bySession_.find(sessionId);
  if (found == bySession_.end() || found->second.methodId != methodId || found->second.isReliable != isReliable) {
    return nullptr;
  }
  return Remove(found);
}

std::vector<AnswerHandler> PendingRequests::TakeExpired(TimePoint now) {
  std::vector<AnswerHandler> expired;
  while (!byDeadline_.empty() && byDeadline_.begin()->first <= now) {
    expired.push_back(Remove(bySession_.find(byDeadline_.begin()->second)));
  }
  return expired;
}

std::vector<AnswerHandler> PendingRequests::TakeReliable() {
  std::vector<AnswerHandler> taken;
  for (auto at = bySession_.begin(); at != bySession_.end();) {
    const auto next = std::next(at);
    if (at->second.isReliable) {
      taken.push_back(Remove(at));
    }
    at = next;
  }
  return taken;
}

std::optional<PendingRequests::TimePoint> PendingRequests::NextDeadline() const {
  if (byDeadline_.empty()) {
    return std::nullopt;
  }
  return byDeadline_.begin()->first;
}

AnswerHandler PendingRequests::Remove(Map::iterator at) {
  AnswerHandler handler = std::move(at->second.handler);
  byDeadline_.erase({at->second.deadline, at->first});
  bySession_.erase(at);
  return handler;
}

}  // namespace qor::someip
