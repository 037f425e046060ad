// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/udp_message.h"

#include <algorithm>
#include <array>
#include <thread>

namespace qor::someip {
namespace {

/// Gathers datagrams, so that many leave with one call of the system.
class Gatherer {
 public:
  explicit Gatherer(UdpSocket& socket) : socket_(socket) {}

  void Add(const OutgoingDatagram& datagram) {
    datagrams_[count_++] = datagram;
    if (count_ == datagrams_.size()) {
      Flush();
    }
  }
  /// Before what the datagrams point to goes.
  void Flush() {
    isAllSent_ = socket_.Send(std::span(datagrams_).first(count_)) == count_ && isAllSent_;
    count_ = 0;
  }
  bool IsAllSent() const { return isAllSent_; }

 private:
  UdpSocket& socket_;
  std::array<OutgoingDatagram, UdpSocket::kBatch> datagrams_;
  std::size_t count_ = 0;
  bool isAllSent_ = true;
};

bool SendWhole(UdpSocket& socket, const MessageHeader& header, std::span<const std::uint8_t> payload,
               std::span<const Endpoint> destinations) {
  const auto head = EncodeHeader(header);
  Gatherer gatherer(socket);
  for (const Endpoint& destination : destinations) {
    gatherer.Add({destination, head, payload});
  }
  gatherer.Flush();
  return gatherer.IsAllSent();
}

bool SendSegmented(UdpSocket& socket, const MessageHeader& header, std::span<const std::uint8_t> payload,
                   std::span<const Endpoint> destinations, const TpSettings& tp) {
  const std::size_t count = SegmentCount(payload.size(), tp.maxSegmentLength);
  std::array<TpSegment, UdpSocket::kBatch> burst;
  const std::size_t burstLength = std::clamp<std::size_t>(tp.burstLength, 1, burst.size());
  Gatherer gatherer(socket);
  for (std::size_t first = 0; first < count; first += burstLength) {
    if (first != 0 && tp.separation.count() > 0) {
      std::this_thread::sleep_for(tp.separation);
    }
    const std::size_t length = std::min(burstLength, count - first);
    for (std::size_t i = 0; i < length; ++i) {
      burst[i] = MakeSegment(header, payload, tp.maxSegmentLength, first + i);
    }
    for (const Endpoint& destination : destinations) {
      for (const TpSegment& segment : std::span(burst).first(length)) {
        gatherer.Add({destination, segment.head, segment.piece});
      }
    }
    gatherer.Flush();
  }
  return gatherer.IsAllSent();
}

}  // namespace

bool SendUdpMessage(UdpSocket& socket, MessageHeader header, std::span<const std::uint8_t> payload,
                    std::span<const Endpoint> destinations, const TpSettings* tp) {
  header.SetPayloadSize(payload.size());
  if (destinations.empty()) {
    return true;
  }
  if (payload.size() <= kMaxUdpPayload) {
    return SendWhole(socket, header, payload, destinations);
  }
  return tp != nullptr && SendSegmented(socket, header, payload, destinations, *tp);
}

}  // namespace qor::someip
