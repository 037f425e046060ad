// SPDX-License-Identifier: Apache-2.0
#include "platform/com/publisher_core.h"

#include <algorithm>
#include <utility>

#include "platform/com/bindings.h"
#include "platform/log/qor_log.h"

namespace qor::com {
namespace {

constexpr QorLog kLog("Com");
constexpr std::uint32_t kLogIntervalMs = 1000;

log::LogStream Refusal(const std::string& eventName) {
  return kLog.Error("PublisherCore_" + eventName, kLogIntervalMs);
}

/// Null without protection.
ara::core::Result<std::unique_ptr<e2e::E2eProtector>> ProtectorOf(const maintaind::E2EConfigInfo& config) {
  if (!config.isProtected) {
    return std::unique_ptr<e2e::E2eProtector>();
  }
  if (const auto fault = e2e::ConfigFault(config)) {
    return ara::core::ErrorCode(static_cast<std::int32_t>(TransportError::kBadConfig), "its E2E protection: " + *fault);
  }
  return std::make_unique<e2e::E2eProtector>(config);
}

}  // namespace

std::shared_ptr<PublisherCore> PublisherCore::Create(const std::string& nodeName,
                                                     const maintaind::EventRegisterInfo& config) {
  Writers writers;
  maintaind::EventRegisterInfo used = config;
  used.bindings.clear();
  for (const auto& [driver, record] : config.bindings) {
    EventTransport* const wire = WireOf(config, driver);
    if (wire == nullptr) {
      continue;
    }
    const maintaind::EventInfo binding = BindingOf(config, driver);
    auto protector = ProtectorOf(E2eOf(binding, driver));
    if (!protector) {
      LogBindingFailure(config, "published", protector.Error());
      continue;
    }
    auto writer = wire->CreateWriter(binding);
    if (!writer) {
      LogBindingFailure(config, "published", writer.Error());
      continue;
    }
    used.bindings.emplace(driver, writer.Value()->Used());
    writers.push_back({std::move(writer).Value(), std::move(protector).Value()});
  }
  if (writers.empty()) {
    return nullptr;
  }
  auto registration = std::make_unique<EventRegistration>(maintaind::EntityRole::kProvider, nodeName, std::move(used));
  return std::shared_ptr<PublisherCore>(
      new PublisherCore(config.eventName, std::move(writers), std::move(registration)));
}

PublisherCore::PublisherCore(std::string eventName, Writers writers, std::unique_ptr<EventRegistration> registration)
    : eventName_(std::move(eventName)),
      writers_(std::make_shared<const Writers>(std::move(writers))),
      registration_(std::move(registration)) {}

bool PublisherCore::Publish(std::span<const std::uint8_t> payload) {
  const auto writers = GetWriters();
  if (writers == nullptr) {
    Refusal(eventName_) << "Event '" << eventName_ << "' is not published any more.";
    return false;
  }
  bool isSent = true;
  for (const ProtectedWriter& writer : *writers) {
    isSent = Write(writer, payload) && isSent;
  }
  return isSent;
}

bool PublisherCore::Write(const ProtectedWriter& writer, std::span<const std::uint8_t> payload) {
  if (writer.protector == nullptr) {
    return writer.writer->Write(payload);
  }
  if (const auto isProtected = writer.protector->Protect(payload, protectedBytes_); !isProtected) {
    Refusal(eventName_) << "A sample of event '" << eventName_
                        << "' was not sent: it cannot be protected: " << isProtected.Error().Message();
    return false;
  }
  return writer.writer->Write(protectedBytes_);
}

bool PublisherCore::Publish(const dp::MbufSample& sample) {
  const auto writers = GetWriters();
  if (writers != nullptr &&
      !std::ranges::all_of(*writers, [](const ProtectedWriter& writer) { return writer.writer->IsMbuf(); })) {
    Refusal(eventName_) << "Event '" << eventName_ << "' is no mbuf event.";
    return false;
  }
  dp::EncodeMbufSample(sample, mbufBytes_);
  return Publish(std::span<const std::uint8_t>(mbufBytes_));
}

std::size_t PublisherCore::SubscriberCount() const {
  std::size_t count = 0;
  if (const auto writers = GetWriters()) {
    for (const ProtectedWriter& writer : *writers) {
      count += writer.writer->MatchedReaders();
    }
  }
  return count;
}

bool PublisherCore::WaitForFlush(std::chrono::milliseconds limit) {
  const auto writers = GetWriters();
  if (writers == nullptr) {
    return true;
  }
  const auto end = std::chrono::steady_clock::now() + limit;
  return std::ranges::all_of(*writers, [end](const ProtectedWriter& writer) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return writer.writer->WaitForFlush(std::max(left, std::chrono::milliseconds(0)));
  });
}

void PublisherCore::Stop() {
  std::shared_ptr<const Writers> writers;
  std::unique_ptr<EventRegistration> registration;
  {
    const std::lock_guard lock(mutex_);
    writers.swap(writers_);
    registration.swap(registration_);
  }
  registration.reset();  // the daemon hears of it before the endpoints are gone
}

std::shared_ptr<const PublisherCore::Writers> PublisherCore::GetWriters() const {
  const std::lock_guard lock(mutex_);
  return writers_;
}

}  // namespace qor::com
