// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/service_client.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include "platform/log/qor_log.h"
#include "platform/someip/asio_endpoint.h"
#include "platform/someip/callback_gate.h"
#include "platform/someip/message_reader.h"
#include "platform/someip/tcp_connection.h"
#include "platform/someip/udp_message.h"
#include "platform/someip/udp_socket.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {
namespace {

using asio::ip::tcp;

constexpr QorLog kLog("SOMEIP");
/// Attempts to reach a host that does not answer: with 2 the system gives up after 7 s.
constexpr int kConnectRetries = 2;
/// So that a deadline does not overflow.
constexpr std::chrono::milliseconds kMaxTimeout = std::chrono::hours(24 * 365);

}  // namespace

/// Lives as long as the loop may call it. After Close nothing happens any more.
class ServiceClient::Core : public std::enable_shared_from_this<Core> {
 public:
  Core(asio::io_context& loop, const ServiceClientOptions& options)
      : loop_(loop),
        options_(options),
        reader_({.maxMessageSize = options.maxMessageSize, .maxTotal = options.maxUnfinished}),
        connecting_(loop),
        timer_(loop) {}

  void Close() {
    gate_.Close();
    PendingRequests forgotten;  // handlers end without the lock
    ClosedHandler onClosed;
    const std::lock_guard lock(mutex_);
    std::swap(forgotten, pending_);
    onClosed = std::move(onClosed_);
    if (udp_ != nullptr) {
      udp_->Close();
    }
    EndConnectionLocked();
    timer_.cancel();
  }

  void SetServer(const Endpoints& server) {
    const std::lock_guard lock(mutex_);
    server_ = server;
    udpAddress_.store(server.udp ? server.udp->address : Ipv4Address{}, std::memory_order_relaxed);
  }

  ara::core::Result<Endpoint> OpenUdp() {
    const std::lock_guard lock(mutex_);
    return OpenUdpLocked();
  }

  void ConnectTcp(ConnectHandler onConnected, ClosedHandler onClosed) {
    std::vector<AnswerHandler> lost;
    {
      const std::lock_guard lock(mutex_);
      EndConnectionLocked();
      lost = pending_.TakeReliable();
      BeginConnectLocked(std::move(onConnected), std::move(onClosed));
    }
    EndRequests(std::move(lost), Answer::Status::kConnectionLost);
  }

  void CloseTcp() {
    std::vector<AnswerHandler> lost;
    {
      const std::lock_guard lock(mutex_);
      EndConnectionLocked();
      lost = pending_.TakeReliable();
    }
    EndRequests(std::move(lost), Answer::Status::kConnectionLost);
  }

  void Request(std::uint16_t methodId, std::span<const std::uint8_t> payload, bool isReliable,
               std::chrono::milliseconds timeout, AnswerHandler onAnswer) {
    const auto deadline = std::chrono::steady_clock::now() + std::min(timeout, kMaxTimeout);
    Way way;
    std::optional<std::uint16_t> session;
    {
      const std::lock_guard lock(mutex_);
      if (auto found = FindWayLocked(payload.size(), isReliable)) {
        way = std::move(found).Value();
        session = pending_.Add(methodId, isReliable, deadline, onAnswer);
        ArmTimerLocked();
      }
    }
    if (!session) {
      EndRequests({std::move(onAnswer)}, Answer::Status::kNotSent);
      return;
    }
    if (!Send(way, {methodId, *session, MessageType::kRequest}, payload)) {
      const std::lock_guard lock(mutex_);
      EndRequests({pending_.Take(methodId, *session, isReliable)}, Answer::Status::kNotSent);
    }
  }

  ara::core::Result<void> FireAndForget(std::uint16_t methodId, std::span<const std::uint8_t> payload,
                                        bool isReliable) {
    Way way;
    std::uint16_t session = 0;
    {
      const std::lock_guard lock(mutex_);
      auto found = FindWayLocked(payload.size(), isReliable);
      if (!found) {
        return found.Error();
      }
      way = std::move(found).Value();
      session = pending_.NextSession();
    }
    if (!Send(way, {methodId, session, MessageType::kRequestNoReturn}, payload)) {
      return MakeError(WireError::kNotSent, "a message to " + way.server.Text() + " could not be sent");
    }
    return {};
  }

  EventHandlers& Events() { return events_; }

  ServiceClientCounts Counts() {
    ServiceClientCounts counts;
    counts.malformed = reader_.Malformed();
    counts.tpDropped = reader_.TpDropped();
    counts.foreign = foreign_.load(std::memory_order_relaxed);
    const std::lock_guard lock(mutex_);
    counts.kernelDrops = udp_ != nullptr ? udp_->KernelDrops() : 0;
    return counts;
  }

  // What MessageReader calls for messages by UDP.
  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> /*payload*/, const Endpoint& source) {
    const Ipv4Address server = udpAddress_.load(std::memory_order_relaxed);
    const bool isOurs = (server == Ipv4Address{} || source.address == server) && IsOurs(header);
    if (!isOurs) {
      foreign_.store(foreign_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    return isOurs;
  }
  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& /*source*/) {
    if (!gate_.IsClosed()) {
      OnWhole(header, payload, false);
    }
  }

 private:
  using Connection = std::shared_ptr<TcpConnection>;  // shared with the loop and with requests that are being sent

  /// By which transport a message leaves.
  struct Way {
    std::shared_ptr<UdpSocket> udp;
    Connection tcp;
    Endpoint server;
  };
  struct Identity {
    std::uint16_t methodId;
    std::uint16_t sessionId;
    MessageType type;
  };

  ara::core::Result<Endpoint> OpenUdpLocked() {
    if (udp_ == nullptr) {
      auto opened = UdpSocket::Open(loop_, {options_.localAddress, 0}, options_.receiveBuffer);
      if (!opened) {
        return opened.Error();
      }
      udp_ = std::move(opened).Value();
      udp_->Receive([weak = weak_from_this()](std::span<const IncomingDatagram> batch) {
        if (const auto self = weak.lock()) {
          self->OnBatch(batch);
        }
      });
    }
    return udp_->Local();
  }

  ara::core::Result<Way> FindWayLocked(std::size_t payloadSize, bool isReliable) {
    if (payloadSize > options_.maxMessageSize) {
      return MakeError(WireError::kTooLarge, "a message of " + std::to_string(payloadSize) + " bytes, but at most " +
                                                 std::to_string(options_.maxMessageSize));
    }
    if (isReliable) {
      if (tcp_ == nullptr) {
        return MakeError(WireError::kNotOpen, "there is no TCP connection to the server");
      }
      return Way{nullptr, tcp_, tcp_->Remote()};
    }
    if (!server_.udp) {
      return MakeError(WireError::kNotOpen, "the server's UDP endpoint is not known");
    }
    if (const auto opened = OpenUdpLocked(); !opened) {
      return opened.Error();
    }
    return Way{udp_, nullptr, *server_.udp};
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

  void BeginConnectLocked(ConnectHandler onConnected, ClosedHandler onClosed) {
    asio::error_code error;
    if (!server_.tcp) {
      FailConnect(std::move(onConnected), MakeError(WireError::kNotOpen, "the server's TCP endpoint is not known"));
      return;
    }
    connecting_.open(tcp::v4(), error);
    if (!error) {
      (void)::setsockopt(connecting_.native_handle(), IPPROTO_TCP, TCP_SYNCNT, &kConnectRetries,
                         sizeof(kConnectRetries));
      connecting_.bind(ToAsio<tcp>({options_.localAddress, 0}), error);
    }
    if (error) {
      FailConnect(std::move(onConnected), ConnectError(*server_.tcp, error));
      return;
    }
    connecting_.async_connect(
        ToAsio<tcp>(*server_.tcp),
        [self = shared_from_this(), attempt = attempt_, server = *server_.tcp, connected = std::move(onConnected),
         closed = std::move(onClosed)](const asio::error_code& result) mutable {
          self->OnConnect(attempt, server, result, connected, std::move(closed));
        });
  }

  static ara::core::ErrorCode ConnectError(const Endpoint& server, const asio::error_code& error) {
    return MakeError(WireError::kSocket, "cannot connect to TCP " + server.Text() + ": " + error.message());
  }

  void FailConnect(ConnectHandler onConnected, const ara::core::ErrorCode& error) {
    asio::post(loop_, [self = shared_from_this(), connected = std::move(onConnected), error] {
      const auto pass = self->gate_.Enter();
      if (pass && connected) {
        connected(error);
      }
    });
  }

  void OnConnect(std::uint64_t attempt, const Endpoint& server, const asio::error_code& error,
                 const ConnectHandler& onConnected, ClosedHandler onClosed) {
    const auto pass = gate_.Enter();
    if (!pass) {
      return;
    }
    std::optional<ara::core::Result<Endpoint>> local;
    {
      const std::lock_guard lock(mutex_);
      if (attempt != attempt_) {
        return;
      }
      if (error) {
        asio::error_code ignored;
        connecting_.close(ignored);
        local.emplace(ConnectError(server, error));
      } else {
        tcp_ = std::make_shared<TcpConnection>(std::exchange(connecting_, tcp::socket(loop_)),
                                               TcpLimits{options_.maxMessageSize, options_.maxQueued});
        onClosed_ = std::move(onClosed);
        StartLocked();
        local.emplace(tcp_->Local());
      }
    }
    if (onConnected) {
      onConnected(*local);
    }
  }

  void StartLocked() {
    const std::weak_ptr<TcpConnection> weakConnection = tcp_;
    tcp_->Start(
        [weak = weak_from_this()](const MessageHeader& header, std::span<const std::uint8_t> payload) {
          if (const auto self = weak.lock()) {
            self->OnTcpMessage(header, payload);
          }
        },
        [weak = weak_from_this(), weakConnection](const std::string& reason) {
          const auto self = weak.lock();
          const auto from = weakConnection.lock();
          if (self != nullptr && from != nullptr) {
            self->OnTcpClosed(from, reason);
          }
        });
  }

  /// Also an attempt that is going on.
  void EndConnectionLocked() {
    ++attempt_;
    asio::error_code ignored;
    connecting_.close(ignored);
    if (tcp_ != nullptr) {
      tcp_->Close();
      tcp_ = nullptr;
    }
    onClosed_ = nullptr;
  }

  void OnTcpClosed(const Connection& connection, const std::string& reason) {
    const auto pass = gate_.Enter();
    if (!pass) {
      return;
    }
    ClosedHandler onClosed;
    std::vector<AnswerHandler> lost;
    {
      const std::lock_guard lock(mutex_);
      if (tcp_ != connection) {
        return;
      }
      tcp_ = nullptr;
      onClosed = std::exchange(onClosed_, nullptr);
      lost = pending_.TakeReliable();
    }
    kLog.Info() << "The connection to service " << options_.serviceId << " at " << connection->Remote().Text()
                << " ended: " << reason;
    if (onClosed) {
      onClosed(reason);
    }
    for (const AnswerHandler& handler : lost) {
      CallUnlessClosed(handler, {Answer::Status::kConnectionLost, ReturnCode::kNotReachable, {}});
    }
  }

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

  void OnTcpMessage(const MessageHeader& header, std::span<const std::uint8_t> payload) {
    const auto pass = gate_.Enter();
    if (pass && !header.IsSegment() && IsOurs(header)) {
      OnWhole(header, payload, true);
    }
  }

  /// An error may come from a server of another version.
  bool IsOurs(const MessageHeader& header) const {
    const bool isAnswer = (static_cast<std::uint8_t>(header.type) & 0x80U) != 0;
    return header.serviceId == options_.serviceId && header.protocolVersion == kProtocolVersion &&
           (header.interfaceVersion == options_.majorVersion || isAnswer);
  }

  void OnWhole(const MessageHeader& header, std::span<const std::uint8_t> payload, bool isReliable) {
    if (header.type == MessageType::kNotification) {
      (void)events_.Deliver(header, payload);
    } else if (header.type == MessageType::kResponse || header.type == MessageType::kError) {
      OnAnswer(header, payload, isReliable);
    }
  }

  void OnAnswer(const MessageHeader& header, std::span<const std::uint8_t> payload, bool isReliable) {
    if (header.clientId != options_.clientId) {
      return;
    }
    AnswerHandler handler;
    {
      const std::lock_guard lock(mutex_);
      handler = pending_.Take(header.methodId, header.sessionId, isReliable);
    }
    const bool isOk = header.type == MessageType::kResponse && header.returnCode == ReturnCode::kOk;
    if (handler) {
      handler({isOk ? Answer::Status::kOk : Answer::Status::kError, header.returnCode, payload});
    }
  }

  void CallUnlessClosed(const AnswerHandler& handler, const Answer& answer) const {
    if (handler && !gate_.IsClosed()) {
      handler(answer);
    }
  }

  /// Later, on the loop's thread.
  void EndRequests(std::vector<AnswerHandler> handlers, Answer::Status status) {
    if (handlers.empty()) {
      return;
    }
    asio::post(loop_, [self = shared_from_this(), status, ended = std::move(handlers)] {
      const auto pass = self->gate_.Enter();
      for (const AnswerHandler& handler : ended) {
        self->CallUnlessClosed(handler, {status, ReturnCode::kNotReachable, {}});
      }
    });
  }

  void ArmTimerLocked() {
    const auto next = pending_.NextDeadline();
    if (!next || (armedFor_ && *armedFor_ <= *next)) {
      return;
    }
    armedFor_ = next;
    timer_.expires_at(*next);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& replaced) {
      if (!replaced) {
        self->OnTimer();
      }
    });
  }

  void OnTimer() {
    const auto pass = gate_.Enter();
    if (!pass) {
      return;
    }
    std::vector<AnswerHandler> late;
    {
      const std::lock_guard lock(mutex_);
      armedFor_.reset();
      late = pending_.TakeExpired(std::chrono::steady_clock::now());
      ArmTimerLocked();
    }
    for (const AnswerHandler& handler : late) {
      CallUnlessClosed(handler, {Answer::Status::kTimeout, ReturnCode::kTimeout, {}});
    }
  }

  asio::io_context& loop_;
  const ServiceClientOptions options_;
  EventHandlers events_;
  CallbackGate gate_;
  std::atomic<Ipv4Address> udpAddress_{};  // the server's; 0.0.0.0: not known
  std::atomic<std::uint64_t> foreign_{0};
  MessageReader reader_;         // the loop's thread
  std::mutex segmentedRequest_;  // held while one is sent, so that segments of two do not mix

  std::mutex mutex_;  // guards all that follows
  Endpoints server_;
  std::shared_ptr<UdpSocket> udp_;  // null: not opened; shared with the loop and with requests that are being sent
  tcp::socket connecting_;          // open while an attempt to connect goes on
  std::uint64_t attempt_ = 0;       // which attempt or connection is the present one
  Connection tcp_;                  // null: not connected
  ClosedHandler onClosed_;          // of tcp_
  PendingRequests pending_;
  asio::steady_timer timer_;
  std::optional<PendingRequests::TimePoint> armedFor_;  // nothing: the timer does not run
};

ServiceClient::ServiceClient(asio::io_context& loop, const ServiceClientOptions& options)
    : core_(std::make_shared<Core>(loop, options)) {}

ServiceClient::~ServiceClient() { core_->Close(); }

void ServiceClient::SetServer(const Endpoints& server) { core_->SetServer(server); }

ara::core::Result<Endpoint> ServiceClient::OpenUdp() { return core_->OpenUdp(); }

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
