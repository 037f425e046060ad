// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORD_SOURCE_H
#define QOR_QORBAG_RECORD_SOURCE_H

#include <cstdint>

#include "src/qorbag/bag_input.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_header.h"

namespace qor::qorbag {

/// Takes what stands in a bag one after the other. Nothing is allocated for what the file does not hold. Used by one
/// thread; the input must outlive it.
class RecordSource {
 public:
  explicit RecordSource(BagInput& input, std::uint64_t position = 0) : input_(input), position_(position) {}

  std::uint64_t Position() const { return position_; }
  void Seek(std::uint64_t position) { position_ = position; }
  /// False when that would be behind the end.
  [[nodiscard]] bool Skip(std::uint64_t bytes) {
    if (bytes > Remaining()) {
      return false;
    }
    position_ += bytes;
    return true;
  }
  std::uint64_t Remaining() const { return position_ < input_.Size() ? input_.Size() - position_ : 0; }

  /// The fields stay until the next header is read.
  [[nodiscard]] bool ReadHeader(HeaderFields& fields);
  [[nodiscard]] bool Read(std::uint32_t& number);
  [[nodiscard]] bool ReadData(std::uint64_t size, QorBuffer& data);

 private:
  BagInput& input_;
  std::uint64_t position_;
  QorBuffer header_;
};

}  // namespace qor::qorbag

#endif
