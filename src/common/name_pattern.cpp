// SPDX-License-Identifier: Apache-2.0
#include "src/common/name_pattern.h"

#include <fnmatch.h>

#include <algorithm>

namespace qor::common {

bool IsNamePattern(const std::string& text) { return text.find_first_of("*?") != std::string::npos; }

bool MatchesName(const std::string& pattern, const std::string& name) {
  return pattern == name || (IsNamePattern(pattern) && ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0);
}

bool MatchesAny(const std::vector<std::string>& patterns, const std::string& name) {
  return std::ranges::any_of(patterns, [&name](const std::string& pattern) { return MatchesName(pattern, name); });
}

}  // namespace qor::common
