// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_INPUT_H
#define QOR_QORBAG_BAG_INPUT_H

#include <cstdint>
#include <span>

namespace qor::qorbag {

/// Where a bag file is read from. Used by one thread at a time.
class BagInput {
 public:
  virtual ~BagInput() = default;

  virtual std::uint64_t Size() const = 0;
  /// Fills `bytes` from the position on; false when the file ends before, or cannot be read.
  [[nodiscard]] virtual bool Read(std::uint64_t position, std::span<std::uint8_t> bytes) = 0;
};

}  // namespace qor::qorbag

#endif
