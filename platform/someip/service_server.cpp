// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/service_server.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <utility>

#include <asio/post.hpp>

#include "platform/log/qor_log.h"
#include "platform/someip/answer_sink.h"
#include "platform/someip/callback_gate.h"
#include "platform/someip/message_reader.h"
#include "platform/someip/tcp_connection.h"
#include "platform/someip/tcp_listener.h"
#include "platform/someip/udp_message.h"
#include "platform/someip/udp_socket.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {
namespace {

constexpr QorLog kLog("SOMEIP");
constexpr std::uint32_t kLogIntervalMs = 5000;

ara::core::Result<void> CheckOptions(const ServiceServerOptions& options) {
  if (options.serviceId == 0 || options.serviceId == kReservedServiceId) {
    return MakeError(WireError::kBadArgument,
                     "a service id must be from 1 to 65534, not " + std::to_string(options.serviceId));
  }
  if (!options.udpPort && !options.tcpPort) {
    return MakeError(WireError::kBadArgument, "a server needs UDP or TCP or both");
  }
  if (const std::string fault = options.answerTp.Check(); !fault.empty()) {
    return MakeError(WireError::kBadArgument, "answers: " + fault);
  }
  return {};
}

/// With this port; else with any, when it may be another. The error is that of this one.
template <class Open>
auto OpenPort(std::uint16_t port, bool mayBeAnother, const Open& open) {
  auto opened = open(port);
  if (!opened && mayBeAnother && port != 0) {
    if (auto another = open(std::uint16_t{0})) {
      kLog.Info() << opened.Error().Message();
      return another;
    }
  }
  return opened;
}

}  // namespace

/// Lives as long as the loop may call it. After Close nothing happens any more.
class ServiceServer::Core : public AnswerSink, public std::enable_shared_from_this<Core> {
 public:
  Core(asio::io_context& loop, const ServiceServerOptions& options, std::shared_ptr<UdpSocket> udp,
       std::shared_ptr<TcpListener> tcp, RequestHandler onRequest, DisconnectHandler onDisconnect)
      : loop_(loop),
        options_(options),
        udp_(std::move(udp)),
        tcp_(std::move(tcp)),
        onRequest_(std::move(onRequest)),
        onDisconnect_(std::move(onDisconnect)),
        notifier_({options.serviceId, options.majorVersion, options.maxMessageSize, udp_, tcp_ != nullptr}),
        reader_({.maxMessageSize = MaxRequest()}) {}

  void Start() {
    if (udp_ != nullptr) {
      udp_->Receive([weak = weak_from_this()](std::span<const IncomingDatagram> batch) {
        if (const auto self = weak.lock()) {
          self->OnBatch(batch);
        }
      });
    }
    if (tcp_ != nullptr) {
      tcp_->Accept([weak = weak_from_this()](asio::ip::tcp::socket socket) {
        if (const auto self = weak.lock()) {
          self->OnAccepted(std::move(socket));
        }
      });
    }
  }

  void Close() {
    gate_.Close();
    if (udp_ != nullptr) {
      udp_->Close();
    }
    if (tcp_ != nullptr) {
      tcp_->Close();
    }
    for (const auto& connection : notifier_.Connections()) {
      connection->Close();
    }
  }

  Notifier& Events() { return notifier_; }

  ara::core::Result<void> AddSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable) {
    const auto added = notifier_.AddSubscriber(eventgroupId, subscriber, isReliable);
    if (!added) {
      return added.Error();
    }
    if (added.Value()) {
      asio::post(loop_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
          self->notifier_.SendFields();
        }
      });
    }
    return {};
  }

  std::optional<Endpoint> UdpEndpoint() const { return udp_ ? std::optional(udp_->Local()) : std::nullopt; }
  std::optional<Endpoint> TcpEndpoint() const { return tcp_ ? std::optional(tcp_->Local()) : std::nullopt; }

  ServiceServerCounts Counts() const {
    ServiceServerCounts counts;
    if (udp_ != nullptr) {
      counts.unsent = udp_->Unsent();
      counts.kernelDrops = udp_->KernelDrops();
    }
    counts.malformed = reader_.Malformed();
    counts.tpDropped = reader_.TpDropped();
    return counts;
  }

  ara::core::Result<void> SendAnswer(MessageHeader header, std::span<const std::uint8_t> payload, const Endpoint& peer,
                                     TcpConnection* connection) override {
    if (payload.size() > options_.maxMessageSize) {
      return MakeError(WireError::kTooLarge, "an answer of " + std::to_string(payload.size()) + " bytes, but at most " +
                                                 std::to_string(options_.maxMessageSize));
    }
    header.protocolVersion = kProtocolVersion;
    header.SetPayloadSize(payload.size());
    bool isSent = false;
    if (connection != nullptr) {
      isSent = connection->Send(EncodeHeader(header), payload);
    } else {
      std::unique_lock segmented(segmentedAnswer_, std::defer_lock);
      if (payload.size() > kMaxUdpPayload) {
        segmented.lock();
      }
      isSent = SendUdpMessage(*udp_, header, payload, {&peer, 1}, &options_.answerTp);
    }
    if (!isSent) {
      return MakeError(WireError::kNotSent, "an answer to " + peer.Text() + " could not be sent");
    }
    return {};
  }

  // What MessageReader calls for messages by UDP.
  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& source) {
    return Accept(header, payload, source, nullptr);
  }
  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& source) {
    OnRequest(header, payload, source, nullptr);
  }

 private:
  using Connection = std::shared_ptr<TcpConnection>;  // shared with the loop and with responders

  std::size_t MaxRequest() const { return options_.maxRequestSize.value_or(options_.maxMessageSize); }

  void OnBatch(std::span<const IncomingDatagram> batch) {
    const auto pass = gate_.Enter();
    const auto now = std::chrono::steady_clock::now();
    for (const IncomingDatagram& datagram : batch) {
      if (gate_.IsClosed()) {
        return;
      }
      reader_.Read(datagram.bytes, datagram.source, now, *this);
    }
  }

  void OnAccepted(asio::ip::tcp::socket socket) {
    const auto pass = gate_.Enter();
    if (!pass) {
      return;
    }
    const auto connection = std::make_shared<TcpConnection>(
        std::move(socket), TcpLimits{MaxRequest(), options_.maxQueued, options_.halfMessage, options_.answersInTurn});
    const bool isHostFull = IsFull(connection->Remote().address);
    if (isHostFull || !notifier_.AddConnection(connection, options_.maxConnections)) {
      kLog.Warn("ServiceServer_Full_" + tcp_->Local().Text(), kLogIntervalMs)
          << "A connection to service " << options_.serviceId << " was closed: there are "
          << (isHostFull ? options_.maxConnectionsOfHost : options_.maxConnections)
          << (isHostFull ? " of that host" : "") << " already.[peer=" << connection->Remote().Text() << "]";
      connection->Close();
      return;
    }
    const std::weak_ptr<TcpConnection> weakConnection = connection;
    connection->Start(
        [weak = weak_from_this(), weakConnection](const MessageHeader& header, std::span<const std::uint8_t> payload) {
          const auto self = weak.lock();
          const auto from = weakConnection.lock();
          if (self != nullptr && from != nullptr) {
            self->OnTcpMessage(header, payload, from);
          }
        },
        [weak = weak_from_this(), weakConnection](TcpEnd end, const std::string& reason) {
          const auto self = weak.lock();
          const auto from = weakConnection.lock();
          if (self != nullptr && from != nullptr) {
            self->OnClosed(*from, end, reason);
          }
        });
  }

  bool IsFull(Ipv4Address host) const {
    if (options_.maxConnectionsOfHost == 0) {
      return false;
    }
    const auto all = notifier_.Connections();
    const auto ofHost = std::ranges::count_if(
        all, [host](const Connection& connection) { return connection->Remote().address == host; });
    return static_cast<std::size_t>(ofHost) >= options_.maxConnectionsOfHost;
  }

  void OnTcpMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Connection& connection) {
    const auto pass = gate_.Enter();
    if (pass && !header.IsSegment() && Accept(header, payload, connection->Remote(), connection)) {
      OnRequest(header, payload, connection->Remote(), connection);
    }
  }

  void OnClosed(const TcpConnection& connection, TcpEnd end, const std::string& reason) {
    const auto pass = gate_.Enter();
    if (!pass) {
      return;
    }
    if (end == TcpEnd::kLimit) {
      kLog.Warn("ServiceServer_CutOff_" + tcp_->Local().Text(), kLogIntervalMs)
          << "A connection to service " << options_.serviceId << " was closed: " << reason
          << ".[peer=" << connection.Remote().Text() << "]";
    } else {
      kLog.Debug() << "A connection to service " << options_.serviceId << " ended: " << reason
                   << ".[peer=" << connection.Remote().Text() << "]";
    }
    if (notifier_.RemoveConnection(connection) && onDisconnect_ != nullptr) {
      onDisconnect_(connection.Remote());
    }
  }

  /// Whether it is a request for this service. One that is not is told so, unless it wants no answer; a segmented one
  /// by its first segment.
  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& peer,
              const Connection& connection) {
    const MessageType type = header.WholeType();
    if (type != MessageType::kRequest && type != MessageType::kRequestNoReturn) {
      return false;
    }
    ReturnCode fault = ReturnCode::kOk;
    if (header.protocolVersion != kProtocolVersion) {
      fault = ReturnCode::kWrongProtocolVersion;
    } else if (header.serviceId != options_.serviceId) {
      fault = ReturnCode::kUnknownService;
    } else if (header.interfaceVersion != options_.majorVersion) {
      fault = ReturnCode::kWrongInterfaceVersion;
    } else {
      return true;
    }
    const auto tp = header.IsSegment() ? DecodeTpHeader(payload) : TpHeader{};
    if (type == MessageType::kRequest && tp && tp->offset == 0) {
      MessageHeader answer = header;
      answer.type = MessageType::kError;
      answer.returnCode = fault;
      (void)SendAnswer(answer, {}, peer, connection.get());  // what is unsent is counted by the socket
    }
    return false;
  }

  void OnRequest(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& peer,
                 const Connection& connection) {
    if (gate_.IsClosed()) {
      return;
    }
    Responder responder;
    responder.wantsAnswer_ = header.type == MessageType::kRequest;
    responder.sink_ = weak_from_this();
    responder.request_ = header;
    responder.peer_ = peer;
    responder.isReliable_ = connection != nullptr;
    responder.connection_ = connection;
    if (onRequest_ != nullptr) {
      onRequest_(header, payload, std::move(responder));
    } else {
      (void)responder.Fail(ReturnCode::kUnknownMethod);
    }
  }

  asio::io_context& loop_;
  const ServiceServerOptions options_;
  const std::shared_ptr<UdpSocket> udp_;    // null: no UDP; shared with the notifier and the loop
  const std::shared_ptr<TcpListener> tcp_;  // null: no TCP; shared with the loop
  const RequestHandler onRequest_;
  const DisconnectHandler onDisconnect_;
  Notifier notifier_;
  CallbackGate gate_;
  MessageReader reader_;        // the loop's thread
  std::mutex segmentedAnswer_;  // held while one is sent, so that segments of two do not mix
};

ara::core::Result<std::unique_ptr<ServiceServer>> ServiceServer::Open(asio::io_context& loop,
                                                                      const ServiceServerOptions& options,
                                                                      RequestHandler onRequest,
                                                                      DisconnectHandler onDisconnect) {
  return OpenAt(Ports::kExact, loop, options, std::move(onRequest), std::move(onDisconnect));
}

ara::core::Result<std::unique_ptr<ServiceServer>> ServiceServer::OpenNear(asio::io_context& loop,
                                                                          const ServiceServerOptions& options,
                                                                          RequestHandler onRequest,
                                                                          DisconnectHandler onDisconnect) {
  return OpenAt(Ports::kNear, loop, options, std::move(onRequest), std::move(onDisconnect));
}

ara::core::Result<std::unique_ptr<ServiceServer>> ServiceServer::OpenAt(Ports ports, asio::io_context& loop,
                                                                        const ServiceServerOptions& options,
                                                                        RequestHandler onRequest,
                                                                        DisconnectHandler onDisconnect) {
  if (const auto checked = CheckOptions(options); !checked) {
    return checked.Error();
  }
  std::shared_ptr<UdpSocket> udp;
  std::shared_ptr<TcpListener> tcp;
  if (options.udpPort) {
    auto opened = OpenPort(*options.udpPort, ports == Ports::kNear, [&](std::uint16_t port) {
      return UdpSocket::Open(loop, {options.address, port}, options.receiveBuffer, options.mayBindEarly);
    });
    if (!opened) {
      return opened.Error();
    }
    udp = std::move(opened).Value();
  }
  if (options.tcpPort) {
    auto opened = OpenPort(*options.tcpPort, ports == Ports::kNear, [&](std::uint16_t port) {
      return TcpListener::Open(loop, {options.address, port}, options.mayBindEarly);
    });
    if (!opened) {
      return opened.Error();
    }
    tcp = std::move(opened).Value();
  }
  auto core = std::make_shared<Core>(loop, options, std::move(udp), std::move(tcp), std::move(onRequest),
                                     std::move(onDisconnect));
  core->Start();
  return std::unique_ptr<ServiceServer>(new ServiceServer(std::move(core)));
}

ServiceServer::ServiceServer(std::shared_ptr<Core> core) : core_(std::move(core)) {}

ServiceServer::~ServiceServer() { core_->Close(); }

std::optional<Endpoint> ServiceServer::UdpEndpoint() const { return core_->UdpEndpoint(); }

std::optional<Endpoint> ServiceServer::TcpEndpoint() const { return core_->TcpEndpoint(); }

ara::core::Result<void> ServiceServer::AddEvent(const EventSettings& event) { return core_->Events().AddEvent(event); }

void ServiceServer::RemoveEvent(std::uint16_t eventId) { core_->Events().RemoveEvent(eventId); }

ara::core::Result<void> ServiceServer::Notify(std::uint16_t eventId, std::span<const std::uint8_t> payload) {
  return core_->Events().Notify(eventId, payload);
}

ara::core::Result<void> ServiceServer::AddSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber,
                                                     bool isReliable) {
  return core_->AddSubscriber(eventgroupId, subscriber, isReliable);
}

bool ServiceServer::RemoveSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable) {
  return core_->Events().RemoveSubscriber(eventgroupId, subscriber, isReliable);
}

void ServiceServer::RemoveAllSubscribers(const Endpoint& subscriber) {
  core_->Events().RemoveAllSubscribers(subscriber);
}

bool ServiceServer::HasConnection(const Endpoint& peer) const { return core_->Events().HasConnection(peer); }

std::size_t ServiceServer::SubscriberCount(std::uint16_t eventgroupId) const {
  return core_->Events().SubscriberCount(eventgroupId);
}

ServiceServerCounts ServiceServer::Counts() const { return core_->Counts(); }

}  // namespace qor::someip
