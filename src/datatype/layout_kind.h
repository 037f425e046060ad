// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_LAYOUT_KIND_H
#define QOR_DATATYPE_LAYOUT_KIND_H

#include <cstdint>
#include <string>
#include <string_view>

#include "src/datatype/json_layout.h"
#include "src/datatype/labels.h"
#include "src/datatype/text_buffer.h"
#include "src/datatype/text_layout.h"

namespace qor::datatype {

enum class LayoutKind : std::uint8_t { kOneLine, kMultiLine, kJson };

/// A layout, and what it does to texts of the network. JSON has its own escapes.
struct LayoutStyle {
  LayoutKind kind = LayoutKind::kOneLine;
  TextFilter filter = nullptr;
};

/// Adds the label of a member.
inline void AddLabel(const LayoutStyle& style, std::string_view name, Labels& labels) {
  if (style.kind == LayoutKind::kJson) {
    labels.Add(JsonLayout::Label(name));
    return;
  }
  const std::string shown = style.filter != nullptr ? style.filter(name) : std::string(name);
  labels.Add(style.kind == LayoutKind::kOneLine ? OneLineLayout::Label(shown) : MultiLineLayout::Label(shown));
}

/// Calls `use` with the layout that is meant. `depth` and `isAfterName` are for several lines: the tabs before each,
/// and whether the first container begins on the line that is there.
template <class Use>
bool WithLayout(const LayoutStyle& style, TextBuffer& text, std::uint32_t depth, bool isAfterName, Use use) {
  if (style.kind == LayoutKind::kMultiLine) {
    MultiLineLayout layout(text, style.filter, depth, isAfterName);
    return use(layout);
  }
  if (style.kind == LayoutKind::kJson) {
    JsonLayout layout(text);
    return use(layout);
  }
  OneLineLayout layout(text, style.filter);
  return use(layout);
}

}  // namespace qor::datatype

#endif
