// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "platform/someip/tp_reassembler.h"
#include "tests/fuzz/require.h"

namespace qor::someip {
namespace {

using Bytes = std::vector<std::uint8_t>;
using TimePoint = TpReassembler::TimePoint;
using namespace std::chrono_literals;

constexpr std::size_t kMaxMessage = 4096;
constexpr std::size_t kTightTotal = 3 * kMaxMessage;
constexpr std::chrono::milliseconds kTimeout = 5s;

/// One segment of one of a few streams.
struct Step {
  Endpoint source;
  MessageHeader header;
  Bytes segment;
  TimePoint now;
};

/// What reassembly means, without slots and without a limit of memory.
class Model {
 public:
  std::optional<Bytes> Take(const Step& step) {
    Expire(step.now);
    Stream& stream = streams_[{step.source, step.header.methodId}];
    const auto tp = DecodeTpHeader(step.segment);
    if (!tp || (tp->hasMore && (step.segment.size() == 4 || step.segment.size() % 16 != 4))) {
      ++dropped;
      stream.isOpen = false;
      return std::nullopt;
    }
    const Bytes piece(step.segment.begin() + 4, step.segment.end());
    const std::uint16_t session = step.header.sessionId;
    if (tp->offset == 0) {
      const bool isRepetition = session != 0 && stream.session == session && stream.bytes.size() == piece.size();
      dropped += stream.isOpen && !isRepetition ? 1 : 0;
      stream = {true, session, step.now, {}};
    } else if (stream.session != session) {
      dropped += stream.isOpen ? 2 : 1;
      stream = {false, session, step.now, {}};
      return std::nullopt;
    } else if (!stream.isOpen || (session != 0 && tp->offset + piece.size() <= stream.bytes.size())) {
      return std::nullopt;
    }
    if (tp->offset != stream.bytes.size() || stream.bytes.size() + piece.size() > kMaxMessage) {
      ++dropped;
      stream.isOpen = false;
      return std::nullopt;
    }
    stream.bytes.insert(stream.bytes.end(), piece.begin(), piece.end());
    stream.isOpen = tp->hasMore;
    return tp->hasMore ? std::nullopt : std::optional(stream.bytes);
  }

  std::uint64_t dropped = 0;

 private:
  struct Stream {
    bool isOpen = false;
    std::optional<std::uint16_t> session;  // nothing: unknown or forgotten
    TimePoint begun;
    Bytes bytes;
  };

  void Expire(TimePoint now) {
    for (auto& [key, stream] : streams_) {
      if (stream.session && stream.begun + kTimeout <= now) {
        dropped += stream.isOpen ? 1 : 0;
        stream = {};
      }
    }
  }

  std::map<std::pair<Endpoint, std::uint16_t>, Stream> streams_;
};

/// Five bytes a step: stream and flags, session, offset in units, length, and what fills the segment and moves time.
Step MakeStep(std::span<const std::uint8_t, 5> bytes, TimePoint& now) {
  Step step;
  step.source = {kLoopbackAddress, static_cast<std::uint16_t>(bytes[0] & 3U)};
  step.header.methodId = bytes[0] >> 2U & 3U;
  step.header.sessionId = bytes[1] & 7U;
  step.header.type = static_cast<MessageType>(0x22);
  const bool hasMore = (bytes[0] & 0x10U) != 0;
  const bool isOdd = (bytes[0] & 0x20U) != 0;
  const std::size_t length = isOdd ? bytes[3] : bytes[3] * kTpUnit;
  const auto tp = EncodeTpHeader({static_cast<std::uint32_t>(bytes[2] * kTpUnit), hasMore});
  step.segment.assign(tp.begin(), tp.end());
  step.segment.resize(tp.size() + length, bytes[4]);
  if ((bytes[0] & 0x40U) != 0) {
    step.segment.resize(std::min<std::size_t>(step.segment.size(), bytes[3] % 8));
  }
  step.header.SetPayloadSize(step.segment.size());
  now += (bytes[0] & 0x80U) != 0 ? std::chrono::milliseconds(bytes[4] * 40) : 1ms;
  step.now = now;
  return step;
}

/// What is whole, checked against its header.
std::optional<Bytes> Take(TpReassembler& reassembler, const Step& step) {
  const auto whole = reassembler.Take(step.source, step.header, step.segment, step.now);
  if (!whole) {
    return std::nullopt;
  }
  Require(whole->header.type == MessageType::kNotification && whole->header.methodId == step.header.methodId);
  Require(whole->header.PayloadSize() == whole->payload.size() && whole->header.sessionId == step.header.sessionId);
  return Bytes(whole->payload.begin(), whole->payload.end());
}

}  // namespace
}  // namespace qor::someip

/// With room for everything the result is the model's. With little room nothing else is delivered, and the bound holds.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::someip;
  using qor::Require;
  TpReassembler roomy({.maxMessageSize = kMaxMessage, .maxMessages = 32, .timeout = kTimeout});
  TpReassembler tight({.maxMessageSize = kMaxMessage, .maxTotal = kTightTotal, .maxMessages = 3, .timeout = kTimeout});
  Model model;
  TimePoint now{};
  for (std::span<const std::uint8_t> rest(data, size); rest.size() >= 5; rest = rest.subspan(5)) {
    const Step step = MakeStep(rest.first<5>(), now);
    const auto expected = model.Take(step);
    Require(Take(roomy, step) == expected);
    Require(roomy.Dropped() == model.dropped);
    const auto some = Take(tight, step);
    Require(!some || some == expected);
    Require(tight.HeldBytes() <= kTightTotal);
  }
  return 0;
}
