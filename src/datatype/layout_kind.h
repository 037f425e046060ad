// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_LAYOUT_KIND_H
#define QOR_DATATYPE_LAYOUT_KIND_H

#include <cstdint>
#include <string_view>

#include "src/datatype/json_layout.h"
#include "src/datatype/labels.h"
#include "src/datatype/text_buffer.h"
#include "src/datatype/text_layout.h"

namespace qor::datatype {

enum class LayoutKind : std::uint8_t { kOneLine, kMultiLine, kJson };

/// Adds the label of a member.
inline void AddLabel(LayoutKind kind, std::string_view name, Labels& labels) {
  switch (kind) {
    case LayoutKind::kOneLine:
      return labels.Add(OneLineLayout::Label(name));
    case LayoutKind::kMultiLine:
      return labels.Add(MultiLineLayout::Label(name));
    case LayoutKind::kJson:
      return labels.Add(JsonLayout::Label(name));
  }
}

/// Calls `use` with the layout that is meant. `depth` and `isAfterName` are for several lines: the tabs before each,
/// and whether the first container begins on the line that is there.
template <class Use>
bool WithLayout(LayoutKind kind, TextBuffer& text, std::uint32_t depth, bool isAfterName, Use use) {
  if (kind == LayoutKind::kMultiLine) {
    MultiLineLayout layout(text, depth, isAfterName);
    return use(layout);
  }
  if (kind == LayoutKind::kJson) {
    JsonLayout layout(text);
    return use(layout);
  }
  OneLineLayout layout(text);
  return use(layout);
}

}  // namespace qor::datatype

#endif
