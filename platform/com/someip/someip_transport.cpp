// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/someip_transport.h"

#include <string>
#include <utility>

#include "platform/com/someip/service_records.h"
#include "platform/com/someip/someip_hub.h"
#include "platform/log/qor_log.h"

namespace qor::com {
namespace {

using ara::core::Result;

constexpr QorLog kLog("SOME/IP");
constexpr std::uint32_t kLogIntervalMs = 1000;

ara::core::ErrorCode BadConfig(const std::string& message) {
  return {static_cast<std::int32_t>(TransportError::kBadConfig), message};
}

Result<void> Check(const maintaind::SomeipEventInfo& event) {
  if (event.serviceId == 0 || event.instanceId == 0 || event.eventId == 0) {
    return BadConfig("a SOME/IP event needs a service id, an instance id and an event id");
  }
  if (event.eventGroupIds.empty()) {
    return BadConfig("a SOME/IP event needs an eventgroup");
  }
  if (event.majorVersion > 0xFE) {
    return BadConfig("the major version of a SOME/IP service must be below 255");
  }
  return {};
}

class SomeipWriter : public EventWriter {
 public:
  SomeipWriter(std::shared_ptr<ServedService> service, maintaind::EventInfo used)
      : service_(std::move(service)), used_(std::move(used)), event_(OfferedEventOf(used_.someip)) {}
  ~SomeipWriter() override { service_->RemoveEvent(event_.eventId); }

  bool Write(std::span<const std::uint8_t> payload) override {
    const auto sent = service_->Notify(event_.eventId, payload);
    if (!sent) {
      kLog.Error("SomeipWriter_" + std::to_string(event_.eventId), kLogIntervalMs)
          << "A sample of event " << event_.eventId << " of " << Text(ServiceOf(used_.someip)) << " with "
          << payload.size() << " bytes was not sent: " << sent.Error().Message();
    }
    return sent.HasValue();
  }
  std::size_t MatchedReaders() const override { return service_->SubscriberCount(event_); }
  /// What was written is with the operating system, or in the queue of a TCP connection.
  bool WaitForFlush(std::chrono::milliseconds /*limit*/) override { return true; }
  bool IsMbuf() const override { return false; }
  const maintaind::EventInfo& Used() const override { return used_; }

 private:
  std::shared_ptr<ServedService> service_;
  maintaind::EventInfo used_;
  maintaind::OfferedEvent event_;
};

class SomeipReader : public EventReader {
 public:
  SomeipReader(std::shared_ptr<UsedService> service, maintaind::EventInfo used, RecvHandler handler)
      : service_(std::move(service)),
        used_(std::move(used)),
        lostBefore_(service_->Lost()),
        sink_(std::make_shared<EventSink>([handler = std::move(handler)](std::span<const std::uint8_t> payload) {
          RecvBuffer buffer;
          buffer.payload = payload;
          handler(buffer);
        })) {
    service_->AddReader(OfferedEventOf(used_.someip), sink_);
  }
  ~SomeipReader() override {
    sink_->Close();
    service_->RemoveReader(used_.someip.eventId, sink_);
  }

  std::size_t MatchedWriters() const override { return service_->IsAvailable() ? 1 : 0; }
  std::uint64_t LostSamples() const override { return service_->Lost() - lostBefore_; }
  const maintaind::EventInfo& Used() const override { return used_; }

 private:
  std::shared_ptr<UsedService> service_;
  maintaind::EventInfo used_;
  const std::uint64_t lostBefore_;
  std::shared_ptr<EventSink> sink_;  // shared with the thread that delivers
};

}  // namespace

Result<std::unique_ptr<EventWriter>> SomeipTransport::CreateWriter(const maintaind::EventInfo& event) {
  if (const auto checked = Check(event.someip); !checked) {
    return checked.Error();
  }
  auto service = SomeipHub::Instance().Serve(event.someip);
  if (!service) {
    return service.Error();
  }
  if (const auto added = service.Value()->AddEvent(OfferedEventOf(event.someip)); !added) {
    return added.Error();
  }
  maintaind::EventInfo used = event;
  used.someip.udpPort = service.Value()->UdpPort();
  used.someip.tcpPort = service.Value()->TcpPort();
  return std::unique_ptr<EventWriter>(std::make_unique<SomeipWriter>(std::move(service).Value(), std::move(used)));
}

Result<std::unique_ptr<EventReader>> SomeipTransport::CreateReader(const maintaind::EventInfo& event,
                                                                   const ReaderOptions& /*options*/,
                                                                   RecvHandler handler) {
  if (const auto checked = Check(event.someip); !checked) {
    return checked.Error();
  }
  maintaind::EventInfo used = event;
  auto service = SomeipHub::Instance().Use(event.someip);
  return std::unique_ptr<EventReader>(
      std::make_unique<SomeipReader>(std::move(service), std::move(used), std::move(handler)));
}

EventTransport& SomeipEventTransport() {
  static auto* const transport = new SomeipTransport;  // never destroyed: endpoints may outlive statics
  return *transport;
}

}  // namespace qor::com
