// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_LABELS_H
#define QOR_DATATYPE_LABELS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/datatype/text_buffer.h"

namespace qor::datatype {

/// What stands before the members of structures, ready to be copied. Never changes once all are added.
class Labels {
 public:
  void Add(std::string_view text) {
    texts_.insert(ends_.back(), text);
    ends_.push_back(static_cast<std::uint32_t>(ends_.back() + text.size()));
  }

  std::size_t SizeOf(std::size_t index) const { return ends_[index + 1] - ends_[index]; }

  /// Appends a label without its first characters.
  void Append(std::size_t index, std::uint32_t without, TextBuffer& text) const {
    const std::uint32_t begin = ends_[index] + without;
    text.AppendPadded(texts_.data() + begin, ends_[index + 1] - begin);
  }

 private:
  std::string texts_ = std::string(TextBuffer::kSlack, '\0');  ///< one after the other, the slack behind the last
  std::vector<std::uint32_t> ends_ = {0};                      ///< before the first and after each
};

}  // namespace qor::datatype

#endif
