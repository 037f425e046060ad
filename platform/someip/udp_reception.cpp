// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/udp_reception.h"

#include <chrono>
#include <utility>

#include "platform/someip/wire_error.h"

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
    : loop_(loop), gate_(std::move(gate)), settings_(settings), sink_(std::move(sink)) {}

ara::core::Result<std::shared_ptr<UdpSocket>> UdpReception::Open() {
  const std::lock_guard lock(mutex_);
  if (!own_) {
    auto opened = UdpSocket::Open(loop_, {settings_.localAddress, 0}, settings_.receiveBuffer, settings_.mayBindEarly);
    if (!opened) {
      return opened.Error();
    }
    own_ = Receive(std::move(opened).Value());
  }
  return own_->socket;
}

ara::core::Result<void> UdpReception::Join(const Endpoint& group) {
  if (!group.address.IsMulticast() || group.port == 0) {
    return MakeError(WireError::kBadArgument, group.Text() + " is no multicast group with a port");
  }
  const std::lock_guard lock(mutex_);
  const auto found = groups_.find(group);
  if (found == groups_.end()) {
    auto opened = UdpSocket::OpenGroup(loop_, group, settings_.localAddress, settings_.receiveBuffer);
    if (!opened) {
      return opened.Error();
    }
    groups_.emplace(group, Receive(std::move(opened).Value()));
    return {};
  }
  auto renewed = found->second.socket->RenewMembership(settings_.localAddress);
  if (!renewed) {
    LeaveLocked(found);
  }
  return renewed;
}

void UdpReception::Leave(const Endpoint& group) {
  const std::lock_guard lock(mutex_);
  if (const auto found = groups_.find(group); found != groups_.end()) {
    LeaveLocked(found);
  }
}

void UdpReception::LeaveLocked(Groups::iterator group) {
  group->second.socket->Close();
  group->second.AddTo(left_);
  groups_.erase(group);
}

void UdpReception::Close() {
  const std::lock_guard lock(mutex_);
  if (own_) {
    own_->socket->Close();
  }
  for (const auto& [group, channel] : groups_) {
    channel.socket->Close();
  }
}

ServiceClientCounts UdpReception::Counts() const {
  const std::lock_guard lock(mutex_);
  ServiceClientCounts counts = left_;
  counts.foreign = foreign_.load(std::memory_order_relaxed);
  if (own_) {
    own_->AddTo(counts);
  }
  for (const auto& [group, channel] : groups_) {
    channel.AddTo(counts);
  }
  return counts;
}

void UdpReception::Channel::AddTo(ServiceClientCounts& counts) const {
  counts.kernelDrops += socket->KernelDrops();
  counts.malformed += reader->Malformed();
  counts.tpDropped += reader->TpDropped();
}

UdpReception::Channel UdpReception::Receive(std::shared_ptr<UdpSocket> socket) {
  Channel channel{std::move(socket), std::make_shared<MessageReader>(settings_.segments)};
  channel.socket->Receive([weak = weak_from_this(), reader = channel.reader](std::span<const IncomingDatagram> batch) {
    if (const auto self = weak.lock()) {
      self->OnBatch(*reader, batch);
    }
  });
  return channel;
}

void UdpReception::OnBatch(MessageReader& reader, std::span<const IncomingDatagram> batch) {
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
    reader.Read(datagram.bytes, datagram.source, now, visitor);
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
