// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SEND_PHASES_H
#define QOR_SOMEIP_SD_SEND_PHASES_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <random>

#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/services.h"

namespace qor::someip::sd {

using RandomSource = std::mt19937_64;

inline Duration RandomDelay(RandomSource& random, std::chrono::milliseconds min, std::chrono::milliseconds max) {
  using Microseconds = std::chrono::microseconds;
  std::uniform_int_distribution<Microseconds::rep> delay(Microseconds(min).count(), Microseconds(max).count());
  return Microseconds(delay(random));
}

/// How far a service's offers or finds have come: initial wait, repetitions, steady.
class SendPhases {
 public:
  /// One was sent. The pause to the next repetition; nothing when there are none left.
  std::optional<Duration> OnSent(const SdTiming& timing) {
    const std::uint32_t repetition = sent_;
    if (repetition >= timing.repetitions) {
      sent_ = timing.repetitions + 1;
      return std::nullopt;
    }
    ++sent_;
    return timing.repetitionBaseDelay * (std::uint64_t{1} << repetition);
  }

 private:
  std::uint32_t sent_ = 0;  // never beyond the repetitions and one
};

}  // namespace qor::someip::sd

#endif
