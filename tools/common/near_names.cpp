// SPDX-License-Identifier: Apache-2.0
#include "tools/common/near_names.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

constexpr std::size_t kMaxNames = 3;
constexpr std::size_t kMaxLookedAt = 10'000;
constexpr std::size_t kMaxLength = 256;  ///< longer names are not compared letter by letter

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Edits from one text to the other: a letter put in, left out or replaced, or two neighbours swapped. Letters of
/// either case are alike.
std::size_t EditDistance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last(right.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::vector<std::size_t> row{i + 1};
    for (std::size_t j = 0; j < right.size(); ++j) {
      const bool isSame = Lower(left[i]) == Lower(right[j]);
      std::size_t edits = std::min({last[j] + (isSame ? 0 : 1), row[j] + 1, last[j + 1] + 1});
      if (i > 0 && j > 0 && Lower(left[i]) == Lower(right[j - 1]) && Lower(left[i - 1]) == Lower(right[j])) {
        edits = std::min(edits, beforeLast[j - 1] + 1);
      }
      row.push_back(edits);
    }
    beforeLast = std::exchange(last, std::move(row));
  }
  return last.back();
}

/// How far a name is from what was typed; nothing near: more than the limit.
std::size_t Distance(std::string_view typed, std::string_view name, std::size_t limit) {
  constexpr std::size_t kShortestPart = 3;
  if (typed.size() >= kShortestPart && name.find(typed) != std::string_view::npos) {
    return limit;
  }
  const std::size_t lengths = std::max(typed.size(), name.size()) - std::min(typed.size(), name.size());
  return lengths > limit || name.size() > kMaxLength ? limit + 1 : EditDistance(typed, name);
}

}  // namespace

std::vector<std::string> NearNames(std::string_view typed, const std::vector<std::string>& names) {
  if (typed.empty() || typed.size() > kMaxLength) {
    return {};
  }
  const std::size_t limit = std::max<std::size_t>(2, typed.size() / 4);
  std::set<std::pair<std::size_t, std::string>> near;  // by distance, then by name
  for (std::size_t i = 0; i < std::min(names.size(), kMaxLookedAt); ++i) {
    const std::size_t distance = Distance(typed, names[i], limit);
    if (distance <= limit) {
      near.emplace(distance, names[i]);
    }
  }
  std::vector<std::string> result;
  for (auto entry = near.begin(); entry != near.end() && result.size() < kMaxNames; ++entry) {
    result.push_back(entry->second);
  }
  return result;
}

std::string DidYouMean(std::string_view typed, const std::vector<std::string>& names) {
  const auto near = NearNames(typed, names);
  std::string text;
  for (std::size_t i = 0; i < near.size(); ++i) {
    text += i == 0 ? " Did you mean " : i + 1 == near.size() ? " or " : ", ";
    text += "'" + Printable(near[i]) + "'";
  }
  return text.empty() ? text : text + "?";
}

}  // namespace qor::tools
