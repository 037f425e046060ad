// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_BINDING_GATE_H
#define QOR_QOREVENT_BINDING_GATE_H

#include <chrono>
#include <optional>

#include "src/common/records/binding.h"

namespace qor::qorevent {

/// Lets one binding of an event through. A publisher with two bindings sends every sample over both; which of them
/// reaches this host shows only when samples arrive. Not synchronised.
class BindingGate {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// Whether a sample that arrives now counts: those of the binding whose sample came first do, until it has been
  /// silent for a second.
  bool IsCounted(maintaind::DriverType driver, Time now) {
    constexpr auto kSilence = std::chrono::seconds(1);
    if (driver_ != driver && driver_.has_value() && now - latest_ < kSilence) {
      return false;
    }
    driver_ = driver;
    latest_ = now;
    return true;
  }

 private:
  std::optional<maintaind::DriverType> driver_;
  Time latest_;
};

}  // namespace qor::qorevent

#endif
