// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/stream_client.h"

#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/unix_connect.h"
#include "platform/someip/message.h"
#include "platform/someip/stream_framer.h"

namespace qor::ipc {
namespace {

/// The answer to "everything" of the largest system we can think of is a few megabytes.
constexpr std::size_t kMaxResponsePayload = 256U << 20U;
constexpr std::size_t kReadSize = 64U << 10U;
/// Between two attempts to connect to a peer that is behind with accepting.
constexpr std::chrono::milliseconds kBusyRetry{20};

}  // namespace

/// Lives on the io thread: all members are touched there only.
class StreamClient::Impl : public std::enable_shared_from_this<Impl> {
 public:
  Impl(ClosedHandler onClosed, NotificationHandler onNotification)
      : socket_(IoThread()),
        retryTimer_(IoThread()),
        framer_(kMaxResponsePayload),
        onClosed_(std::move(onClosed)),
        onNotification_(std::move(onNotification)) {}

  void Connect(const std::string& path) {
    if (failure_) {
      return;
    }
    ConnectAttempt attempt = ConnectUnix(path);
    if (attempt.IsBusy()) {
      retryTimer_.expires_after(kBusyRetry);
      retryTimer_.async_wait([self = shared_from_this(), path](const asio::error_code&) { self->Connect(path); });
      return;
    }
    asio::error_code error;
    if (attempt.IsConnected()) {
      socket_.assign(asio::local::stream_protocol(), attempt.socket.Get(), error);
    } else {
      error = asio::error_code(attempt.error, asio::system_category());
    }
    if (error) {
      Fail(kConnectFailed, "cannot connect to '" + path + "': " + error.message());
      return;
    }
    static_cast<void>(attempt.socket.Release());  // the socket's now
    isConnected_ = true;
    WriteNext();
    ReadNext();
  }

  void Send(std::uint16_t serviceId, std::uint16_t methodId, const Payload& payload, ResponseHandler onResponse) {
    if (failure_) {
      onResponse(*failure_);
      return;
    }
    const std::uint32_t request = NextRequest();
    someip::MessageHeader header;
    header.serviceId = serviceId;
    header.methodId = methodId;
    header.length = someip::kLengthOverhead + static_cast<std::uint32_t>(payload.size());
    header.clientId = static_cast<std::uint16_t>(request >> 16U);
    header.sessionId = static_cast<std::uint16_t>(request);
    const auto headerBytes = someip::EncodeHeader(header);
    Payload message(headerBytes.begin(), headerBytes.end());
    message.insert(message.end(), payload.begin(), payload.end());
    pending_.emplace(request, std::move(onResponse));
    outgoing_.push_back(std::move(message));
    if (isConnected_ && outgoing_.size() == 1) {
      WriteNext();
    }
  }

  /// The owner is gone: no closed handler any more.
  void Abandon() {
    onClosed_ = nullptr;
    onNotification_ = nullptr;
    Fail(kConnectionLost, "the connection was closed");
  }

 private:
  /// Request ids grow over client and session id together; session 0 is left out.
  std::uint32_t NextRequest() {
    do {
      ++lastRequest_;
    } while (static_cast<std::uint16_t>(lastRequest_) == 0 || pending_.contains(lastRequest_));
    return lastRequest_;
  }

  void WriteNext() {
    if (outgoing_.empty() || failure_) {
      return;
    }
    asio::async_write(socket_, asio::buffer(outgoing_.front()),
                      [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                        if (error) {
                          self->Fail(kConnectionLost, "the connection was lost: " + error.message());
                          return;
                        }
                        self->outgoing_.pop_front();
                        self->WriteNext();
                      });
  }

  void ReadNext() {
    socket_.async_read_some(
        asio::buffer(readBuffer_),
        [self = shared_from_this()](const asio::error_code& error, std::size_t size) { self->OnRead(error, size); });
  }

  void OnRead(const asio::error_code& error, std::size_t size) {
    if (error) {
      Fail(kConnectionLost, "the connection was lost: " + error.message());
      return;
    }
    const bool isSound = framer_.Feed(
        std::span(readBuffer_).first(size),
        [this](const someip::MessageHeader& header, std::span<const std::uint8_t> body) { OnMessage(header, body); });
    if (!isSound) {
      Fail(kConnectionLost, "the peer sent what is no SOME/IP message");
    } else if (!failure_) {
      ReadNext();
    }
  }

  void OnMessage(const someip::MessageHeader& header, std::span<const std::uint8_t> body) {
    if (header.type == someip::MessageType::kNotification) {
      if (onNotification_ != nullptr) {
        onNotification_(header, body);
      }
      return;
    }
    const auto found = pending_.find(static_cast<std::uint32_t>(header.clientId) << 16U | header.sessionId);
    if (found == pending_.end()) {
      return;
    }
    const ResponseHandler onResponse = std::move(found->second);
    pending_.erase(found);
    if (header.type == someip::MessageType::kResponse && header.returnCode == someip::ReturnCode::kOk) {
      onResponse(Payload(body.begin(), body.end()));
    } else {
      onResponse(
          ara::core::ErrorCode(static_cast<std::int32_t>(header.returnCode), std::string(body.begin(), body.end())));
    }
  }

  void Fail(std::int32_t code, const std::string& message) {
    if (failure_) {
      return;
    }
    failure_.emplace(code, message);
    asio::error_code ignored;
    socket_.close(ignored);
    retryTimer_.cancel();
    // First, so that whoever wakes up from a failed request knows that the connection is gone.
    if (const ClosedHandler onClosed = std::exchange(onClosed_, nullptr)) {
      onClosed();
    }
    for (auto& [request, onResponse] : std::exchange(pending_, {})) {
      onResponse(*failure_);
    }
  }

  asio::local::stream_protocol::socket socket_;
  asio::steady_timer retryTimer_;
  someip::StreamFramer framer_;
  ClosedHandler onClosed_;
  NotificationHandler onNotification_;
  std::array<std::uint8_t, kReadSize> readBuffer_{};
  std::deque<Payload> outgoing_;  // the front is being written
  std::map<std::uint32_t, ResponseHandler> pending_;
  std::uint32_t lastRequest_ = 0;
  bool isConnected_ = false;
  std::optional<ara::core::ErrorCode> failure_;  // why the connection is closed; nothing while it is not
};

StreamClient::StreamClient(std::string socketPath, ClosedHandler onClosed, NotificationHandler onNotification)
    : impl_(std::make_shared<Impl>(std::move(onClosed), std::move(onNotification))) {
  asio::post(IoThread(), [impl = impl_, path = std::move(socketPath)] { impl->Connect(path); });
}

StreamClient::~StreamClient() {
  asio::post(IoThread(), [impl = std::move(impl_)] { impl->Abandon(); });
}

void StreamClient::Request(std::uint16_t serviceId, std::uint16_t methodId, const Payload& payload,
                           ResponseHandler onResponse) {
  asio::post(IoThread(), [impl = impl_, serviceId, methodId, payload, onResponse = std::move(onResponse)]() mutable {
    impl->Send(serviceId, methodId, payload, std::move(onResponse));
  });
}

}  // namespace qor::ipc
