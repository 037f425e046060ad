// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <bit>
#include <string_view>

#include "demo/feed.h"
#include "demo/roles.h"

namespace qor::demo {
namespace {

enum class DoorState : std::uint8_t { kClosed = 0, kOpen = 1, kLocked = 2 };

constexpr std::array<std::string_view, 4> kDoors = {"front left", "front right", "rear left", "rear right"};

// Tags of SOME/IP members: the kind of length in the upper four bits, the id in the others.
constexpr std::uint16_t kMinute = 0x1001;  // a number of 16 bits
constexpr std::uint16_t kTitle = 0x6002;   // behind a length of 16 bits
constexpr std::uint16_t kArtist = 0x6003;

/// A member in UTF-16, little-endian, with its byte-order mark and its end; `text` is ASCII.
void AddText(std::uint16_t tag, std::string_view text, PayloadWriter& payload) {
  constexpr std::array<std::uint8_t, 2> kMark = {0xFF, 0xFE};
  payload.Number(tag).Number(static_cast<std::uint16_t>(2 * (text.size() + 2))).Raw(kMark);
  for (const char c : text) {
    payload.Number(static_cast<std::uint8_t>(c)).Number(std::uint8_t{0});
  }
  payload.Number(std::uint16_t{0});
}

}  // namespace

int RunBody(Schedule& schedule) {
  com::NodeHandle node("/body");
  Feed doors(node, "/body/doors");
  Feed status(node, "/body/status");
  Feed media(node, "/body/media", std::endian::big);
  Feed faults(node, "/body/faults", std::endian::big);
  if (!doors.Ok() || !status.Ok() || !media.Ok() || !faults.Ok()) {
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
    const bool isMusic = second % 10 < 5;
    media.Payload().Number(kMinute).Number(static_cast<std::uint16_t>(second % 5));
    AddText(kTitle, isMusic ? "Autobahn" : "Traffic news", media.Payload());
    if (isMusic) {
      AddText(kArtist, "The Cruise Controls", media.Payload());
    }
    media.Send();
    faults.Payload().Number(second).Count(2 * sizeof(std::uint16_t));  // the length of a vector is in bytes
    faults.Payload().Number(std::uint16_t{0x9A01}).Number(static_cast<std::uint16_t>(0x9B00 + second % 16));
    faults.Send();
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
