// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DEMO_ROLES_H
#define QOR_DEMO_ROLES_H

#include <cstdint>
#include <string>

#include "demo/schedule.h"

/// The programs of the demo vehicle. Each runs until SIGINT or SIGTERM and returns the exit status of the process.
namespace qor::demo {

/// Wheel ticks at 1 kHz, speed at 100 Hz.
int RunChassis(Schedule& schedule);
/// An image of 2 MB at 30 Hz and what is seen on it.
int RunCamera(Schedule& schedule);
/// Doors at 1 Hz, the state of the body at 10 Hz.
int RunBody(Schedule& schedule);
/// Subscribes to all of them and prints one line a second.
int RunDashboard(Schedule& schedule);

/// Bytes of the smallest sample of a load: an element count and a sequence number.
inline constexpr std::uint32_t kMinLoadSize = 12;

/// What a load generator publishes: `events` events /load/0000, /load/0001 ...
struct LoadOptions {
  std::uint32_t events = 1;
  double rate = 10;               ///< samples a second of each event; 0: as fast as it goes
  std::uint32_t size = 64;        ///< bytes of a sample, at least kMinLoadSize
  std::string transport = "SHM";  ///< "SHM" or "UDP"
  std::uint16_t domain = 12;
};
int RunLoad(Schedule& schedule, const LoadOptions& options);

}  // namespace qor::demo

#endif
