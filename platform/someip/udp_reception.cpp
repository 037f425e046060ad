// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/udp_reception.h"

#include <chrono>
#include <utility>

namespace qor::someip {

/// What a reader calls.
struct UdpReception::Visitor {
  UdpReception& reception;
  MessageSink& sink;

  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> /*payload*/, const Endpoint& source) const {
    return reception.Accept(header, source.address);
  }
  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& /*source*/) const {
    if (!reception.gate_->IsClosed()) {
      sink.OnMessage(header, payload, false);
    }
  }
};

UdpReception::UdpReception(asio::io_context& loop, std::shared_ptr<CallbackGate> gate,
                           const UdpReceptionSettings& settings, std::weak_ptr<MessageSink> sink)
    : loop_(loop), gate_(std::move(gate)), settings_(settings), sink_(std::move(sink)), reader_(settings.segments) {}

ara::core::Result<std::shared_ptr<UdpSocket>> UdpReception::Open() {
  const std::lock_guard lock(mutex_);
  if (socket_ == nullptr) {
    auto opened = UdpSocket::Open(loop_, {settings_.localAddress, 0}, settings_.receiveBuffer);
    if (!opened) {
      return opened.Error();
    }
    socket_ = std::move(opened).Value();
    socket_->Receive([weak = weak_from_this()](std::span<const IncomingDatagram> batch) {
      if (const auto self = weak.lock()) {
        self->OnBatch(batch);
      }
    });
  }
  return socket_;
}

void UdpReception::Close() {
  const std::lock_guard lock(mutex_);
  if (socket_ != nullptr) {
    socket_->Close();
  }
}

ServiceClientCounts UdpReception::Counts() const {
  ServiceClientCounts counts;
  counts.malformed = reader_.Malformed();
  counts.tpDropped = reader_.TpDropped();
  counts.foreign = foreign_.load(std::memory_order_relaxed);
  const std::lock_guard lock(mutex_);
  counts.kernelDrops = socket_ != nullptr ? socket_->KernelDrops() : 0;
  return counts;
}

void UdpReception::OnBatch(std::span<const IncomingDatagram> batch) {
  const auto sink = sink_.lock();
  const auto pass = gate_->Enter();
  if (sink == nullptr) {
    return;
  }
  Visitor visitor{*this, *sink};
  const auto now = std::chrono::steady_clock::now();
  for (const IncomingDatagram& datagram : batch) {
    if (gate_->IsClosed()) {
      return;
    }
    reader_.Read(datagram.bytes, datagram.source, now, visitor);
  }
}

bool UdpReception::Accept(const MessageHeader& header, Ipv4Address source) {
  const Ipv4Address server = source_.load(std::memory_order_relaxed);
  const bool isOurs = (server == Ipv4Address{} || source == server) && settings_.filter.Takes(header);
  if (!isOurs) {
    foreign_.store(foreign_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  return isOurs;
}

}  // namespace qor::someip
