// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_OUTPUT_H
#define QOR_QORBAG_BAG_OUTPUT_H

#include <cstdint>
#include <span>

namespace qor::qorbag {

/// Where a bag file is written to. Each operation is false when it failed; errno says why. Used by one thread at a
/// time.
class BagOutput {
 public:
  virtual ~BagOutput() = default;

  /// All of the bytes, at the position, which moves behind them. What a failed write left of them is not known.
  [[nodiscard]] virtual bool Write(std::span<const std::uint8_t> bytes) = 0;
  [[nodiscard]] virtual bool Seek(std::uint64_t position) = 0;
  [[nodiscard]] virtual bool SeekEnd() = 0;
  /// What stands behind the position is no longer there.
  [[nodiscard]] virtual bool Truncate(std::uint64_t position) = 0;
  virtual std::uint64_t Position() const = 0;
  /// To the system, and to the disk.
  [[nodiscard]] virtual bool Flush() = 0;
  [[nodiscard]] virtual bool Sync() = 0;
  [[nodiscard]] virtual bool Close() = 0;
};

}  // namespace qor::qorbag

#endif
