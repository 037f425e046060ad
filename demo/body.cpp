// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string_view>

#include "demo/feed.h"
#include "demo/roles.h"

namespace qor::demo {
namespace {

enum class DoorState : std::uint8_t { kClosed = 0, kOpen = 1, kLocked = 2 };

constexpr std::array<std::string_view, 4> kDoors = {"front left", "front right", "rear left", "rear right"};

}  // namespace

int RunBody(Schedule& schedule) {
  com::NodeHandle node("/body");
  Feed doors(node, "/body/doors");
  Feed status(node, "/body/status");
  if (!doors.Ok() || !status.Ok()) {
    return 1;
  }
  std::uint32_t second = 0;
  std::uint32_t tick = 0;
  schedule.Every(std::chrono::seconds(1), [&] {
    ++second;
    doors.Payload().Count(kDoors.size());
    for (std::size_t i = 0; i < kDoors.size(); ++i) {
      const bool isOpen = second % (kDoors.size() + 1) == i;
      doors.Payload().Text(kDoors[i]).Number(isOpen ? DoorState::kOpen : DoorState::kLocked);
    }
    doors.Send();
  });
  schedule.Every(std::chrono::milliseconds(100), [&] {
    const bool isWarm = ++tick % 100 > 50;
    status.Payload().Number(tick).Text(isWarm ? "cooling" : "idle").Number(static_cast<std::int16_t>(isWarm ? 24 : 21));
    status.Payload().Number(std::uint8_t{isWarm});
    status.Payload().Count(isWarm ? 2 : 0);
    if (isWarm) {
      status.Payload().Text("cabin warm").Text("sun roof open");
    }
    status.Send();
  });
  schedule.Run();
  return 0;
}

}  // namespace qor::demo
