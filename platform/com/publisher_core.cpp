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
    auto writer = wire->CreateWriter(BindingOf(config, driver));
    if (!writer) {
      LogBindingFailure(config, "published", writer.Error());
      continue;
    }
    used.bindings.emplace(driver, writer.Value()->Used());
    writers.push_back(std::move(writer).Value());
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
  for (const auto& writer : *writers) {
    isSent = writer->Write(payload) && isSent;
  }
  return isSent;
}

bool PublisherCore::Publish(const dp::MbufSample& sample) {
  const auto writers = GetWriters();
  if (writers != nullptr && !std::ranges::all_of(*writers, &EventWriter::IsMbuf)) {
    Refusal(eventName_) << "Event '" << eventName_ << "' is no mbuf event.";
    return false;
  }
  dp::EncodeMbufSample(sample, mbufBytes_);
  return Publish(std::span<const std::uint8_t>(mbufBytes_));
}

std::size_t PublisherCore::SubscriberCount() const {
  std::size_t count = 0;
  if (const auto writers = GetWriters()) {
    for (const auto& writer : *writers) {
      count += writer->MatchedReaders();
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
  return std::ranges::all_of(*writers, [end](const auto& writer) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return writer->WaitForFlush(std::max(left, std::chrono::milliseconds(0)));
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
