// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/stream_client.h"

#include <sys/socket.h>

#include <array>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include <asio/generic/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/stream_connector.h"
#include "platform/someip/message.h"
#include "platform/someip/stream_framer.h"

namespace qor::ipc {
namespace {

/// The answer to "everything" of the largest system we can think of is a few megabytes.
constexpr std::size_t kMaxResponsePayload = 256U << 20U;
constexpr std::size_t kReadSize = 64U << 10U;

/// The text of an error message; one without comes from the peer's transport.
std::string ReasonOf(const someip::MessageHeader& header, std::span<const std::uint8_t> text) {
  return text.empty() ? "the peer answered with return code " + std::to_string(static_cast<int>(header.returnCode))
                      : std::string(text.begin(), text.end());
}

}  // namespace

/// Lives on the io thread: all members are touched there only.
class StreamClient::Impl : public std::enable_shared_from_this<Impl> {
 public:
  Impl(ClosedHandler onClosed, NotificationHandler onNotification)
      : socket_(IoThread()),
        framer_(kMaxResponsePayload),
        onClosed_(std::move(onClosed)),
        onNotification_(std::move(onNotification)) {}

  void Connect(const std::string& address) {
    connector_ = std::make_shared<StreamConnector>(
        address, [self = shared_from_this(), address](const asio::error_code& error, StreamConnector::Socket socket) {
          self->socket_ = std::move(socket);
          if (error) {
            self->Fail(kConnectFailed, "cannot connect to '" + address + "': " + error.message());
          } else {
            self->OnConnected();
          }
        });
    connector_->Start();
  }

  void TakeOver(UniqueFd connection) {
    asio::error_code error;
    socket_.assign({AF_UNIX, 0}, connection.Get(), error);
    if (error) {
      Fail(kConnectFailed, "cannot take a connection over: " + error.message());
      return;
    }
    static_cast<void>(connection.Release());  // the socket's now
    OnConnected();
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
  void OnConnected() {
    isConnected_ = true;
    WriteNext();
    ReadNext();
  }

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
      onResponse(ara::core::ErrorCode(static_cast<std::int32_t>(header.returnCode), ReasonOf(header, body)));
    }
  }

  void Fail(std::int32_t code, const std::string& message) {
    if (failure_) {
      return;
    }
    failure_.emplace(code, message);
    asio::error_code ignored;
    socket_.close(ignored);
    if (connector_ != nullptr) {
      connector_->Stop();
    }
    // First, so that whoever wakes up from a failed request knows that the connection is gone.
    if (const ClosedHandler onClosed = std::exchange(onClosed_, nullptr)) {
      onClosed();
    }
    for (auto& [request, onResponse] : std::exchange(pending_, {})) {
      onResponse(*failure_);
    }
  }

  StreamConnector::Socket socket_;
  std::shared_ptr<StreamConnector> connector_;  // shared with what the loop holds; null: a connection was taken over
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

StreamClient::StreamClient(std::string address, ClosedHandler onClosed, NotificationHandler onNotification)
    : impl_(std::make_shared<Impl>(std::move(onClosed), std::move(onNotification))) {
  asio::post(IoThread(), [impl = impl_, address = std::move(address)] { impl->Connect(address); });
}

StreamClient::StreamClient(UniqueFd connection, ClosedHandler onClosed, NotificationHandler onNotification)
    : impl_(std::make_shared<Impl>(std::move(onClosed), std::move(onNotification))) {
  asio::post(IoThread(),
             [impl = impl_, connection = std::move(connection)]() mutable { impl->TakeOver(std::move(connection)); });
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
