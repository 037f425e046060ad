// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_E2E_E2E_PROTECTOR_H
#define QOR_COM_E2E_E2E_PROTECTOR_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/com/e2e/header_format.h"

namespace qor::com::e2e {

enum class ProtectError : std::int32_t {
  kConfiguration = 1,  ///< the configuration has a fault
  kLength = 2          ///< the sample would be shorter or longer than the configuration and the profile allow
};

/// The sender's side of the protection of one event: puts the header of AUTOSAR E2E profile 4, 5 or 7 (see
/// HeaderFormat) into each sample. One publisher owns it; one thread at a time.
class E2eProtector {
 public:
  explicit E2eProtector(const maintaind::E2EConfigInfo& config);

  /// Makes `out` the bytes that travel: payload[0..offset), header, payload[offset..). Its memory is reused; `payload`
  /// must not lie in it. The first sample has the counter 0; after the profile's largest comes 0 again. An error leaves
  /// the counter and `out` as they are. Without protection the payload is copied as it is.
  ara::core::Result<void> Protect(std::span<const std::uint8_t> payload, std::vector<std::uint8_t>& out);

 private:
  const std::optional<std::string> fault_;
  const std::optional<HeaderFormat> format_;
  std::uint32_t counter_ = 0;  // of the next sample; its low bytes travel, so that it wraps with their number
};

}  // namespace qor::com::e2e

#endif
