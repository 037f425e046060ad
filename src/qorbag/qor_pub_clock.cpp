// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_pub_clock.h"

#include <algorithm>

#include "src/qorbag/qor_time_translator.h"

namespace qor::qorbag {

void QorPubClock::SetTimeRate(double rate) {
  if (IsSet(rate)) {
    rate_ = rate;
  }
}

void QorPubClock::SetHorizon(std::uint64_t bagTime, SteadyNs moment) {
  bagHorizon_ = bagTime;
  systemHorizon_ = moment;
}

SteadyNs QorPubClock::RunClock(SteadyNs now, SteadyNs slice) {
  constexpr double kNanosInMilli = 1e6;
  const double left = rate_ * static_cast<double>((systemHorizon_ - now).count()) / kNanosInMilli;
  const bool isFar = left >= static_cast<double>(bagHorizon_);
  current_ = left <= 0 ? bagHorizon_ : isFar ? 0 : bagHorizon_ - static_cast<std::uint64_t>(left);
  return std::min(systemHorizon_, now + slice);
}

}  // namespace qor::qorbag
