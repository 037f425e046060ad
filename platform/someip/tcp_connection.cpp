// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/tcp_connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <asio/buffer.hpp>
#include <asio/post.hpp>

#include "platform/someip/asio_endpoint.h"
#include "platform/someip/iovec.h"
#include "platform/someip/tcp_options.h"

namespace qor::someip {
namespace {

using asio::ip::tcp;

/// A queue that was once long does not keep its memory.
constexpr std::size_t kKeptCapacity = 256U << 10U;
/// What TcpLimits::halfMessage takes for granted: 100 kB/s.
constexpr std::chrono::microseconds kTimePerByte{10};

Endpoint LocalOf(const tcp::socket& socket) {
  asio::error_code ignored;
  return FromAsio(socket.local_endpoint(ignored));
}

Endpoint RemoteOf(const tcp::socket& socket) {
  asio::error_code ignored;
  return FromAsio(socket.remote_endpoint(ignored));
}

}  // namespace

TcpConnection::TcpConnection(tcp::socket socket, const TcpLimits& limits)
    : limits_(limits),
      local_(LocalOf(socket)),
      remote_(RemoteOf(socket)),
      framer_(limits.maxPayload, StreamFramer::OtherVersions::kDeliver),
      halfMessage_(socket.get_executor()),
      socket_(std::move(socket)) {
  SetUpTcp(socket_.native_handle());
  if (limits_.inTurn) {
    LimitUntaken(socket_.native_handle());
  }
}

void TcpConnection::Start(MessageHandler onMessage, ClosedHandler onClosed) {
  onMessage_ = [this, handle = std::move(onMessage)](const MessageHeader& header,
                                                     std::span<const std::uint8_t> payload) {
    isMessageEnded_ = true;
    if (state_ == State::kOpen && !header.IsMagicCookie()) {
      handle(header, payload);
      if (limits_.inTurn && HasQueued()) {
        framer_.Pause();
      }
    }
  };
  onClosed_ = std::move(onClosed);
  Read();
}

void TcpConnection::Read() {
  const std::lock_guard lock(mutex_);
  if (state_ != State::kOpen) {
    return;
  }
  socket_.async_read_some(asio::buffer(readBuffer_),
                          [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
                            if (!error) {
                              self->Take(std::span(self->readBuffer_).first(size));
                              return;
                            }
                            const std::lock_guard failing(self->mutex_);
                            self->FailLocked(TcpEnd::kPeer, error.message());
                          });
}

/// Reads on, unless what has been taken makes this side wait: then OnWritable() goes on.
void TcpConnection::Take(std::span<const std::uint8_t> bytes) {
  const bool wasInMessage = framer_.IsInMessage() && !framer_.IsPaused();
  isMessageEnded_ = false;
  if (!framer_.Feed(bytes, onMessage_)) {
    const std::lock_guard lock(mutex_);
    FailLocked(TcpEnd::kLimit, "the peer sent what is no SOME/IP message or one that is too large");
    return;
  }
  if (framer_.IsPaused()) {
    return;
  }
  const bool isNewMessage = !wasInMessage || isMessageEnded_;
  if (framer_.IsInMessage() && (isNewMessage || isOverdue_) && limits_.halfMessage.count() != 0) {
    messageBegun_ = std::chrono::steady_clock::now();
    if (!isWatching_) {
      WatchHalfMessage();
    }
  }
  isOverdue_ = false;
  Read();
}

std::chrono::steady_clock::time_point TcpConnection::HalfMessageDue() const {
  return messageBegun_ + limits_.halfMessage + kTimePerByte * static_cast<std::int64_t>(framer_.Begun());
}

/// The timer is not touched for each message: it looks when the present one would be overdue, and if that has become
/// whole or longer meanwhile, waits on. A long one earns much time, which the next one must not have.
void TcpConnection::WatchHalfMessage() {
  isWatching_ = true;
  halfMessage_.expires_at(std::min(HalfMessageDue(), std::chrono::steady_clock::now() + limits_.halfMessage));
  halfMessage_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto self = weak.lock();
    if (!error && self != nullptr) {
      self->OnHalfMessageDue();
    }
  });
}

/// When this process was busy or stopped, the rest may lie in the system's buffer, or in ours on its way to Take():
/// nobody is cut off before that has been read.
void TcpConnection::OnHalfMessageDue() {
  isWatching_ = false;
  if (!framer_.IsInMessage() || framer_.IsPaused()) {
    return;
  }
  if (HalfMessageDue() > std::chrono::steady_clock::now()) {
    WatchHalfMessage();
    return;
  }
  const std::lock_guard lock(mutex_);
  asio::error_code ignored;
  if (!std::exchange(isOverdue_, true) || socket_.available(ignored) > 0) {
    WatchHalfMessage();
    return;
  }
  FailLocked(TcpEnd::kLimit, "the peer sent half a message and did not go on");
}

bool TcpConnection::Send(std::span<const std::uint8_t> head, std::span<const std::uint8_t> body) {
  const std::lock_guard lock(mutex_);
  if (state_ != State::kOpen) {
    return false;
  }
  std::size_t written = 0;
  if (queue_.empty() && !WriteLocked(head, body, written)) {
    return false;
  }
  if (written == head.size() + body.size()) {
    return true;
  }
  if (!queue_.empty() && queue_.size() - queueBegin_ + head.size() + body.size() - written > limits_.maxQueued) {
    FailLocked(TcpEnd::kLimit, "the peer does not read");
    return false;
  }
  const std::size_t headWritten = std::min(written, head.size());
  const auto headLeft = head.subspan(headWritten);
  const auto bodyLeft = body.subspan(written - headWritten);
  queue_.insert(queue_.end(), headLeft.begin(), headLeft.end());
  queue_.insert(queue_.end(), bodyLeft.begin(), bodyLeft.end());
  WaitWritableLocked();
  return true;
}

/// Adds to `written` what the system took. False: the connection has failed.
bool TcpConnection::WriteLocked(std::span<const std::uint8_t> head, std::span<const std::uint8_t> body,
                                std::size_t& written) {
  std::array<iovec, 2> parts{ToIovec(head), ToIovec(body)};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  ssize_t count = 0;
  do {
    count = ::sendmsg(socket_.native_handle(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (count < 0 && errno == EINTR);
  if (count < 0 && errno != EAGAIN) {
    FailLocked(TcpEnd::kPeer, asio::error_code(errno, asio::system_category()).message());
    return false;
  }
  written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  return true;
}

void TcpConnection::WaitWritableLocked() {
  if (!std::exchange(isWaiting_, true)) {
    socket_.async_wait(tcp::socket::wait_write, [self = shared_from_this()](const asio::error_code& error) {
      if (!error) {
        self->OnWritable();
      }
    });
  }
}

bool TcpConnection::HasQueued() {
  const std::lock_guard lock(mutex_);
  return !queue_.empty();
}

void TcpConnection::OnWritable() {
  {
    const std::lock_guard lock(mutex_);
    isWaiting_ = false;
    if (state_ != State::kOpen || !WriteQueueLocked()) {
      return;
    }
    if (!queue_.empty()) {
      WaitWritableLocked();
      return;
    }
  }
  if (framer_.IsPaused()) {
    Take({});
  }
}

bool TcpConnection::WriteQueueLocked() {
  if (!WriteLocked({}, std::span(queue_).subspan(queueBegin_), queueBegin_)) {
    return false;
  }
  if (queueBegin_ == queue_.size()) {
    queue_.clear();
    queueBegin_ = 0;
    if (queue_.capacity() > kKeptCapacity) {
      queue_.shrink_to_fit();
    }
  } else if (queueBegin_ > queue_.size() / 2) {
    queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(queueBegin_));
    queueBegin_ = 0;
  }
  return true;
}

/// The closed handler is called later, from the loop, because this runs on any thread.
void TcpConnection::FailLocked(TcpEnd end, std::string reason) {
  if (state_ != State::kOpen) {
    return;
  }
  state_ = State::kFailed;
  asio::error_code ignored;
  if (!queue_.empty()) {  // the system would keep on trying
    socket_.set_option(asio::socket_base::linger(true, 0), ignored);
  }
  asio::post(socket_.get_executor(), [self = shared_from_this(), end, text = std::move(reason)] {
    if (self->state_ == State::kFailed) {
      self->onClosed_(end, text);
    }
  });
  socket_.close(ignored);
  std::vector<std::uint8_t>().swap(queue_);
  queueBegin_ = 0;
}

void TcpConnection::Close() {
  const std::lock_guard lock(mutex_);
  state_ = State::kClosed;
  asio::error_code ignored;
  socket_.close(ignored);
}

}  // namespace qor::someip
