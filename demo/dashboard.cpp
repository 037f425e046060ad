// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "demo/roles.h"
#include "platform/com/node_handle.h"

namespace qor::demo {
namespace {

constexpr std::array kEvents = {"/chassis/wheel_ticks",  "/chassis/speed",         "/chassis/yaw_rate",
                                "/chassis/brake",        "/chassis/steering",      "/camera/front/image",
                                "/camera/front/objects", "/camera/front/features", "/camera/front/points",
                                "/body/doors",           "/body/status",           "/body/media",
                                "/body/faults"};
constexpr std::size_t kSpeed = 1;

/// What arrived since the last line. Written on receive threads, read by the schedule.
struct Gauges {
  std::array<std::atomic<std::uint32_t>, kEvents.size()> samples{};
  std::atomic<float> speed = 0;
};

/// The member behind the timestamp of a speed sample.
void ReadSpeed(std::span<const std::uint8_t> payload, Gauges& gauges) {
  constexpr std::size_t kOffset = sizeof(std::uint64_t);
  if (payload.size() < kOffset + sizeof(float)) {
    return;
  }
  float speed = 0;
  std::memcpy(&speed, payload.data() + kOffset, sizeof(speed));
  gauges.speed = speed;
}

void PrintLine(Gauges& gauges) {
  std::printf("%5.1f m/s; samples:", static_cast<double>(gauges.speed));
  for (std::size_t i = 0; i < kEvents.size(); ++i) {
    std::printf(" %s %u", kEvents[i], gauges.samples[i].exchange(0));
  }
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int RunDashboard(Schedule& schedule) {
  com::NodeHandle node("/dashboard");
  Gauges gauges;
  std::vector<com::Subscriber> subscribers;
  for (std::size_t i = 0; i < kEvents.size(); ++i) {
    subscribers.push_back(node.Subscribe(kEvents[i], [&gauges, i](const com::RecvBuffer& sample) {
      ++gauges.samples[i];
      if (i == kSpeed) {
        ReadSpeed(sample.payload, gauges);
      }
    }));
    if (!subscribers.back()) {
      std::fprintf(stderr, "cannot subscribe to %s; is QOR_DEPLOYMENT_DIR set to demo/deployment?\n", kEvents[i]);
      return 1;
    }
  }
  schedule.Every(std::chrono::seconds(1), [&gauges] { PrintLine(gauges); });
  schedule.Run();
  return 0;
}

}  // namespace qor::demo
