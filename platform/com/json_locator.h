// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_JSON_LOCATOR_H
#define QOR_COM_JSON_LOCATOR_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace qor::com {

/// A fault of a JSON text.
struct JsonProblem {
  std::size_t line = 0;  ///< from 1
  std::string pointer;   ///< JSON pointer (RFC 6901) of the value that it is about
  std::string message;
};

/// A JSON text that nobody vouches for, and where in it each value stands. One thread.
class JsonLocator {
 public:
  static constexpr std::size_t kMaxDepth = 64;
  static constexpr std::size_t kMaxKeys = 10'000;   ///< of one object
  static constexpr std::size_t kMaxProblems = 200;  ///< that are told

  explicit JsonLocator(std::string text) : text_(std::move(text)) {}

  /// Parses the text into Root(). False when it is no JSON, nested deeper than kMaxDepth or has an object
  /// with more than kMaxKeys keys. A key that stands twice in
  /// one object is a problem too, but the text is parsed; the last one counts.
  [[nodiscard]] bool Parse();

  const nlohmann::ordered_json& Root() const { return root_; }
  const std::vector<JsonProblem>& Problems() const { return problems_; }

  /// Sets the number of each line at which a value of `lines` (by JSON pointer) begins; 0 where there is no such value.
  /// Reads the text again, once for all.
  void Locate(std::map<std::string, std::size_t>& lines) const;

 private:
  std::string text_;
  nlohmann::ordered_json root_;
  std::vector<JsonProblem> problems_;
};

/// `pointer` with one more step, escaped as RFC 6901 says.
std::string PointerTo(std::string_view pointer, std::string_view key);
std::string PointerTo(std::string_view pointer, std::size_t index);

}  // namespace qor::com

#endif
