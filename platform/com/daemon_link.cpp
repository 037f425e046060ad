// SPDX-License-Identifier: Apache-2.0
#include "platform/com/daemon_link.h"

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/com/application_name.h"
#include "platform/com/daemon_candidates.h"
#include "platform/com/registration_book.h"
#include "platform/ipc/io_thread.h"
#include "platform/ipc/stream_client.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"

namespace qor::com {
namespace {

namespace operation = maintaind::node_operation;

constexpr QorLog kLog("DaemonLink");
constexpr std::chrono::milliseconds kRetryInterval{300};
/// For a daemon that refused: it will do so again.
constexpr std::chrono::seconds kRefusedRetryInterval{5};
constexpr std::chrono::seconds kHelloLimit{2};

bool IsFromDaemon(const ara::core::ErrorCode& error) {
  return error.Value() != ipc::kConnectFailed && error.Value() != ipc::kConnectionLost;
}

std::string NodeKey(const std::string& name) { return "node " + name; }
std::string EntityKey(std::uint32_t id) { return "entity " + std::to_string(id); }

}  // namespace

/// Lives on the io thread: all members are touched there only. A round tries one candidate after the other; rounds are
/// repeated until a daemon has answered, and start again when its connection ends.
class DaemonLink::Impl : public std::enable_shared_from_this<Impl> {
 public:
  explicit Impl(std::string applicationName)
      : applicationName_(std::move(applicationName)),
        timer_(ipc::IoThread()),
        refusedTimer_(ipc::IoThread()),
        someipClientId_(std::make_shared<std::atomic<std::uint16_t>>(0)) {}

  const std::shared_ptr<std::atomic<std::uint16_t>>& SomeipClientId() const { return someipClientId_; }

  void Add(Registration registration) {
    if (const Registration* added = book_.Add(std::move(registration)); added != nullptr && isGreeted_) {
      Register(*added);
    }
    StartOnce();
  }

  void Put(Registration registration) {
    if (const Registration& put = book_.Put(std::move(registration)); isGreeted_) {
      Register(put);
    }
    StartOnce();
  }

  void Listen(std::uint16_t eventId, NotificationHandler handler) { listeners_[eventId] = std::move(handler); }
  void OnConnected(std::function<void()> handler) { connectedHandlers_.push_back(std::move(handler)); }

  void Remove(const std::string& key) {
    refusedKeys_.erase(key);
    const auto removed = book_.Remove(key);
    if (removed && isGreeted_) {
      Request(removed->unregisterMethod, removed->unregisterPayload, [](const auto& /*nobody waits for it*/) {});
    }
  }

  void Stop() {
    isStopped_ = true;
    CancelTimer();
    Disconnect();
  }

 private:
  void StartOnce() {
    if (!isStarted_) {
      isStarted_ = true;
      StartRound();
    }
  }

  void StartRound() {
    candidates_ = DaemonCandidates();
    nextCandidate_ = 0;
    wasRefused_ = false;
    TryNext();
  }

  void TryNext() {
    if (isStopped_) {
      return;
    }
    if (nextCandidate_ == candidates_.size()) {
      After(wasRefused_ ? kRefusedRetryInterval : kRetryInterval, [](Impl& self) { self.StartRound(); });
      return;
    }
    const std::string path = candidates_[nextCandidate_++];
    const std::uint64_t connection = ++connection_;
    client_ = std::make_unique<ipc::StreamClient>(
        path,
        [weak = weak_from_this(), connection] {
          if (const auto self = weak.lock()) {
            self->OnClosed(connection);
          }
        },
        [weak = weak_from_this(), connection](const someip::MessageHeader& header,
                                              std::span<const std::uint8_t> payload) {
          if (const auto self = weak.lock(); self != nullptr && self->connection_ == connection) {
            self->OnNotification(header, payload);
          }
        });
    After(kHelloLimit, [](Impl& self) { self.OnNoAnswer(); });
    const maintaind::ApplicationHello hello{.applicationName = applicationName_};
    Request(operation::Hello::kMethodId, maintaind::Encode(hello),
            [weak = weak_from_this(), connection, path](const ara::core::Result<ipc::StreamClient::Payload>& answer) {
              if (const auto self = weak.lock(); self != nullptr && self->connection_ == connection) {
                self->OnHello(path, answer);
              }
            });
  }

  void OnHello(const std::string& path, const ara::core::Result<ipc::StreamClient::Payload>& answer) {
    maintaind::DaemonHello hello;
    if (!answer && !IsFromDaemon(answer.Error())) {
      return;  // OnClosed takes it from there
    }
    if (!answer || !maintaind::Decode(answer.Value(), hello)) {
      OnRefusedHello(path, answer ? "its answer cannot be read" : answer.Error().Message());
      return;
    }
    CancelTimer();
    isGreeted_ = true;
    refusedPaths_.erase(path);
    kLog.Info() << "Connected to the daemon with instance " << hello.instance << ".";
    someipClientId_->store(hello.someipClientId);
    for (const auto& handler : connectedHandlers_) {
      handler();
    }
    for (const Registration& registration : book_.Entries()) {
      Register(registration);
    }
  }

  void OnNotification(const someip::MessageHeader& header, std::span<const std::uint8_t> payload) {
    const auto listener = listeners_.find(header.methodId);
    if (header.serviceId == maintaind::NodeService::ServiceIdentifier && listener != listeners_.end()) {
      listener->second(payload);
    }
  }

  void OnRefusedHello(const std::string& path, const std::string& reason) {
    if (refusedPaths_.insert(path).second) {
      kLog.Error() << "The daemon at '" << path << "' refuses this application: " << reason;
    }
    wasRefused_ = true;
    Disconnect();
    TryNext();
  }

  void OnNoAnswer() {
    Disconnect();
    TryNext();
  }

  void OnClosed(std::uint64_t connection) {
    if (connection != connection_ || isStopped_) {
      return;
    }
    const bool wasConnected = isGreeted_;
    Disconnect();
    if (wasConnected) {
      kLog.Info() << "The connection to the daemon is lost.";
      After(kRetryInterval, [](Impl& self) { self.StartRound(); });
    } else {
      TryNext();
    }
  }

  /// What still comes from the old connection is not heard any more.
  void Disconnect() {
    ++connection_;
    isGreeted_ = false;
    refusedKeys_.clear();
    refusedTimer_.cancel();
    client_.reset();
  }

  void Register(const Registration& registration) {
    Request(
        registration.registerMethod, registration.registerPayload,
        [weak = weak_from_this(), key = registration.key](const ara::core::Result<ipc::StreamClient::Payload>& answer) {
          const auto self = weak.lock();
          if (self != nullptr && answer) {
            self->refusedKeys_.erase(key);
          } else if (self != nullptr && IsFromDaemon(answer.Error())) {
            self->OnRefused(key, answer.Error().Message());
          }
        });
  }

  void OnRefused(const std::string& key, const std::string& reason) {
    Registration* registration = book_.Find(key);
    if (registration != nullptr && !registration->isRefusalLogged) {
      registration->isRefusalLogged = true;
      kLog.Error() << "The daemon refused " << registration->description << ": " << reason;
    }
    if (refusedKeys_.empty()) {
      refusedTimer_.expires_after(kRefusedRetryInterval);
      refusedTimer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        if (const auto self = weak.lock(); self != nullptr && !error) {
          self->RegisterRefused();
        }
      });
    }
    refusedKeys_.insert(key);
  }

  /// What another application stood in the way of may be possible now.
  void RegisterRefused() {
    const std::set<std::string> refused = std::exchange(refusedKeys_, {});
    for (const Registration& registration : book_.Entries()) {
      if (refused.contains(registration.key)) {
        Register(registration);
      }
    }
  }

  void Request(std::uint16_t method, const std::vector<std::uint8_t>& payload,
               ipc::StreamClient::ResponseHandler onAnswer) {
    client_->Request(maintaind::NodeService::ServiceIdentifier, method, payload, std::move(onAnswer));
  }

  /// One thing is timed at a time: the pause between two rounds, or the wait for an answer.
  template <class Duration>
  void After(Duration delay, void (*action)(Impl&)) {
    timer_.expires_after(delay);
    timer_.async_wait([weak = weak_from_this(), action, timing = ++timing_](const asio::error_code& /*cancelled*/) {
      if (const auto self = weak.lock(); self != nullptr && self->timing_ == timing) {
        action(*self);
      }
    });
  }

  void CancelTimer() {
    ++timing_;
    timer_.cancel();
  }

  std::string applicationName_;
  asio::steady_timer timer_;
  asio::steady_timer refusedTimer_;
  std::uint64_t timing_ = 0;  // number of the wait whose end counts
  RegistrationBook book_;
  const std::shared_ptr<std::atomic<std::uint16_t>> someipClientId_;
  std::map<std::uint16_t, NotificationHandler> listeners_;
  std::vector<std::function<void()>> connectedHandlers_;
  std::unique_ptr<ipc::StreamClient> client_;
  std::uint64_t connection_ = 0;  // number of the connection whose events count
  std::vector<std::string> candidates_;
  std::size_t nextCandidate_ = 0;
  std::set<std::string> refusedPaths_;  // whose refusal was logged
  std::set<std::string> refusedKeys_;   // of registrations that are tried again when the timer ends
  bool wasRefused_ = false;             // in this round
  bool isStarted_ = false;
  bool isGreeted_ = false;
  bool isStopped_ = false;
};

DaemonLink& DaemonLink::Instance() {
  static auto* const link = new DaemonLink(ApplicationName());
  return *link;
}

DaemonLink::DaemonLink(std::string applicationName)
    : impl_(std::make_shared<Impl>(std::move(applicationName))), someipClientId_(impl_->SomeipClientId()) {}

DaemonLink::~DaemonLink() {
  asio::post(ipc::IoThread(), [impl = std::move(impl_)] { impl->Stop(); });
}

void DaemonLink::AddNode(const std::string& name) {
  Registration registration{.key = NodeKey(name),
                            .description = "node '" + name + "'",
                            .registerMethod = operation::RegisterNode::kMethodId,
                            .registerPayload = maintaind::Encode(name),
                            .unregisterMethod = operation::UnregisterNode::kMethodId,
                            .unregisterPayload = maintaind::Encode(name)};
  asio::post(ipc::IoThread(), [impl = impl_, registration = std::move(registration)] { impl->Add(registration); });
}

void DaemonLink::RemoveNode(const std::string& name) { Remove(NodeKey(name)); }

std::uint32_t DaemonLink::AddEvent(maintaind::EntityRole role, maintaind::EventRegisterInfo event) {
  const std::uint32_t id = ++lastId_;
  const std::string description = "event '" + event.eventName + "'";
  const maintaind::EventRegistration request{.id = id, .role = role, .info = std::move(event)};
  Registration registration{.key = EntityKey(id),
                            .description = description,
                            .registerMethod = operation::RegisterEvent::kMethodId,
                            .registerPayload = maintaind::Encode(request),
                            .unregisterMethod = operation::UnregisterEntity::kMethodId,
                            .unregisterPayload = maintaind::Encode(id)};
  asio::post(ipc::IoThread(), [impl = impl_, registration = std::move(registration)] { impl->Add(registration); });
  return id;
}

void DaemonLink::RemoveEntity(std::uint32_t id) { Remove(EntityKey(id)); }

void DaemonLink::Put(Registration registration) {
  asio::post(ipc::IoThread(), [impl = impl_, registration = std::move(registration)] { impl->Put(registration); });
}

void DaemonLink::Remove(const std::string& key) {
  asio::post(ipc::IoThread(), [impl = impl_, key] { impl->Remove(key); });
}

void DaemonLink::Listen(std::uint16_t eventId, NotificationHandler handler) {
  asio::post(ipc::IoThread(),
             [impl = impl_, eventId, handler = std::move(handler)] { impl->Listen(eventId, handler); });
}

void DaemonLink::OnConnected(std::function<void()> handler) {
  asio::post(ipc::IoThread(), [impl = impl_, handler = std::move(handler)] { impl->OnConnected(handler); });
}

}  // namespace qor::com
