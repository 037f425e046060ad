// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/someip/event_handlers.h"
#include "platform/someip/message_reader.h"
#include "platform/someip/pending_requests.h"
#include "platform/someip/stream_framer.h"
#include "tests/fuzz/require.h"

namespace qor::someip {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMaxMessage = 64U << 10U;

/// A client's way from the datagram to its handlers.
class Receiver {
 public:
  Receiver() {
    for (std::uint16_t eventId = 0x8000; eventId < 0x8008; ++eventId) {
      handlers_.Set(eventId, [eventId](const MessageHeader& header, std::span<const std::uint8_t> payload) {
        Require(header.methodId == eventId && header.PayloadSize() == payload.size() && !header.IsSegment());
      });
    }
    for (std::uint16_t method = 0; method < 8; ++method) {
      Require(pending_.Add(method, false, {}, [](const Answer&) {}).has_value());
    }
  }

  void Read(std::span<const std::uint8_t> datagram, const Endpoint& source, TpReassembler::TimePoint now) {
    rest_ = datagram;
    const std::uint64_t malformed = reader_.Malformed();
    reader_.Read(datagram, source, now, *this);
    Require(reader_.Malformed() <= malformed + 1);
  }

  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& /*source*/) {
    Require(payload.empty() || (payload.data() >= rest_.data() + kHeaderSize &&
                                payload.data() + payload.size() <= rest_.data() + rest_.size()));
    Require(!header.IsMagicCookie() && header.PayloadSize() == payload.size());
    return header.protocolVersion == kProtocolVersion;
  }
  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& /*source*/) {
    Require(payload.size() <= kMaxMessage);
    const bool isHandled = handlers_.Deliver(header, payload);
    Require(isHandled == (header.methodId >= 0x8000 && header.methodId < 0x8008));
    if (pending_.Take(header.methodId, header.sessionId, false) != nullptr) {
      Require(header.sessionId == header.methodId + 1);  // as they were added
    }
  }

 private:
  MessageReader reader_{{.maxMessageSize = kMaxMessage, .maxTotal = 2 * kMaxMessage}};
  EventHandlers handlers_;
  PendingRequests pending_;
  std::span<const std::uint8_t> rest_;
};

/// The messages of a stream that comes in pieces, as one text of bytes, and whether it was refused.
std::pair<Bytes, bool> Frame(std::span<const std::uint8_t> stream, std::size_t pieceSize) {
  StreamFramer framer(kMaxMessage, StreamFramer::OtherVersions::kDeliver);
  Bytes all;
  while (!stream.empty()) {
    const auto piece = stream.first(std::min(pieceSize, stream.size()));
    stream = stream.subspan(piece.size());
    const bool isSound = framer.Feed(piece, [&all](const MessageHeader& header, std::span<const std::uint8_t> payload) {
      Require(header.PayloadSize() == payload.size());
      const auto head = EncodeHeader(header);
      all.insert(all.end(), head.begin(), head.end());
      all.insert(all.end(), payload.begin(), payload.end());
    });
    if (!isSound) {
      return {all, true};
    }
  }
  return {all, false};
}

}  // namespace
}  // namespace qor::someip

/// A byte that says how large the pieces are, and then bytes that are read as a stream and as datagrams of that size.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::someip;
  using qor::Require;
  if (size == 0) {
    return 0;
  }
  const std::size_t pieceSize = std::size_t{data[0]} + 1;
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  const auto whole = Frame(bytes, size);
  const auto inPieces = Frame(bytes, pieceSize);
  Require(whole == inPieces);
  Require(std::equal(whole.first.begin(), whole.first.end(), bytes.begin()));

  Receiver receiver;
  TpReassembler::TimePoint now{};
  for (auto rest = bytes; !rest.empty();) {
    const auto datagram = rest.first(std::min(pieceSize, rest.size()));
    rest = rest.subspan(datagram.size());
    now += std::chrono::milliseconds(1);
    receiver.Read(datagram, {kLoopbackAddress, 1}, now);
  }
  receiver.Read(bytes, {kLoopbackAddress, 2}, now);
  return 0;
}
