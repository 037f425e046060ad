// SPDX-License-Identifier: Apache-2.0
#include "platform/com/subscriber_core.h"

#include <utility>

#include "platform/com/bindings.h"
#include "platform/com/e2e/e2e_checker.h"

namespace qor::com {
namespace {

/// The handler behind the check of what it gets, if the event is protected.
RecvHandler Checked(const maintaind::E2EConfigInfo& config, const RecvHandler& handler) {
  if (!config.isProtected) {
    return handler;
  }
  // Shared, because handlers are copied; one thread at a time calls them.
  return [checker = std::make_shared<e2e::E2eChecker>(config), handler](const RecvBuffer& received) {
    const e2e::CheckResult result = checker->Check(received.payload);
    RecvBuffer sample = received;
    sample.payload = result.payload;
    sample.e2eStatus = result.status;
    sample.memory = nullptr;  // it has the header, too
    handler(sample);
  };
}

}  // namespace

std::shared_ptr<SubscriberCore> SubscriberCore::Create(const std::string& nodeName,
                                                       const maintaind::EventRegisterInfo& config,
                                                       const ReaderOptions& options, const RecvHandler& handler) {
  for (const auto& [driver, record] : config.bindings) {  // in the order of DriverType: DDS first
    EventTransport* const wire = WireOf(config, driver);
    if (wire == nullptr) {
      continue;
    }
    const maintaind::EventInfo binding = BindingOf(config, driver);
    auto reader = wire->CreateReader(binding, options, Checked(E2eOf(binding, driver), handler));
    if (!reader) {
      LogBindingFailure(config, "subscribed", reader.Error());
      continue;
    }
    maintaind::EventRegisterInfo used = config;
    used.bindings = {{driver, reader.Value()->Used()}};
    auto registration =
        std::make_unique<EventRegistration>(maintaind::EntityRole::kConsumer, nodeName, std::move(used));
    return std::shared_ptr<SubscriberCore>(new SubscriberCore(std::move(reader).Value(), std::move(registration)));
  }
  return nullptr;
}

SubscriberCore::SubscriberCore(std::unique_ptr<EventReader> reader, std::unique_ptr<EventRegistration> registration)
    : reader_(std::move(reader)), registration_(std::move(registration)) {}

// A handler may ask for the counts; the lock is safe there because the reader answers without one.

std::size_t SubscriberCore::PublisherCount() const {
  const std::lock_guard lock(mutex_);
  return reader_ != nullptr ? reader_->MatchedWriters() : 0;
}

std::uint64_t SubscriberCore::LostCount() const {
  const std::lock_guard lock(mutex_);
  return reader_ != nullptr ? reader_->LostSamples() : lostAtStop_;
}

void SubscriberCore::Stop() {
  const std::lock_guard stopping(stopMutex_);
  std::unique_ptr<EventReader> reader;
  std::unique_ptr<EventRegistration> registration;
  {
    const std::lock_guard lock(mutex_);
    reader = std::move(reader_);
    registration = std::move(registration_);
    lostAtStop_ = reader != nullptr ? reader->LostSamples() : lostAtStop_;
  }
  registration.reset();  // the daemon hears of it before the endpoint is gone
}

}  // namespace qor::com
