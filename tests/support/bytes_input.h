// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_BYTES_INPUT_H
#define QOR_TESTS_SUPPORT_BYTES_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "src/qorbag/bag_input.h"
#include "tests/support/bytes.h"

namespace qor::test {

/// A bag in memory.
class BytesInput : public qorbag::BagInput {
 public:
  explicit BytesInput(Bytes bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t Size() const override { return bytes_.size(); }
  bool Read(std::uint64_t position, std::span<std::uint8_t> bytes) override {
    if (bytes.size() > bytes_.size() || position > bytes_.size() - bytes.size()) {
      return false;
    }
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position), bytes.size(), bytes.begin());
    return true;
  }

 private:
  const Bytes bytes_;
};

}  // namespace qor::test

#endif
