// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_MESSAGE_READER_H
#define QOR_SOMEIP_MESSAGE_READER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>

#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"
#include "platform/someip/tp_reassembler.h"

namespace qor::someip {

/// From datagrams to whole messages: a datagram may hold several, magic cookies are left out, segments are put
/// together. One thread; the counts may be read by any.
class MessageReader {
 public:
  explicit MessageReader(const TpReassemblerOptions& options) : reassembler_(options) {}

  /// `visitor` has two methods, both called during the call:
  ///   bool Accept(const MessageHeader&, std::span<const std::uint8_t> payload, const Endpoint& source)
  ///     for each message and each segment: whether it is of interest;
  ///   void OnMessage(const MessageHeader&, std::span<const std::uint8_t> payload, const Endpoint& source)
  ///     for each whole message of interest.
  template <class Visitor>
  void Read(std::span<const std::uint8_t> datagram, const Endpoint& source, TpReassembler::TimePoint now,
            Visitor& visitor) {
    std::span<const std::uint8_t> rest = datagram;
    do {
      const auto header = DecodeHeader(rest);
      if (!header || header->PayloadSize() > rest.size() - kHeaderSize) {
        malformed_.store(Malformed() + 1, std::memory_order_relaxed);
        return;
      }
      const auto payload = rest.subspan(kHeaderSize, header->PayloadSize());
      rest = rest.subspan(kHeaderSize + payload.size());
      if (!header->IsMagicCookie() && visitor.Accept(*header, payload, source)) {
        Deliver(*header, payload, source, now, visitor);
      }
    } while (!rest.empty());
  }

  std::uint64_t Malformed() const { return malformed_.load(std::memory_order_relaxed); }
  std::uint64_t TpDropped() const { return reassembler_.Dropped(); }

 private:
  template <class Visitor>
  void Deliver(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& source,
               TpReassembler::TimePoint now, Visitor& visitor) {
    if (!header.IsSegment()) {
      visitor.OnMessage(header, payload, source);
    } else if (const auto whole = reassembler_.Take(source, header, payload, now)) {
      visitor.OnMessage(whole->header, whole->payload, source);
    }
  }

  TpReassembler reassembler_;
  std::atomic<std::uint64_t> malformed_{0};
};

}  // namespace qor::someip

#endif
