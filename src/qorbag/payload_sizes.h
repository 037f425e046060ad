// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PAYLOAD_SIZES_H
#define QOR_QORBAG_PAYLOAD_SIZES_H

#include <cstdint>
#include <span>
#include <vector>

namespace qor::qorbag {

/// Where the message records of a chunk begin, and so how long each of them is: a record ends where the next one
/// begins. Keeps its memory from one chunk to the next. Used by one thread.
class PayloadSizes {
 public:
  /// Begins with the next chunk, whose records take `chunkSize` bytes.
  void Begin(std::uint64_t chunkSize);
  /// A record begins at the offset. False when one does already, or no record has room there.
  [[nodiscard]] bool Add(std::uint64_t offset);
  /// All are there. False when two records overlap, or the first does not begin the chunk.
  [[nodiscard]] bool End();
  /// Bytes of the payload of the record that begins at the offset.
  std::uint32_t SizeAt(std::uint64_t offset) const;

 private:
  // Above that, offsets are sorted instead of marked.
  static constexpr std::uint64_t kMarked = std::uint64_t{64} << 20U;

  bool IsMarked() const { return chunkSize_ <= kMarked; }
  std::uint64_t NextAfter(std::uint64_t offset) const;

  std::uint64_t chunkSize_ = 0;
  std::vector<std::uint64_t> marks_;    ///< a bit for each byte of the chunk
  std::vector<std::uint64_t> offsets_;  ///< those that were added
};

}  // namespace qor::qorbag

#endif
