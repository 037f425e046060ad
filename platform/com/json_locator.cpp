// SPDX-License-Identifier: Apache-2.0
#include "platform/com/json_locator.h"

#include <iterator>
#include <set>

namespace qor::com {
namespace {

/// The line of the last token. The parser reads one character past a number, which may be a line break, so that blanks
/// do not count.
class LineCounter {
 public:
  void Consume(char character) {
    if (character == '\n') {
      ++line_;
    } else if (character != ' ' && character != '\t' && character != '\r') {
      tokenLine_ = line_;
    }
  }
  std::size_t TokenLine() const { return tokenLine_; }

 private:
  std::size_t line_ = 1;
  std::size_t tokenLine_ = 1;
};

/// Feeds the parser and lets a LineCounter see what it took.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, LineCounter& counter) : at_(at), counter_(&counter) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    counter_->Consume(*at_++);
    return *this;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  LineCounter* counter_;
};

/// The library's text without its own prefix: "column 7: syntax error ...". It quotes the last token, however long.
std::string SyntaxMessage(std::string_view what) {
  constexpr std::string_view kBefore = ", column ";
  constexpr std::size_t kMaxLength = 300;
  const std::size_t at = what.find(kBefore);
  return "no valid JSON: " + std::string(what.substr(at == std::string_view::npos ? 0 : at + 2, kMaxLength));
}

/// Walks through a text and knows at every value where it is.
class Walker : public nlohmann::json_sax<nlohmann::ordered_json> {
 public:
  Walker(const LineCounter& counter, std::map<std::string, std::size_t>* wanted, std::vector<JsonProblem>* problems)
      : counter_(counter), wanted_(wanted), problems_(problems) {}

  bool null() override { return Scalar(); }
  bool boolean(bool /*value*/) override { return Scalar(); }
  bool number_integer(number_integer_t /*value*/) override { return Scalar(); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return Scalar(); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return Scalar(); }
  bool string(string_t& /*value*/) override { return Scalar(); }
  bool binary(binary_t& /*value*/) override { return Scalar(); }
  bool start_object(std::size_t /*size*/) override { return Begin(false); }
  bool start_array(std::size_t /*size*/) override { return Begin(true); }
  bool end_object() override { return End(); }
  bool end_array() override { return End(); }
  bool key(string_t& key) override {
    Level& level = levels_.back();
    level.key = key;
    if (level.keys.size() >= JsonLocator::kMaxKeys) {
      Report("more than " + std::to_string(JsonLocator::kMaxKeys) + " keys in one object");
      return false;
    }
    if (!level.keys.insert(key).second) {
      Report("this key stands here twice; the last one counts");
    }
    return true;
  }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    Report(SyntaxMessage(error.what()));
    return false;
  }

 private:
  struct Level {
    bool isArray = false;
    std::size_t index = 0;
    std::string key;
    std::set<std::string> keys;
  };

  bool Scalar() {
    Note();
    Advance();
    return true;
  }
  bool Begin(bool isArray) {
    Note();
    if (levels_.size() >= JsonLocator::kMaxDepth) {
      Report("nested deeper than " + std::to_string(JsonLocator::kMaxDepth) + " levels");
      return false;
    }
    levels_.push_back(Level{.isArray = isArray, .index = 0, .key = {}, .keys = {}});
    return true;
  }
  bool End() {
    levels_.pop_back();
    Advance();
    return true;
  }
  void Advance() {
    if (!levels_.empty() && levels_.back().isArray) {
      ++levels_.back().index;
    }
  }
  void Note() {
    if (wanted_ == nullptr) {
      return;
    }
    if (const auto entry = wanted_->find(Pointer()); entry != wanted_->end()) {
      entry->second = counter_.TokenLine();
    }
  }
  void Report(std::string message) {
    if (problems_ != nullptr && problems_->size() < JsonLocator::kMaxProblems) {
      problems_->push_back(JsonProblem{counter_.TokenLine(), Pointer(), std::move(message)});
    }
  }
  std::string Pointer() const {
    std::string pointer;
    for (const Level& level : levels_) {
      pointer = level.isArray ? PointerTo(pointer, level.index) : PointerTo(pointer, level.key);
    }
    return pointer;
  }

  const LineCounter& counter_;
  std::map<std::string, std::size_t>* wanted_;
  std::vector<JsonProblem>* problems_;
  std::vector<Level> levels_;
};

bool Walk(const std::string& text, std::map<std::string, std::size_t>* wanted, std::vector<JsonProblem>* problems) {
  LineCounter counter;
  Walker walker(counter, wanted, problems);
  const char* begin = text.data();
  return nlohmann::ordered_json::sax_parse(CountingIterator(begin, counter),
                                           CountingIterator(begin + text.size(), counter), &walker);
}

}  // namespace

bool JsonLocator::Parse() {
  problems_.clear();
  if (!Walk(text_, nullptr, &problems_)) {
    return false;
  }
  root_ = nlohmann::ordered_json::parse(text_, nullptr, false);
  return !root_.is_discarded();
}

void JsonLocator::Locate(std::map<std::string, std::size_t>& lines) const {
  for (auto& [pointer, line] : lines) {
    line = 0;
  }
  Walk(text_, &lines, nullptr);
}

std::string PointerTo(std::string_view pointer, std::string_view key) {
  std::string result(pointer);
  result += '/';
  for (const char character : key) {
    if (character == '~') {
      result += "~0";
    } else if (character == '/') {
      result += "~1";
    } else {
      result += character;
    }
  }
  return result;
}

std::string PointerTo(std::string_view pointer, std::size_t index) {
  return std::string(pointer) + '/' + std::to_string(index);
}

}  // namespace qor::com
