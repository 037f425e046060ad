// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_TEXT_PATTERN_H
#define QOR_COMMON_TEXT_PATTERN_H

#include <optional>
#include <regex>
#include <string>

namespace qor::common {

/// A regular expression that whole texts are held against, compiled once. Any thread, after construction.
class TextPattern {
 public:
  /// A pattern that does not compile makes every Match fail.
  explicit TextPattern(const char* pattern);

  /// Whether all of `text` matches. The matcher recurses once or more for each character, so a long text could exhaust
  /// the stack: that is for the caller to rule out. Nothing, and the reason in `error`, when that could not be found
  /// out.
  std::optional<bool> Match(const std::string& text, std::string& error) const;

 private:
  std::regex regex_;
  std::string compileError_;
};

}  // namespace qor::common

#endif
