// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/com/e2e/e2e_checker.h"
#include "platform/com/e2e/e2e_protector.h"
#include "tests/fuzz/require.h"

namespace qor::com::e2e {
namespace {

/// The payload is what came, or what came less the header.
void CheckForeign(const maintaind::E2EConfigInfo& config, std::span<const std::uint8_t> bytes) {
  const auto format = HeaderFormat::Of(config);
  const CheckResult result = E2eChecker(config).Check(bytes);
  Require(result.payload.size() == bytes.size() || (format && result.payload.size() + format->Size() == bytes.size()));
}

/// What can be protected is accepted, and comes back as it was.
void CheckOwn(const maintaind::E2EConfigInfo& config, std::span<const std::uint8_t> payload) {
  E2eProtector protector(config);
  std::vector<std::uint8_t> sample;
  if (!protector.Protect(payload, sample)) {
    return;
  }
  E2eChecker checker(config);
  const CheckResult result = checker.Check(sample);
  Require(result.status == (config.isProtected ? CheckStatus::kOk : CheckStatus::kCheckDisabled));
  Require(std::equal(result.payload.begin(), result.payload.end(), payload.begin(), payload.end()));
}

}  // namespace
}  // namespace qor::com::e2e

/// Six bytes of configuration: profile and protection, offset, minimum, maximum, data id, largest step. The rest is a
/// sample that came from outside, and a payload to protect.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kConfigSize = 6;
  if (size < kConfigSize) {
    return 0;
  }
  qor::maintaind::E2EConfigInfo config;
  config.profile = data[0] & 0x0F;
  config.isProtected = (data[0] & 0x80) == 0;
  config.offset = data[1];
  config.minDataLength = data[2];
  config.maxDataLength = data[3] * 8U;
  config.dataId = data[4];
  config.maxDeltaCounter = data[5];
  const auto bytes = std::span(data, size).subspan(kConfigSize);
  qor::com::e2e::CheckForeign(config, bytes);
  qor::com::e2e::CheckOwn(config, bytes);
  return 0;
}
