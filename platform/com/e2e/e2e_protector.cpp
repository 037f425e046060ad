// SPDX-License-Identifier: Apache-2.0
#include "platform/com/e2e/e2e_protector.h"

namespace qor::com::e2e {
namespace {

ara::core::ErrorCode Error(ProtectError code, std::string message) {
  return ara::core::ErrorCode(static_cast<std::int32_t>(code), std::move(message));
}

ara::core::ErrorCode LengthError(std::size_t sampleSize, const HeaderFormat& format) {
  return Error(ProtectError::kLength, "the protected sample would have " + std::to_string(sampleSize) +
                                          " bytes; expected " + std::to_string(format.SmallestSample()) + " to " +
                                          std::to_string(format.LargestSample()));
}

}  // namespace

E2eProtector::E2eProtector(const maintaind::E2EConfigInfo& config)
    : fault_(ConfigFault(config)), format_(HeaderFormat::Of(config)) {}

ara::core::Result<void> E2eProtector::Protect(std::span<const std::uint8_t> payload, std::vector<std::uint8_t>& out) {
  if (fault_) {
    return Error(ProtectError::kConfiguration, "invalid E2E configuration: " + *fault_);
  }
  if (!format_) {
    out.assign(payload.begin(), payload.end());
    return {};
  }
  const std::size_t sampleSize = payload.size() + format_->Size();
  if (!format_->Allows(sampleSize)) {
    return LengthError(sampleSize, *format_);
  }
  const auto head = payload.first(format_->Offset());
  out.clear();
  out.reserve(sampleSize);
  out.insert(out.end(), head.begin(), head.end());
  out.resize(head.size() + format_->Size());
  out.insert(out.end(), payload.begin() + static_cast<std::ptrdiff_t>(head.size()), payload.end());
  format_->Write(out, counter_);
  ++counter_;
  return {};
}

}  // namespace qor::com::e2e
