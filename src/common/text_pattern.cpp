// SPDX-License-Identifier: Apache-2.0
#include "src/common/text_pattern.h"

namespace qor::common {

TextPattern::TextPattern(const char* pattern) {
  try {
    regex_.assign(pattern, std::regex::ECMAScript | std::regex::optimize);
  } catch (const std::regex_error& fault) {
    compileError_ = fault.what();
  }
}

std::optional<bool> TextPattern::Match(const std::string& text, std::string& error) const {
  if (!compileError_.empty()) {
    error = compileError_;
    return std::nullopt;
  }
  try {
    return std::regex_match(text, regex_);
  } catch (const std::regex_error& fault) {
    error = fault.what();
    return std::nullopt;
  }
}

}  // namespace qor::common
