// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/someip_hub.h"

#include "platform/com/daemon_link.h"
#include "platform/com/someip/service_records.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"

namespace qor::com {
namespace {

namespace event = maintaind::node_event;

}  // namespace

SomeipHub& SomeipHub::Instance() {
  static auto* const hub = new SomeipHub;
  return *hub;
}

SomeipHub::SomeipHub() {
  DaemonLink& link = DaemonLink::Instance();
  link.Listen(event::kServiceState, [this](std::span<const std::uint8_t> payload) { OnServiceState(payload); });
  link.Listen(event::kSubscriberChange, [this](std::span<const std::uint8_t> payload) { OnSubscriberChange(payload); });
  link.OnConnected([this] { OnDaemonConnected(); });
}

ara::core::Result<std::shared_ptr<ServedService>> SomeipHub::Serve(const maintaind::SomeipEventInfo& event) {
  const std::lock_guard lock(mutex_);
  auto& known = served_[ServiceOf(event)];
  if (auto service = known.lock()) {
    return service;
  }
  auto opened = ServedService::Open(event);
  if (opened) {
    known = opened.Value();
  }
  return opened;
}

std::shared_ptr<UsedService> SomeipHub::Use(const maintaind::SomeipEventInfo& event) {
  const std::lock_guard lock(mutex_);
  auto& known = used_[ServiceOf(event)];
  if (auto service = known.lock()) {
    return service;
  }
  auto service = std::make_shared<UsedService>(ServiceOf(event));
  known = service;
  service->Start();
  return service;
}

void SomeipHub::OnServiceState(std::span<const std::uint8_t> payload) {
  maintaind::ServiceState state;
  if (!maintaind::Decode(payload, state)) {
    return;
  }
  std::shared_ptr<UsedService> service;
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = used_.find(state.service); found != used_.end()) {
      service = found->second.lock();
    }
  }
  if (service != nullptr) {
    service->OnServiceState(state);
  }
}

void SomeipHub::OnSubscriberChange(std::span<const std::uint8_t> payload) {
  maintaind::SubscriberChange change;
  if (!maintaind::Decode(payload, change)) {
    return;
  }
  std::shared_ptr<ServedService> service;
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = served_.find(change.subscription.service); found != served_.end()) {
      service = found->second.lock();
    }
  }
  if (service != nullptr) {
    service->OnSubscriberChange(change);
  }
}

void SomeipHub::OnDaemonConnected() {
  for (const auto& service : Served()) {
    service->OnDaemonConnected();
  }
}

std::vector<std::shared_ptr<ServedService>> SomeipHub::Served() {
  const std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<ServedService>> services;
  for (const auto& [index, known] : served_) {
    if (auto service = known.lock()) {
      services.push_back(std::move(service));
    }
  }
  return services;
}

}  // namespace qor::com
