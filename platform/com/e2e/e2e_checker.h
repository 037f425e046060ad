// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_E2E_E2E_CHECKER_H
#define QOR_COM_E2E_E2E_CHECKER_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/com/e2e/check_status.h"
#include "platform/com/e2e/header_format.h"

namespace qor::com::e2e {

/// One checked sample.
struct CheckResult {
  CheckStatus status = CheckStatus::kError;
  std::uint32_t lost = 0;  ///< kOk only: samples missing since the previous one, or since the sender's first
  /// The sample without its header, whatever the status; all of it when there is no room for a header or no protection.
  /// With an offset of 0 a part of the checked bytes, otherwise of memory that the checker's next Check overwrites.
  std::span<const std::uint8_t> payload;
};

/// The receiver's side of the protection of one event from one sender: the check function of AUTOSAR E2E profiles 4, 5
/// and
/// 7. As there, a receiver expects the sender's first sample, with counter 0: one that joins later gets kWrongSequence
/// for its first sample, and every sample with a correct header sets what is expected next. With a faulty configuration
/// nothing is checked. One subscriber owns it; one thread at a time.
class E2eChecker {
 public:
  explicit E2eChecker(const maintaind::E2EConfigInfo& config);

  /// `bytes` is one sample as it travelled.
  CheckResult Check(std::span<const std::uint8_t> bytes);

  /// The status when the receiver asks and nothing has come: kNotAvailable before the first sample, then kNoNewData;
  /// kCheckDisabled without protection.
  CheckStatus StatusWithoutData() const;

 private:
  std::span<const std::uint8_t> WithoutHeader(std::span<const std::uint8_t> bytes);
  void CheckSequence(std::uint32_t counter, CheckResult& result);

  const std::uint32_t maxDeltaCounter_;
  const std::optional<HeaderFormat> format_;
  std::uint32_t lastCounter_;
  bool hasReceived_ = false;
  std::vector<std::uint8_t> joined_;
};

}  // namespace qor::com::e2e

#endif
