// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SOMEIP_USED_SERVICE_H
#define QOR_COM_SOMEIP_USED_SERVICE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <asio/steady_timer.hpp>

#include "platform/someip/service_client.h"
#include "src/common/records/someip_link.h"

namespace qor::com {

/// One reader of one event. Shared by its reader and the delivering thread.
class EventSink {
 public:
  using Handler = std::function<void(std::span<const std::uint8_t> payload)>;

  explicit EventSink(Handler handler) : handler_(std::move(handler)) {}

  /// One thread.
  void Deliver(std::span<const std::uint8_t> payload) {
    const std::lock_guard lock(mutex_);
    if (handler_ != nullptr) {
      handler_(payload);
    }
  }
  /// After the return the handler does not run any more. Not from the handler.
  void Close() {
    const std::lock_guard lock(mutex_);
    handler_ = nullptr;
  }

 private:
  std::mutex mutex_;  // held while the handler runs
  Handler handler_;   // guarded by mutex_
};

/// A SOME/IP service instance that this process uses: its sockets, shared by all readers of its events, and what the
/// daemon is told about it. Exists as long as somebody reads one of its events. Any thread.
class UsedService : public std::enable_shared_from_this<UsedService> {
 public:
  explicit UsedService(const maintaind::ServiceIndex& service);
  ~UsedService();
  UsedService(const UsedService&) = delete;
  UsedService& operator=(const UsedService&) = delete;

  /// Begins to look for the service.
  void Start();

  void AddReader(const maintaind::OfferedEvent& event, std::shared_ptr<EventSink> sink);
  void RemoveReader(std::uint16_t eventId, const std::shared_ptr<EventSink>& sink);

  bool IsAvailable() const;
  /// Messages that were lost on their way, of all events together.
  std::uint64_t Lost() const { return client_.Counts().Lost() + lostBefore_; }

  /// From the daemon.
  void OnServiceState(const maintaind::ServiceState& state);

 private:
  using Sinks = std::vector<std::shared_ptr<EventSink>>;
  /// The readers of one event, for the delivering thread.
  class FanOut;
  struct Event {
    maintaind::OfferedEvent description;
    std::shared_ptr<FanOut> readers;
  };
  /// Eventgroup and whether it is subscribed over TCP.
  using Group = std::pair<std::uint16_t, bool>;

  void ConnectLocked();
  void CloseTcpLocked();
  void RetryConnect(std::uint64_t attempt);
  void OnConnected(std::uint64_t attempt, const ara::core::Result<someip::Endpoint>& local);
  void OnClosed(std::uint64_t attempt, const std::string& reason);
  void UpdateSubscriptionsLocked();
  bool NeedsTcpLocked() const;

  const maintaind::ServiceIndex service_;
  someip::ServiceClient client_;
  asio::steady_timer retry_;

  std::atomic<std::uint64_t> lostBefore_{0};  ///< on the way to this host, while this process used the service

  mutable std::mutex mutex_;
  maintaind::ServiceState state_;                  // guarded by mutex_
  std::map<std::uint16_t, Event> events_;          // guarded by mutex_
  std::optional<someip::Endpoint> udp_;            // guarded by mutex_; the local endpoint
  std::optional<someip::Endpoint> tcp_;            // guarded by mutex_; the local endpoint of the connection
  bool isConnecting_ = false;                      // guarded by mutex_
  std::uint64_t attempt_ = 0;                      // guarded by mutex_; the news of earlier ones are not looked at
  std::map<Group, std::string> subscriptionKeys_;  // guarded by mutex_; what the daemon knows
};

}  // namespace qor::com

#endif
