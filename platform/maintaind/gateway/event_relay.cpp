// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/event_relay.h"

#include <chrono>
#include <optional>
#include <span>
#include <utility>

#include <asio/post.hpp>

#include "platform/com/someip/service_records.h"
#include "platform/log/qor_log.h"

namespace qor::maintaind {
namespace {

using ara::core::Result;

constexpr QorLog kLog("SomeipGateway");
constexpr std::chrono::milliseconds kConnectRetry{500};
constexpr std::uint32_t kLogIntervalMs = 5000;

Result<std::unique_ptr<someip::ServiceServer>> OpenServer(asio::io_context& loop, someip::ServiceServerOptions options,
                                                          const ServiceIndex& service) {
  auto server = someip::ServiceServer::Open(loop, options);
  if (!server && (options.udpPort.value_or(0) != 0 || options.tcpPort.value_or(0) != 0)) {
    kLog.Warn() << com::Text(service) << ": " << server.Error().Message() << "; it takes other ports.";
    options.udpPort = options.udpPort ? std::optional<std::uint16_t>(0) : std::nullopt;
    options.tcpPort = options.tcpPort ? std::optional<std::uint16_t>(0) : std::nullopt;
    server = someip::ServiceServer::Open(loop, options);
  }
  return server;
}

someip::ServiceClientOptions ClientOptions(const EventRelay::Options& options) {
  someip::ServiceClientOptions client;
  client.serviceId = options.service.serviceId;
  client.instanceId = options.service.instanceId;
  client.majorVersion = options.service.majorVersion;
  client.localAddress = options.sourceAddress;
  client.clientId = options.clientId;
  return client;
}

}  // namespace

Result<std::shared_ptr<EventRelay>> EventRelay::Open(asio::io_context& control, asio::io_context& events,
                                                     Options options) {
  options.server.serviceId = options.service.serviceId;
  options.server.instanceId = options.service.instanceId;
  options.server.majorVersion = options.service.majorVersion;
  auto server = OpenServer(events, options.server, options.service);
  if (!server) {
    return server.Error();
  }
  return std::make_shared<EventRelay>(control, events, options, std::move(server).Value());
}

EventRelay::EventRelay(asio::io_context& control, asio::io_context& events, const Options& options,
                       std::shared_ptr<someip::ServiceServer> server)
    : control_(control),
      service_(options.service),
      retry_(control),
      server_(std::move(server)),
      client_(events, ClientOptions(options)) {}

void EventRelay::SetProvider(const someip::Endpoints& provider) {
  if (provider == provider_) {
    return;
  }
  provider_ = provider;
  client_.SetServer(provider);
  CloseTcp();
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
    asio::post(control_, [weak = weak_from_this(), attempt, run = std::move(run)] {
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
  kLog.Warn("EventRelay_" + com::Text(service_), kLogIntervalMs)
      << "No TCP connection to " << com::Text(service_) << ": " << reason;
  isConnecting_ = true;
  retry_.expires_after(kConnectRetry);
  retry_.async_wait([weak = weak_from_this(), attempt = attempt_](const asio::error_code& /*cancelled*/) {
    if (const auto self = weak.lock(); self != nullptr && self->attempt_ == attempt) {
      self->isConnecting_ = false;
      self->Need(/*udp=*/false, self->needsTcp_);
    }
  });
  if (std::exchange(local_.tcp, std::nullopt)) {
    Changed();
  }
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
    kLog.Error("EventRelay_SetEvent", kLogIntervalMs) << "Event " << event.eventId << " of " << com::Text(service_)
                                                      << " is not passed on: " << added.Error().Message();
    return;
  }
  client_.SetEventHandler(
      event.eventId, [server = server_, service = service_, id = event.eventId](const someip::MessageHeader& /*header*/,
                                                                                std::span<const std::uint8_t> payload) {
        if (const auto sent = server->Notify(id, payload); !sent) {
          kLog.Error("EventRelay_Notify", kLogIntervalMs) << "A message of event " << id << " of " << com::Text(service)
                                                          << " was not passed on: " << sent.Error().Message();
        }
      });
}

void EventRelay::RemoveEvent(std::uint16_t eventId) {
  client_.RemoveEventHandler(eventId);
  server_->RemoveEvent(eventId);
}

}  // namespace qor::maintaind
