// SPDX-License-Identifier: Apache-2.0
#include "platform/com/e2e/e2e_checker.h"

namespace qor::com::e2e {

E2eChecker::E2eChecker(const maintaind::E2EConfigInfo& config)
    : maxDeltaCounter_(config.maxDeltaCounter),
      format_(HeaderFormat::Of(config)),
      lastCounter_(format_ ? format_->MaxCounter() : 0) {}

CheckResult E2eChecker::Check(std::span<const std::uint8_t> bytes) {
  if (!format_) {
    return {.status = CheckStatus::kCheckDisabled, .payload = bytes};
  }
  hasReceived_ = true;
  CheckResult result{.status = CheckStatus::kError, .payload = WithoutHeader(bytes)};
  if (const auto counter = format_->Read(bytes)) {
    CheckSequence(*counter, result);
  }
  return result;
}

CheckStatus E2eChecker::StatusWithoutData() const {
  if (!format_) {
    return CheckStatus::kCheckDisabled;
  }
  return hasReceived_ ? CheckStatus::kNoNewData : CheckStatus::kNotAvailable;
}

std::span<const std::uint8_t> E2eChecker::WithoutHeader(std::span<const std::uint8_t> bytes) {
  const std::size_t offset = format_->Offset();
  if (bytes.size() < offset + format_->Size()) {
    return bytes;
  }
  const auto tail = bytes.subspan(offset + format_->Size());
  if (offset == 0) {
    return tail;
  }
  joined_.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  joined_.insert(joined_.end(), tail.begin(), tail.end());
  return joined_;
}

void E2eChecker::CheckSequence(std::uint32_t counter, CheckResult& result) {
  const std::uint32_t delta = (counter - lastCounter_) & format_->MaxCounter();  // the largest counter is all ones
  lastCounter_ = counter;
  if (delta == 0) {
    result.status = CheckStatus::kRepeated;
  } else if (delta > maxDeltaCounter_) {
    result.status = CheckStatus::kWrongSequence;
  } else {
    result.status = CheckStatus::kOk;
    result.lost = delta - 1;
  }
}

}  // namespace qor::com::e2e
