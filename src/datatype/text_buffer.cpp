// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/text_buffer.h"

#include <algorithm>

namespace qor::datatype {

void TextBuffer::Grow(std::size_t size) {
  constexpr std::size_t kLeast = 1024;
  const std::size_t used = memory_ == nullptr ? 0 : Text().size();
  const std::size_t capacity = std::max({kLeast, used * 2, used + size});
  std::unique_ptr<char[]> memory(new char[capacity + kSlack]);  // make_unique would fill it
  if (used != 0) {
    std::memcpy(memory.get(), memory_.get(), used);
  }
  memory_ = std::move(memory);
  at_ = memory_.get() + used;
  end_ = memory_.get() + capacity;
}

}  // namespace qor::datatype
