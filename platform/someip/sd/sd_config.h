// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_CONFIG_H
#define QOR_SOMEIP_SD_SD_CONFIG_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace qor::someip::sd {

/// When offers and finds are sent: first after a random initial delay, then repeated with growing pauses, then (offers
/// only) in a steady cycle.
struct SdTiming {
  std::chrono::milliseconds initialDelayMin{0};
  std::chrono::milliseconds initialDelayMax{500};
  std::chrono::milliseconds repetitionBaseDelay{30};  ///< the first pause; each further one is twice as long
  std::uint32_t repetitions = 3;                      ///< at most 16
  std::chrono::milliseconds cyclicOfferPeriod{1000};  ///< 0: no offers after the repetitions
  /// A random delay of what answers a multicast message.
  std::chrono::milliseconds responseDelayMin{0};
  std::chrono::milliseconds responseDelayMax{20};
  std::uint32_t offerTtl = 3;  ///< seconds, longer than the period; kTtlUntilReboot: until reboot
};

/// Bounds of what other hosts can make the agent remember.
struct SdLimits {
  std::size_t services = 16384;       ///< that are offered
  std::size_t servicesOfHost = 2048;  ///< of them by one host
  std::size_t endedServices = 1024;   ///< that were offered once; the oldest are forgotten
  std::size_t subscribers = 4096;     ///< of own services
  std::size_t subscribersOfHost = 3;  ///< of them by one host for one eventgroup
  std::size_t hosts = 4096;           ///< whose sessions are followed; the longest silent one is forgotten
  std::size_t destinations = 4096;    ///< with a session counter of their own; further ones share one
  std::size_t pendingAnswers = 256;   ///< hosts that wait for an answer to a multicast find; further ones get none
};

struct SdConfig {
  SdTiming timing;
  SdLimits limits;
};

/// What is wrong with a configuration; empty when nothing is.
std::string CheckSdConfig(const SdConfig& config);

}  // namespace qor::someip::sd

#endif
