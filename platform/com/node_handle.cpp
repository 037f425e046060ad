// SPDX-License-Identifier: Apache-2.0
#include "platform/com/node_handle.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/com/config_store.h"
#include "platform/com/daemon_link.h"
#include "platform/com/node_entity.h"
#include "platform/com/publisher_impl.h"
#include "platform/com/subscriber_impl.h"
#include "platform/log/qor_log.h"

namespace qor::com {
namespace {

constexpr QorLog kLog("Com");

bool IsNodeName(const std::string& name) {
  return name.starts_with('/') && std::ranges::all_of(name, [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '/';
         });
}

}  // namespace

/// Any thread.
class NodeHandle::Impl {
 public:
  explicit Impl(std::string name) : name_(std::move(name)), isOk_(IsNodeName(name_)) {
    if (isOk_) {
      DaemonLink::Instance().AddNode(name_);
    } else {
      kLog.Error() << "'" << name_ << "' is no node name: it begins with \"/\" and has only letters, digits, _ and /.";
    }
  }
  ~Impl() { Shutdown(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  bool Ok() const { return isOk_; }
  const std::string& Name() const { return name_; }

  /// The configuration of an entity, or nothing with a line in the log.
  std::optional<maintaind::EventRegisterInfo> ConfigOf(maintaind::EntityRole role, const std::string& entityName) {
    if (!isOk_ || IsShutDown()) {
      kLog.Error() << "Node '" << name_ << "' cannot use event '" << entityName << "': it is not running.";
      return std::nullopt;
    }
    auto config = ConfigStore::Instance().Find(role, entityName);
    if (!config) {
      kLog.Error() << "There is no configuration of event '" << entityName << "'.";
    }
    return config;
  }

  /// False when the node was shut down meanwhile.
  bool Keep(const std::shared_ptr<NodeEntity>& entity) {
    const std::lock_guard lock(mutex_);
    if (isShutDown_) {
      return false;
    }
    std::erase_if(entities_, [](const auto& known) { return known.expired(); });
    entities_.push_back(entity);
    return true;
  }

  void Shutdown() {
    std::vector<std::weak_ptr<NodeEntity>> entities;
    {
      const std::lock_guard lock(mutex_);
      if (std::exchange(isShutDown_, true)) {
        return;
      }
      entities.swap(entities_);
    }
    for (const auto& known : entities) {
      if (const auto entity = known.lock()) {
        entity->Stop();
      }
    }
    if (isOk_) {
      DaemonLink::Instance().RemoveNode(name_);
    }
  }

 private:
  bool IsShutDown() {
    const std::lock_guard lock(mutex_);
    return isShutDown_;
  }

  std::string name_;
  bool isOk_;

  std::mutex mutex_;
  bool isShutDown_ = false;                          // guarded by mutex_
  std::vector<std::weak_ptr<NodeEntity>> entities_;  // guarded by mutex_
};

NodeHandle::NodeHandle(std::string name) : impl_(std::make_unique<Impl>(std::move(name))) {}

NodeHandle::~NodeHandle() = default;

bool NodeHandle::Ok() const { return impl_->Ok(); }

const std::string& NodeHandle::GetName() const { return impl_->Name(); }

Publisher NodeHandle::Advertise(const std::string& entityName) {
  const auto config = impl_->ConfigOf(maintaind::EntityRole::kProvider, entityName);
  const auto core = config ? PublisherCore::Create(impl_->Name(), *config) : nullptr;
  if (core == nullptr) {
    return {};
  }
  auto publisher = std::make_unique<PublisherImpl>(core);
  return impl_->Keep(core) ? Publisher(std::move(publisher)) : Publisher();
}

Subscriber NodeHandle::SubscribeEx(const std::string& entityName, const SubscribeOptions& options,
                                   const RecvHandler& handler) {
  const auto config = impl_->ConfigOf(maintaind::EntityRole::kConsumer, entityName);
  const auto core =
      config ? SubscriberCore::Create(impl_->Name(), *config, {.queueSize = options.queueSize}, handler) : nullptr;
  if (core == nullptr) {
    return {};
  }
  auto subscriber = std::make_unique<SubscriberImpl>(core);
  return impl_->Keep(core) ? Subscriber(std::move(subscriber)) : Subscriber();
}

void NodeHandle::Shutdown() { impl_->Shutdown(); }

}  // namespace qor::com
