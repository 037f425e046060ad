// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/event_relay.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <asio/post.hpp>

#include "platform/com/someip/service_records.h"
#include "platform/log/qor_log.h"
#include "platform/someip/wire_error.h"

namespace qor::maintaind {
namespace {

using ara::core::Result;

constexpr QorLog kLog("SomeipGateway");
constexpr std::chrono::milliseconds kConnectRetry{500};
constexpr std::uint32_t kLogIntervalMs = 5000;

Result<std::unique_ptr<someip::ServiceServer>> OpenServer(asio::io_context& loop,
                                                          const someip::ServiceServerOptions& options,
                                                          const ServiceIndex& service,
                                                          const someip::ServiceServer::DisconnectHandler& onGone) {
  auto server = someip::ServiceServer::OpenNear(loop, options, nullptr, onGone);
  if (const std::string replaced = server ? com::ReplacedPorts(options, *server.Value()) : ""; !replaced.empty()) {
    kLog.Warn() << com::Text(service) << ": " << replaced << ".";
  }
  return server;
}

someip::ServiceClientOptions ClientOptions(const EventRelay::Options& options) {
  someip::ServiceClientOptions client;
  client.serviceId = options.service.serviceId;
  client.instanceId = options.service.instanceId;
  client.majorVersion = options.service.majorVersion;
  client.localAddress = options.sourceAddress;
  client.mayBindEarly = true;
  return client;
}

bool IsPaced(const OfferedEvent& event) { return event.tp.isEnabled && event.tp.separationTimeUs != 0; }

/// The messages of one event that wait for the paced loop. Any thread.
class PacedBacklog : public std::enable_shared_from_this<PacedBacklog> {
 public:
  explicit PacedBacklog(asio::io_context& loop) : loop_(loop) {}

  /// False, and nothing done, when too much waits.
  template <class PassOn>
  bool Post(std::span<const std::uint8_t> payload, const PassOn& passOn) {
    if (waiting_ != 0 && waiting_ + payload.size() > kMaxWaiting) {
      return false;
    }
    waiting_ += payload.size();
    asio::post(loop_, [self = shared_from_this(), passOn, copy = std::vector(payload.begin(), payload.end())] {
      passOn(copy);
      self->waiting_ -= copy.size();
    });
    return true;
  }

 private:
  static constexpr std::size_t kMaxWaiting = 4U << 20U;

  asio::io_context& loop_;
  std::atomic<std::size_t> waiting_{0};  ///< bytes
};

}  // namespace

Result<std::shared_ptr<EventRelay>> EventRelay::Open(const GatewayLoops& loops, Options options) {
  options.server.serviceId = options.service.serviceId;
  options.server.instanceId = options.service.instanceId;
  options.server.majorVersion = options.service.majorVersion;
  options.server.mayBindEarly = true;  // networks come and go, ports stay
  // The server's news come on the loop of the ports; the place is read and written on the control loop only.
  const auto place = std::make_shared<std::weak_ptr<EventRelay>>();
  auto server = OpenServer(loops.ports, options.server, options.service,
                           [&control = loops.control, place](const someip::Endpoint& peer) {
                             asio::post(control, [place, peer] {
                               if (const auto self = place->lock(); self != nullptr && self->onPeerGone_ != nullptr) {
                                 self->onPeerGone_(peer);
                               }
                             });
                           });
  if (!server) {
    return server.Error();
  }
  auto relay = std::make_shared<EventRelay>(loops, options, std::move(server).Value());
  *place = relay;
  return relay;
}

EventRelay::EventRelay(const GatewayLoops& loops, const Options& options, std::shared_ptr<someip::ServiceServer> server)
    : loops_(loops),
      service_(options.service),
      retry_(loops.control),
      server_(std::move(server)),
      client_(loops.events, ClientOptions(options)) {}

void EventRelay::SetProvider(const someip::Endpoints& provider) {
  if (provider == provider_) {
    return;
  }
  provider_ = provider;
  client_.SetServer(provider);
  CloseTcp();
  hasTcpFailed_ = false;
  Need(local_.udp.has_value(), needsTcp_);
}

void EventRelay::Need(bool udp, bool tcp) {
  needsTcp_ = tcp;
  if (udp && !local_.udp) {
    OpenUdp();
  }
  if (!tcp) {
    CloseTcp();
  } else if (!local_.tcp && !isConnecting_ && provider_.tcp) {
    ConnectTcp();
  }
}

void EventRelay::OpenUdp() {
  const auto opened = client_.OpenUdp();
  if (!opened) {
    kLog.Error("EventRelay_OpenUdp", kLogIntervalMs)
        << com::Text(service_) << " cannot be received by UDP: " << opened.Error().Message();
    return;
  }
  local_.udp = opened.Value();
}

/// The client's news come on the event loop.
void EventRelay::ConnectTcp() {
  isConnecting_ = true;
  const std::uint64_t attempt = ++attempt_;
  const auto onControl = [this, attempt](auto run) {
    asio::post(loops_.control, [weak = weak_from_this(), attempt, run = std::move(run)] {
      if (const auto self = weak.lock(); self != nullptr && self->attempt_ == attempt) {
        run(*self);
      }
    });
  };
  client_.ConnectTcp(
      [onControl](const Result<someip::Endpoint>& local) {
        onControl([local](EventRelay& self) { self.OnTcpConnected(local); });
      },
      [onControl](const std::string& reason) { onControl([reason](EventRelay& self) { self.OnTcpClosed(reason); }); });
}

void EventRelay::OnTcpConnected(const Result<someip::Endpoint>& local) {
  if (!local) {
    OnTcpClosed(local.Error().Message());
    return;
  }
  isConnecting_ = false;
  local_.tcp = local.Value();
  Changed();
}

void EventRelay::OnTcpClosed(const std::string& reason) {
  kLog.Warn("EventRelay_Tcp_" + com::Text(service_), kLogIntervalMs)
      << "No TCP connection to " << com::Text(service_) << ": " << reason;
  isConnecting_ = true;  // until the next attempt
  hasTcpFailed_ = true;
  retry_.expires_after(kConnectRetry);
  retry_.async_wait([weak = weak_from_this(), attempt = attempt_](const asio::error_code& /*cancelled*/) {
    if (const auto self = weak.lock(); self != nullptr && self->attempt_ == attempt) {
      self->isConnecting_ = false;
      self->Need(/*udp=*/false, self->needsTcp_);
    }
  });
  local_.tcp.reset();
  Changed();
}

void EventRelay::CloseTcp() {
  ++attempt_;
  isConnecting_ = false;
  client_.CloseTcp();
  local_.tcp.reset();
}

void EventRelay::Changed() {
  if (onChange_ != nullptr) {
    onChange_();
  }
}

void EventRelay::SetEvent(const OfferedEvent& event) {
  if (const auto added = server_->AddEvent(com::SettingsOf(event)); !added) {
    kLog.Error("EventRelay_SetEvent_" + com::Text(service_), kLogIntervalMs)
        << "Event " << event.eventId << " of " << com::Text(service_)
        << " is not passed on: " << added.Error().Message();
    return;
  }
  // Weak: what waits in a backlog must not keep the ports of a service that has ended.
  const auto passOn = [weak = std::weak_ptr(server_), service = service_,
                       id = event.eventId](std::span<const std::uint8_t> payload) {
    const auto server = weak.lock();
    const auto sent = server != nullptr ? server->Notify(id, payload) : Result<void>();
    if (!sent && sent.Error().Value() != static_cast<std::int32_t>(someip::WireError::kUnknownEvent)) {
      kLog.Error("EventRelay_Notify_" + com::Text(service), kLogIntervalMs)
          << "A message of event " << id << " of " << com::Text(service)
          << " did not reach everybody: " << sent.Error().Message();
    }
  };
  if (!IsPaced(event)) {
    client_.SetEventHandler(event.eventId, [passOn](const someip::MessageHeader& /*header*/,
                                                    std::span<const std::uint8_t> payload) { passOn(payload); });
    return;
  }
  client_.SetEventHandler(
      event.eventId,
      [passOn, service = service_, id = event.eventId, backlog = std::make_shared<PacedBacklog>(loops_.paced)](
          const someip::MessageHeader& /*header*/, std::span<const std::uint8_t> payload) {
        if (!backlog->Post(payload, passOn)) {
          kLog.Error("EventRelay_Backlog_" + com::Text(service), kLogIntervalMs)
              << "Messages of event " << id << " of " << com::Text(service)
              << " come faster than the pauses between their segments let them go on; some are left out.";
        }
      });
}

void EventRelay::RemoveEvent(std::uint16_t eventId) {
  server_->RemoveEvent(eventId);
  client_.RemoveEventHandler(eventId);
}

}  // namespace qor::maintaind
