// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_NAME_PATTERN_H
#define QOR_COMMON_NAME_PATTERN_H

#include <string>
#include <vector>

/// Patterns of names as a shell has them: * for any characters, "/" among them, ? for one, [..] for one of some. Any
/// thread.
namespace qor::common {

/// Whether the text has a character that makes it a pattern.
bool IsNamePattern(const std::string& text);

/// Whether the whole name matches; a pattern without such characters is a name.
bool MatchesName(const std::string& pattern, const std::string& name);
bool MatchesAny(const std::vector<std::string>& patterns, const std::string& name);

}  // namespace qor::common

#endif
