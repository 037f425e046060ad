// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <bit>
#include <cmath>

#include "demo/feed.h"
#include "demo/roles.h"

namespace qor::demo {
namespace {

enum class Gear : std::uint8_t { kPark = 0, kReverse = 1, kNeutral = 2, kDrive = 3 };

/// A drive that never ends: the speed swings between 0 and 30 m/s within a minute.
class Drive {
 public:
  double Speed() const { return 15.0 * (1.0 - std::cos(seconds_ * 2.0 * M_PI / 60.0)); }
  void Advance(double seconds) {
    seconds_ += seconds;
    distance_ += Speed() * seconds;
  }
  double Distance() const { return distance_; }
  double Seconds() const { return seconds_; }

 private:
  double seconds_ = 0;
  double distance_ = 0;
};

}  // namespace

int RunChassis(Schedule& schedule) {
  constexpr double kTicksPerMetre = 48;
  com::NodeHandle node("/chassis");
  Feed ticks(node, "/chassis/wheel_ticks");
  Feed speed(node, "/chassis/speed");
  Feed yawRate(node, "/chassis/yaw_rate", std::endian::big);
  Feed brake(node, "/chassis/brake", std::endian::big);
  Feed steering(node, "/chassis/steering", std::endian::big);
  if (!ticks.Ok() || !speed.Ok() || !yawRate.Ok() || !brake.Ok() || !steering.Ok()) {
    return 1;
  }
  Drive drive;
  std::uint8_t counter = 0;
  schedule.Every(std::chrono::milliseconds(1), [&] {
    drive.Advance(0.001);
    const auto count = static_cast<std::uint16_t>(std::fmod(drive.Distance() * kTicksPerMetre, 65536.0));
    for (std::uint16_t wheel = 0; wheel < 4; ++wheel) {
      ticks.Payload().Number(static_cast<std::uint16_t>(count + wheel));
    }
    ticks.Send();
    yawRate.Payload().Number(Now()).Number(static_cast<float>(0.2 * std::sin(drive.Distance() / 50.0)));
    yawRate.Send();
  });
  schedule.Every(std::chrono::milliseconds(10), [&] {
    const Gear gear = drive.Speed() > 0.5 ? Gear::kDrive : Gear::kNeutral;
    speed.Payload().Number(Now()).Number(static_cast<float>(drive.Speed())).Number(drive.Distance()).Number(gear);
    speed.Send();
    const double pressure = std::max(0.0, -std::sin(drive.Seconds() * 2.0 * M_PI / 60.0)) * 40.0;  // bar
    brake.Payload().Number(static_cast<std::uint8_t>(pressure > 1.0)).Number(static_cast<float>(pressure));
    brake.Send();
    const double degrees = 90.0 * std::sin(drive.Distance() / 50.0);
    constexpr std::uint8_t kHandsOn = 0x10;  // above the counter of four bits
    steering.Payload().Number(static_cast<std::int16_t>(degrees * 10.0));
    steering.Payload().Number(static_cast<std::uint8_t>(kHandsOn | (++counter & 0xF)));
    steering.Send();
  });
  schedule.Run();
  return 0;
}

}  // namespace qor::demo
