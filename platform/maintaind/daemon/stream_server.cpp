// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/stream_server.h"

#include <array>
#include <deque>
#include <span>
#include <string_view>
#include <utility>

#include <asio/post.hpp>
#include <asio/write.hpp>

namespace qor::maintaind {
namespace {

using asio::local::stream_protocol;

constexpr std::size_t kReadSize = 16U << 10U;
/// When no connection can be accepted, for want of descriptors for example.
constexpr std::chrono::milliseconds kAcceptRetry{100};
constexpr std::uint32_t kLogIntervalMs = 5000;

}  // namespace

/// One accepted connection. Shared with the handlers that the loop still holds; the server's part in it ends with
/// Close().
class StreamServer::Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(StreamServer& server, ConnectionId id, stream_protocol::socket socket)
      : server_(server),
        id_(id),
        socket_(std::move(socket)),
        halfMessage_(server.loop_),
        session_(std::make_unique<ServerSession>(id, PeerOfSocket(socket_.native_handle()), server.limits_.maxRequest,
                                                 server.handler_,
                                                 [this](OutgoingMessage message) { Send(std::move(message)); })) {}

  void Read() {
    socket_.async_read_some(asio::buffer(readBuffer_),
                            [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
                              if (error) {
                                self->Close();
                              } else {
                                self->OnRead(size);
                              }
                            });
  }

  /// Not after Close.
  std::uint32_t ProcessId() const { return session_->Peer().processId; }

  /// May be called more than once.
  void Close() {
    if (session_ == nullptr) {
      return;
    }
    asio::error_code ignored;
    socket_.close(ignored);
    halfMessage_.cancel();
    const std::uint32_t processId = ProcessId();
    session_.reset();
    server_.Forget(id_, processId);
  }

  /// May be called while the session is being fed, so a peer that is to go goes afterwards.
  void Send(OutgoingMessage message) {
    if (session_ == nullptr) {
      return;
    }
    queuedSize_ += message.Size();
    if (!queue_.empty() && queuedSize_ > server_.limits_.maxQueued) {
      session_->Mute();
      asio::post(server_.loop_, [self = shared_from_this()] {
        if (self->session_ != nullptr) {
          self->CutOff("it does not read its answers");
        }
      });
      return;
    }
    queue_.push_back(std::move(message));
    if (queue_.size() == 1) {
      WriteNext();
    }
  }

 private:
  void OnRead(std::size_t size) {
    if (session_ == nullptr) {
      return;
    }
    const std::uint64_t wholeBefore = session_->MessageCount();
    const bool wasInMessage = session_->IsInMessage();
    if (!session_->Feed(std::span(readBuffer_).first(size))) {
      CutOff("it sent what is no SOME/IP message or a request that is too large");
    } else {
      if (!session_->IsInMessage()) {
        halfMessage_.cancel();
      } else if (!wasInMessage || session_->MessageCount() != wholeBefore) {
        LimitHalfMessage();
      }
      Read();
    }
  }

  void LimitHalfMessage() {
    halfMessage_.expires_after(server_.limits_.halfMessage);
    halfMessage_.async_wait([self = shared_from_this()](const asio::error_code& error) {
      const bool isDue = self->halfMessage_.expiry() <= std::chrono::steady_clock::now();
      if (!error && isDue && self->session_ != nullptr && self->session_->IsInMessage()) {
        self->CutOff("it sent half a message and did not go on");
      }
    });
  }

  void WriteNext() {
    const OutgoingMessage& message = queue_.front();
    const std::array<asio::const_buffer, 2> parts{asio::buffer(message.header), asio::buffer(*message.payload)};
    asio::async_write(socket_, parts, [self = shared_from_this()](const asio::error_code& error, std::size_t) {
      if (error) {
        self->Close();
        return;
      }
      self->queuedSize_ -= self->queue_.front().Size();
      self->queue_.pop_front();
      if (!self->queue_.empty()) {
        self->WriteNext();
      }
    });
  }

  void CutOff(std::string_view reason) {
    server_.log_.Warn("StreamServer_CutOff", kLogIntervalMs)
        << "Connection closed: " << reason << ".[pid=" << session_->Peer().processId
        << ", identity=" << session_->Peer().identity << "]";
    Close();
  }

  StreamServer& server_;  // touched only while session_ is there
  const ConnectionId id_;
  stream_protocol::socket socket_;
  asio::steady_timer halfMessage_;
  std::unique_ptr<ServerSession> session_;  // null: closed
  std::array<std::uint8_t, kReadSize> readBuffer_{};
  std::deque<OutgoingMessage> queue_;  // the front is being written
  std::size_t queuedSize_ = 0;
};

StreamServer::StreamServer(asio::io_context& loop, StreamServerLimits limits, RequestHandler& handler)
    : loop_(loop), limits_(limits), handler_(handler), acceptor_(loop), acceptRetry_(loop) {}

StreamServer::~StreamServer() { Stop(); }

ara::core::Result<void> StreamServer::Start(const std::string& socketPath) {
  auto listening = ListeningSocket::Open(socketPath, limits_.backlog);
  if (!listening) {
    return listening.Error();
  }
  listening_ = std::move(listening).Value();
  asio::error_code error;
  acceptor_.assign(stream_protocol(), listening_->Release(), error);
  if (error) {
    return ara::core::ErrorCode(ListeningSocket::kFailed, "cannot wait for connections: " + error.message());
  }
  Accept();
  return {};
}

void StreamServer::Stop() {
  listening_.reset();
  asio::error_code ignored;
  acceptor_.close(ignored);
  acceptRetry_.cancel();
  for (auto& [id, connection] : std::exchange(connections_, {})) {
    connection->Close();
  }
}

void StreamServer::Send(ConnectionId connection, OutgoingMessage message) {
  if (const auto found = connections_.find(connection); found != connections_.end()) {
    found->second->Send(std::move(message));
  }
}

void StreamServer::Accept() {
  if (!acceptor_.is_open() || isAccepting_ || connections_.size() >= limits_.maxConnections) {
    return;
  }
  isAccepting_ = true;
  acceptor_.async_accept([this](const asio::error_code& error, stream_protocol::socket socket) {
    if (error == asio::error::operation_aborted) {
      return;  // the server may be gone
    }
    isAccepting_ = false;
    if (!acceptor_.is_open()) {
      return;
    }
    if (!error) {
      OnAccepted(std::move(socket));
      Accept();
      return;
    }
    log_.Warn("StreamServer_Accept", kLogIntervalMs) << "Cannot accept a connection: " << error.message();
    acceptRetry_.expires_after(kAcceptRetry);
    acceptRetry_.async_wait([this](const asio::error_code& aborted) {
      if (!aborted) {
        Accept();
      }
    });
  });
}

void StreamServer::OnAccepted(stream_protocol::socket socket) {
  const ConnectionId id = ++lastId_;
  const auto connection = std::make_shared<Connection>(*this, id, std::move(socket));
  connections_.emplace(id, connection);
  if (++perProcess_[connection->ProcessId()] > limits_.maxPerProcess) {
    log_.Warn("StreamServer_Process", kLogIntervalMs) << "Process " << connection->ProcessId() << " has "
                                                      << limits_.maxPerProcess << " connections; one more is refused.";
    connection->Close();
    return;
  }
  connection->Read();
  if (connections_.size() == limits_.maxConnections) {
    log_.Warn("StreamServer_Full", kLogIntervalMs)
        << "There are " << connections_.size() << " connections; further ones have to wait.";
  }
}

void StreamServer::Forget(ConnectionId id, std::uint32_t processId) {
  if (const auto count = perProcess_.find(processId); count != perProcess_.end() && --count->second == 0) {
    perProcess_.erase(count);
  }
  if (connections_.erase(id) != 0) {
    Accept();
  }
}

}  // namespace qor::maintaind
