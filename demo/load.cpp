// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "demo/feed.h"
#include "demo/roles.h"
#include "platform/com/helper.h"

namespace qor::demo {
namespace {

std::string LoadName(std::uint32_t number) {
  char name[32];
  std::snprintf(name, sizeof(name), "/load/%04u", number);
  return name;
}

maintaind::EventRegisterInfo LoadEvent(std::uint32_t number, const LoadOptions& options) {
  maintaind::EventRegisterInfo event;
  event.eventName = LoadName(number);
  event.applicationName = "load";
  event.dataTypeName = "LoadSample";
  maintaind::DDSEventInfo& dds = event.bindings[maintaind::DriverType::kDds].dds;
  dds.serviceId = 0x0200;
  dds.instanceId = 1;
  dds.domainId = options.domain;
  dds.topicName = "load_" + std::to_string(number);
  dds.typeName = "LoadSample";
  dds.transports = {options.transport == "UDP" ? maintaind::TransportQos::kUdp : maintaind::TransportQos::kShm};
  dds.maxSampleSize = options.size;
  return event;
}

/// The sequence number is the first thing in the vector, so that a subscriber can count what it missed.
void FillSample(PayloadWriter& payload, std::uint64_t sequence, std::span<const std::uint8_t> filling) {
  payload.Count(sizeof(sequence) + filling.size()).Number(sequence).Raw(filling);
}

}  // namespace

int RunLoad(Schedule& schedule, const LoadOptions& options) {
  com::NodeHandle node("/load");
  std::vector<Feed> feeds;
  for (std::uint32_t i = 0; i < options.events; ++i) {
    if (!Helper::AddConfig(true, Helper::RegisterOptions{}, LoadEvent(i, options))) {
      return 1;
    }
    feeds.emplace_back(node, LoadName(i));
    if (!feeds.back().Ok()) {
      return 1;
    }
  }
  const std::vector<std::uint8_t> filling(options.size - kMinLoadSize, 0xA5);
  std::uint64_t sequence = 0;
  const auto sendAll = [&] {
    ++sequence;
    for (Feed& feed : feeds) {
      FillSample(feed.Payload(), sequence, filling);
      feed.Send();
    }
  };
  if (options.rate > 0) {
    schedule.Every(
        std::chrono::duration_cast<Schedule::Clock::duration>(std::chrono::duration<double>(1 / options.rate)),
        sendAll);
  } else {
    schedule.Always(sendAll);
  }
  schedule.Run();
  std::printf("%llu samples of each of %u events\n", static_cast<unsigned long long>(sequence), options.events);
  return 0;
}

}  // namespace qor::demo
