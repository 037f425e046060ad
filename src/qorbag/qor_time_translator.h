// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_TIME_TRANSLATOR_H
#define QOR_QORBAG_QOR_TIME_TRANSLATOR_H

#include <cstdint>

#include "src/qorbag/player_time.h"

namespace qor::qorbag {

/// Says at which moment a time of the bag comes: each from the start, so that nothing adds up. Used by one thread.
class QorTimeTranslator {
 public:
  /// One that is as good as 0 is ignored.
  void SetTimeRate(double rate);
  void SetBagStartTime(std::uint64_t milliseconds) { bagStart_ = milliseconds; }
  void SetSystemStartTime(SteadyNs moment) { systemStart_ = moment; }
  /// Everything comes so much later.
  void Shift(SteadyNs delay) { systemStart_ += delay; }

  /// Of a time in milliseconds. Beyond what the clock will ever reach: its end.
  SteadyNs Translate(std::uint64_t bagTime) const;

 private:
  double rate_ = 1.0;
  std::uint64_t bagStart_ = 0;
  SteadyNs systemStart_{0};
};

/// `to` - `from` for times in milliseconds of which either may be the later.
double MillisecondsBetween(std::uint64_t from, std::uint64_t to);
/// Rounded; what no clock counts to is its end.
SteadyNs NanosecondsOf(double nanoseconds);
/// Whether a rate or a frequency counts.
bool IsSet(double value);

}  // namespace qor::qorbag

#endif
