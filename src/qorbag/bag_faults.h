// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_FAULTS_H
#define QOR_QORBAG_BAG_FAULTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qor::qorbag {

/// Something in a bag that is not as it should be.
struct BagFault {
  std::uint64_t position = 0;  ///< in the file
  std::string text;
};

/// The first faults of a bag, and how many there are. Used by one thread.
class BagFaults {
 public:
  void Add(std::uint64_t position, std::string text) {
    constexpr std::size_t kMostKept = 100;
    ++count_;
    if (first_.size() < kMostKept) {
      first_.push_back({position, std::move(text)});
    }
  }
  std::uint64_t Count() const { return count_; }
  const std::vector<BagFault>& First() const { return first_; }

 private:
  std::vector<BagFault> first_;
  std::uint64_t count_ = 0;
};

}  // namespace qor::qorbag

#endif
