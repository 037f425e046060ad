// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_PENDING_REQUESTS_H
#define QOR_SOMEIP_PENDING_REQUESTS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/someip/message.h"

namespace qor::someip {

/// How a request ended.
struct Answer {
  enum class Status : std::uint8_t {
    kOk,              ///< `payload` is the answer
    kError,           ///< the peer answered with `code`; `payload` is what came with it
    kTimeout,         ///< no answer in time
    kConnectionLost,  ///< the TCP connection ended before the answer
    kNotSent,         ///< the request did not leave: no connection, no server, too large, or too many requests
  };
  Status status = Status::kOk;
  ReturnCode code = ReturnCode::kOk;
  std::span<const std::uint8_t> payload;  ///< valid during the call
};

using AnswerHandler = std::function<void(const Answer& answer)>;

/// The requests of one client that wait for their answer, and their session ids. Not synchronised.
class PendingRequests {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// The session id for a new request: 1 to 0xFFFF in turn, leaving out those that wait. Nothing when all wait.
  std::optional<std::uint16_t> Add(std::uint16_t methodId, bool isReliable, TimePoint deadline, AnswerHandler handler);
  /// A session id for a message without an answer; never 0.
  std::uint16_t NextSession();

  /// The handler of the request that this answers, which waits no longer; an empty one when there is none.
  AnswerHandler Take(std::uint16_t methodId, std::uint16_t sessionId, bool isReliable);
  /// The requests that are due at `now`.
  std::vector<AnswerHandler> TakeExpired(TimePoint now);
  /// The requests that were sent by TCP.
  std::vector<AnswerHandler> TakeReliable();

  /// The first deadline; nothing when nothing waits.
  std::optional<TimePoint> NextDeadline() const;
  std::size_t Size() const { return bySession_.size(); }

 private:
  struct Pending {
    std::uint16_t methodId = 0;
    bool isReliable = false;
    TimePoint deadline;
    AnswerHandler handler;
  };
  using Map = std::unordered_map<std::uint16_t, Pending>;
  AnswerHandler Remove(Map::iterator at);

  Map bySession_;
  std::set<std::pair<TimePoint, std::uint16_t>> byDeadline_;
  std::uint16_t lastSession_ = 0;
};

}  // namespace qor::someip

#endif
