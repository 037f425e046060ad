// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_time_translator.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qor::qorbag {
namespace {

constexpr double kNanosInMilli = 1e6;
constexpr std::int64_t kFar = std::numeric_limits<std::int64_t>::max() / 4;  // two of them can be added

}  // namespace

double MillisecondsBetween(std::uint64_t from, std::uint64_t to) {
  return to >= from ? static_cast<double>(to - from) : -static_cast<double>(from - to);
}

SteadyNs NanosecondsOf(double nanoseconds) {
  constexpr auto kLimit = static_cast<double>(kFar);
  return SteadyNs(std::llround(std::clamp(nanoseconds, -kLimit, kLimit)));
}

bool IsSet(double value) { return std::abs(value) > std::numeric_limits<double>::epsilon(); }

void QorTimeTranslator::SetTimeRate(double rate) {
  if (IsSet(rate)) {
    rate_ = rate;
  }
}

SteadyNs QorTimeTranslator::Translate(std::uint64_t bagTime) const {
  return systemStart_ + NanosecondsOf(MillisecondsBetween(bagStart_, bagTime) * kNanosInMilli / rate_);
}

}  // namespace qor::qorbag
