// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_NEAR_NAMES_H
#define QOR_TOOLS_COMMON_NEAR_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qor::tools {

/// At most three of the names that the user may have meant, nearest first: few edits away, or with the typed text in
/// them. Looks at 10 000 names at most.
std::vector<std::string> NearNames(std::string_view typed, const std::vector<std::string>& names);

/// " Did you mean 'a', 'b' or 'c'?", fit for a terminal; empty when there is nothing near.
std::string DidYouMean(std::string_view typed, const std::vector<std::string>& names);

}  // namespace qor::tools

#endif
