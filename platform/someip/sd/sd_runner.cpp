// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_runner.h"

#include <optional>
#include <random>
#include <utility>

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

namespace qor::someip::sd {
namespace {

std::uint64_t RandomSeed() {
  std::random_device device;
  return std::uint64_t{device()} << 32U | device();
}

}  // namespace

class SdRunner::Impl : public SdSocket::Handler, public std::enable_shared_from_this<Impl> {
 public:
  Impl(asio::io_context& loop, const SdConfig& config, const SdSocketOptions& socket, SdListener& listener,
       NetworkHandler onNetwork)
      : loop_(loop), onNetwork_(std::move(onNetwork)), timer_(loop), socket_(std::in_place, loop, socket, *this) {
    agent_.emplace(config, &std::chrono::steady_clock::now, *socket_, listener, RandomSeed());
  }

  ara::core::Result<void> Open() { return socket_->Open(); }

  void Close() {
    isClosed_ = true;
    timer_.cancel();
    socket_.reset();
  }

  /// However often the agent is called within a handler, the timer is set once, afterwards.
  SdAgent& Agent() {
    if (!isSetting_) {
      isSetting_ = true;
      asio::post(loop_, [self = shared_from_this()] {
        self->isSetting_ = false;
        self->SetTimer();
      });
    }
    return *agent_;
  }
  const SdSocket& Socket() const { return *socket_; }

  void OnDatagram(Ipv4Address sender, bool isMulticast, std::span<const std::uint8_t> bytes) override {
    Agent().OnDatagram(sender, isMulticast, bytes);
  }
  void OnNetwork(bool isUp) override {
    if (isUp) {
      Agent().OnNetworkUp();
    }
    if (onNetwork_ != nullptr) {
      onNetwork_(isUp);
    }
  }

 private:
  void SetTimer() {
    if (isClosed_) {
      return;
    }
    const auto next = agent_->NextWakeUp();
    if (!next) {
      timer_.cancel();
      return;
    }
    timer_.expires_at(*next);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
      if (!error && !self->isClosed_) {
        self->Agent().OnTime();
      }
    });
  }

  asio::io_context& loop_;
  const NetworkHandler onNetwork_;
  asio::steady_timer timer_;
  std::optional<SdSocket> socket_;
  std::optional<SdAgent> agent_;
  bool isSetting_ = false;
  bool isClosed_ = false;
};

SdRunner::SdRunner(asio::io_context& loop, const SdConfig& config, const SdSocketOptions& socket, SdListener& listener,
                   NetworkHandler onNetwork)
    : impl_(std::make_shared<Impl>(loop, config, socket, listener, std::move(onNetwork))) {}

SdRunner::~SdRunner() { impl_->Close(); }

ara::core::Result<void> SdRunner::Open() { return impl_->Open(); }
SdAgent& SdRunner::Agent() { return impl_->Agent(); }
const SdSocket& SdRunner::Socket() const { return impl_->Socket(); }

}  // namespace qor::someip::sd
