// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/service_client.h"

#include <mutex>
#include <utility>

#include "platform/someip/callback_gate.h"
#include "platform/someip/client_connection.h"
#include "platform/someip/client_requests.h"
#include "platform/someip/udp_message.h"
#include "platform/someip/udp_reception.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {

/// Lives as long as the loop may call it. After Close nothing happens any more.
class ServiceClient::Core : public MessageSink, public std::enable_shared_from_this<Core> {
 public:
  Core(asio::io_context& loop, const ServiceClientOptions& options)
      : options_(options), requests_(std::make_shared<ClientRequests>(loop, gate_)) {}

  void Start(asio::io_context& loop) {
    const MessageFilter filter{options_.serviceId, options_.majorVersion};
    connection_ = std::make_shared<ClientConnection>(
        loop, gate_,
        ClientConnectionSettings{
            filter, options_.localAddress, {options_.maxMessageSize, options_.maxQueued, options_.halfMessage}},
        weak_from_this(), [requests = requests_] { requests->EndReliable(); });
    reception_ = std::make_shared<UdpReception>(
        loop, gate_,
        UdpReceptionSettings{filter,
                             options_.localAddress,
                             options_.mayBindEarly,
                             options_.receiveBuffer,
                             {.maxMessageSize = options_.maxMessageSize, .maxTotal = options_.maxUnfinished}},
        weak_from_this());
  }

  void Close() {
    gate_->Close();
    requests_->Close();
    reception_->Close();
    connection_->Close();
  }

  void SetServer(const Endpoints& server) {
    const std::lock_guard lock(mutex_);
    server_ = server;
    const auto& known = server.udp ? server.udp : server.tcp;
    reception_->SetSource(known ? known->address : Ipv4Address{});
  }

  ara::core::Result<Endpoint> OpenUdp() {
    const auto opened = reception_->Open();
    if (!opened) {
      return opened.Error();
    }
    return opened.Value()->Local();
  }

  UdpReception& Reception() { return *reception_; }

  void ConnectTcp(ConnectHandler onConnected, ClosedHandler onClosed) {
    connection_->Connect(Server().tcp, std::move(onConnected), std::move(onClosed));
  }
  void CloseTcp() { connection_->Close(); }

  void Request(std::uint16_t methodId, std::span<const std::uint8_t> payload, bool isReliable,
               std::chrono::milliseconds timeout, AnswerHandler onAnswer) {
    const auto way = FindWay(payload.size(), isReliable);
    const auto session = way ? requests_->Add(methodId, isReliable, timeout, onAnswer) : std::nullopt;
    if (!session) {
      requests_->EndLater({std::move(onAnswer)}, Answer::Status::kNotSent);
    } else if (!Send(way.Value(), {methodId, *session, MessageType::kRequest}, payload)) {
      requests_->EndUnsent(methodId, *session, isReliable);
    }
  }

  ara::core::Result<void> FireAndForget(std::uint16_t methodId, std::span<const std::uint8_t> payload,
                                        bool isReliable) {
    const auto way = FindWay(payload.size(), isReliable);
    if (!way) {
      return way.Error();
    }
    if (!Send(way.Value(), {methodId, requests_->NextSession(), MessageType::kRequestNoReturn}, payload)) {
      return MakeError(WireError::kNotSent, "a message to " + way.Value().server.Text() + " could not be sent");
    }
    return {};
  }

  EventHandlers& Events() { return events_; }
  ServiceClientCounts Counts() const { return reception_->Counts(); }

  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, bool isReliable) override {
    if (header.type == MessageType::kNotification) {
      (void)events_.Deliver(header, payload);
    } else if ((header.type == MessageType::kResponse || header.type == MessageType::kError) &&
               header.clientId == options_.clientId) {
      requests_->OnAnswer(header, payload, isReliable);
    }
  }

 private:
  /// By which transport a message leaves.
  struct Way {
    std::shared_ptr<UdpSocket> udp;
    std::shared_ptr<TcpConnection> tcp;
    Endpoint server;
  };
  struct Identity {
    std::uint16_t methodId;
    std::uint16_t sessionId;
    MessageType type;
  };

  Endpoints Server() const {
    const std::lock_guard lock(mutex_);
    return server_;
  }

  ara::core::Result<Way> FindWay(std::size_t payloadSize, bool isReliable) {
    if (payloadSize > options_.maxMessageSize) {
      return MakeError(WireError::kTooLarge, "a message of " + std::to_string(payloadSize) + " bytes, but at most " +
                                                 std::to_string(options_.maxMessageSize));
    }
    if (isReliable) {
      const auto connection = connection_->Current();
      if (connection == nullptr) {
        return MakeError(WireError::kNotOpen, "there is no TCP connection to the server");
      }
      return Way{nullptr, connection, connection->Remote()};
    }
    const auto server = Server().udp;
    if (!server) {
      return MakeError(WireError::kNotOpen, "the server's UDP endpoint is not known");
    }
    const auto opened = reception_->Open();
    if (!opened) {
      return opened.Error();
    }
    return Way{opened.Value(), nullptr, *server};
  }

  bool Send(const Way& way, const Identity& identity, std::span<const std::uint8_t> payload) {
    MessageHeader header;
    header.serviceId = options_.serviceId;
    header.methodId = identity.methodId;
    header.SetPayloadSize(payload.size());
    header.clientId = options_.clientId;
    header.sessionId = identity.sessionId;
    header.interfaceVersion = options_.majorVersion;
    header.type = identity.type;
    if (way.tcp != nullptr) {
      return way.tcp->Send(EncodeHeader(header), payload);
    }
    std::unique_lock segmented(segmentedRequest_, std::defer_lock);
    if (payload.size() > kMaxUdpPayload) {
      segmented.lock();
    }
    return SendUdpMessage(*way.udp, header, payload, {&way.server, 1}, &options_.requestTp);
  }

  const ServiceClientOptions options_;
  const std::shared_ptr<CallbackGate> gate_ = std::make_shared<CallbackGate>();  // shared with the parts
  const std::shared_ptr<ClientRequests> requests_;  // each part is shared with what the loop holds
  std::shared_ptr<ClientConnection> connection_;    // set by Start, before anything else
  std::shared_ptr<UdpReception> reception_;         // set by Start, before anything else
  EventHandlers events_;
  std::mutex segmentedRequest_;  // held while one is sent, so that segments of two do not mix

  mutable std::mutex mutex_;
  Endpoints server_;  // guarded by mutex_
};

ServiceClient::ServiceClient(asio::io_context& loop, const ServiceClientOptions& options)
    : core_(std::make_shared<Core>(loop, options)) {
  core_->Start(loop);
}

ServiceClient::~ServiceClient() { core_->Close(); }

void ServiceClient::SetServer(const Endpoints& server) { core_->SetServer(server); }

ara::core::Result<Endpoint> ServiceClient::OpenUdp() { return core_->OpenUdp(); }

ara::core::Result<void> ServiceClient::JoinMulticast(const Endpoint& group) { return core_->Reception().Join(group); }

void ServiceClient::LeaveMulticast(const Endpoint& group) { core_->Reception().Leave(group); }

void ServiceClient::ConnectTcp(ConnectHandler onConnected, ClosedHandler onClosed) {
  core_->ConnectTcp(std::move(onConnected), std::move(onClosed));
}

void ServiceClient::CloseTcp() { core_->CloseTcp(); }

void ServiceClient::SetEventHandler(std::uint16_t eventId, EventHandler handler) {
  core_->Events().Set(eventId, std::move(handler));
}

void ServiceClient::RemoveEventHandler(std::uint16_t eventId) { core_->Events().Remove(eventId); }

void ServiceClient::Request(std::uint16_t methodId, std::span<const std::uint8_t> payload, bool isReliable,
                            std::chrono::milliseconds timeout, AnswerHandler onAnswer) {
  core_->Request(methodId, payload, isReliable, timeout, std::move(onAnswer));
}

ara::core::Result<void> ServiceClient::FireAndForget(std::uint16_t methodId, std::span<const std::uint8_t> payload,
                                                     bool isReliable) {
  return core_->FireAndForget(methodId, payload, isReliable);
}

ServiceClientCounts ServiceClient::Counts() const { return core_->Counts(); }

}  // namespace qor::someip
