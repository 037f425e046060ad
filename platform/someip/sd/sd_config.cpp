// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_config.h"

#include "platform/someip/sd/services.h"

namespace qor::someip::sd {
namespace {

constexpr std::chrono::milliseconds kLongest = std::chrono::hours(1);
constexpr std::uint32_t kMaxRepetitions = 16;

bool IsRange(std::chrono::milliseconds min, std::chrono::milliseconds max) {
  return min >= std::chrono::milliseconds::zero() && min <= max && max <= kLongest;
}

std::string CheckTiming(const SdTiming& timing) {
  const std::chrono::milliseconds zero{0};
  if (!IsRange(timing.initialDelayMin, timing.initialDelayMax)) {
    return "the initial delay is not a range from 0 to an hour";
  }
  if (!IsRange(timing.responseDelayMin, timing.responseDelayMax)) {
    return "the response delay is not a range from 0 to an hour";
  }
  if (timing.repetitions > kMaxRepetitions) {
    return "more than 16 repetitions";
  }
  if (timing.repetitions > 0 && (timing.repetitionBaseDelay <= zero || timing.repetitionBaseDelay > kLongest)) {
    return "the base delay of the repetitions is not above 0 and at most an hour";
  }
  if (timing.cyclicOfferPeriod < zero || timing.cyclicOfferPeriod > kLongest) {
    return "the period of the offers is not from 0 to an hour";
  }
  if (timing.offerTtl == 0 || timing.offerTtl > kTtlUntilReboot) {
    return "the time to live of offers is not from 1 to 16777215 s";
  }
  if (timing.offerTtl != kTtlUntilReboot &&
      (timing.cyclicOfferPeriod == zero || timing.cyclicOfferPeriod >= std::chrono::seconds(timing.offerTtl))) {
    return "offers would end before the next one: their time to live is not longer than their period";
  }
  return "";
}

std::string CheckLimits(const SdLimits& limits) {
  for (const std::size_t limit : {limits.services, limits.servicesOfHost, limits.subscribers, limits.subscribersOfHost,
                                  limits.hosts, limits.destinations, limits.pendingAnswers}) {
    if (limit == 0) {
      return "a limit is 0";
    }
  }
  return "";
}

}  // namespace

std::string CheckSdConfig(const SdConfig& config) {
  const std::string timing = CheckTiming(config.timing);
  return timing.empty() ? CheckLimits(config.limits) : timing;
}

}  // namespace qor::someip::sd
