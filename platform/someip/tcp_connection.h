// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_TCP_CONNECTION_H
#define QOR_SOMEIP_TCP_CONNECTION_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"
#include "platform/someip/stream_framer.h"

namespace qor::someip {

/// What a peer may do. One that breaks a limit is cut off.
struct TcpLimits {
  std::size_t maxPayload = 0;  ///< bytes of a message that it announces; 0: messages without payload
  std::size_t maxQueued = 0;   ///< bytes that wait for it beside one message; 0: no more than that one
  /// Time for a message from its first byte on, to which each byte that has come adds 10 us (100 kB/s). A pause of this
  /// process is not held against the peer. 0: no limit.
  std::chrono::milliseconds halfMessage{0};
  /// A message is taken when what was sent for the one before waits no more. As `maxQueued` does not limit a peer then
  /// that does not read, one that takes nothing of what waits for 5 s loses its connection.
  bool inTurn = false;
};

/// Why a connection ended by itself.
enum class TcpEnd : std::uint8_t {
  kPeer,   ///< the peer closed it, its host vanished, or the system gave it up
  kLimit,  ///< the peer broke a limit or sent what is no SOME/IP
};

/// One TCP connection that carries SOME/IP messages. What is sent goes straight to the system as long as that takes it,
/// and waits in a queue of the connection else. Handlers run on the loop's thread; Send and Close are for any thread.
///
/// A peer whose host vanishes is given up after 5 s while nothing is on the way to it, else when the system does not
/// repeat it any more, after some 15 min. A peer that lives and does not read is cut off by `maxQueued`, or `inTurn`.
class TcpConnection : public std::enable_shared_from_this<TcpConnection> {  // shared with what the loop holds
 public:
  /// Whole messages, without magic cookies. The payload is valid during the call.
  using MessageHandler = StreamFramer::Handler;
  /// Called once when the connection ends by itself.
  using ClosedHandler = std::function<void(TcpEnd end, const std::string& reason)>;

  /// `socket` is connected.
  TcpConnection(asio::ip::tcp::socket socket, const TcpLimits& limits);

  /// Call it once.
  void Start(MessageHandler onMessage, ClosedHandler onClosed);
  /// One message, in two pieces; from several threads each goes in one piece. False when the connection is closed or is
  /// closed now; true does not say that it arrives.
  bool Send(std::span<const std::uint8_t> head, std::span<const std::uint8_t> body);
  /// Without a call of the closed handler. Called on the loop's thread, no handler is called any more.
  void Close();

  const Endpoint& Local() const { return local_; }
  const Endpoint& Remote() const { return remote_; }

 private:
  static constexpr std::size_t kReadSize = 64U << 10U;

  void Read();
  void Take(std::span<const std::uint8_t> bytes);
  std::chrono::steady_clock::time_point HalfMessageDue() const;
  void WatchHalfMessage();
  void OnHalfMessageDue();
  void WaitWritableLocked();
  bool HasQueued();
  void OnWritable();
  bool WriteLocked(std::span<const std::uint8_t> head, std::span<const std::uint8_t> body, std::size_t& written);
  bool WriteQueueLocked();
  void FailLocked(TcpEnd end, std::string reason);

  const TcpLimits limits_;
  const Endpoint local_;
  const Endpoint remote_;

  // Set by Start, before anything can call them.
  MessageHandler onMessage_;
  ClosedHandler onClosed_;

  // The loop's thread.
  StreamFramer framer_;
  std::array<std::uint8_t, kReadSize> readBuffer_{};
  bool isMessageEnded_ = false;                         // by the bytes that are being read
  std::chrono::steady_clock::time_point messageBegun_;  // of the message that is not whole
  asio::steady_timer halfMessage_;
  bool isWatching_ = false;  // halfMessage_ runs
  bool isOverdue_ = false;   // and nothing has been read since that was seen

  enum class State : std::uint8_t { kOpen, kFailed, kClosed };
  std::atomic<State> state_{State::kOpen};  // written under mutex_

  std::mutex mutex_;
  asio::ip::tcp::socket socket_;     // guarded by mutex_
  std::vector<std::uint8_t> queue_;  // guarded by mutex_
  std::size_t queueBegin_ = 0;       // guarded by mutex_; what is before has been sent
  bool isWaiting_ = false;           // guarded by mutex_; for room to write
};

}  // namespace qor::someip

#endif
