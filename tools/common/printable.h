// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_PRINTABLE_H
#define QOR_TOOLS_COMMON_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace qor::tools {

/// Text from the network, fit for a terminal and for one line: control characters (also those above U+007F), invisible
/// characters that turn the direction of text, and bytes that are no UTF-8 become "\xNN" for each of their bytes.
std::string Printable(std::string_view text);

/// Columns that a printable text takes on a terminal: two for a wide character, none for one that combines with the
/// character before it.
std::size_t DisplayWidth(std::string_view printable);
/// As much of a printable text as fits in so many columns.
std::string_view CutToWidth(std::string_view printable, std::size_t columns);

}  // namespace qor::tools

#endif
