// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/text_layout.h"

namespace qor::datatype {

void TextLayout::RawBuffer(std::span<const std::uint8_t> bytes, bool /*isFirst*/) {
  text_.Append("[ ");
  std::string_view separator;
  for (const std::uint8_t byte : bytes) {
    text_.Append(separator);
    AppendNumber(text_, byte);
    separator = ", ";
  }
  text_.Append(" ]");
}

}  // namespace qor::datatype
