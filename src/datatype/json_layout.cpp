// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/json_layout.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

namespace qor::datatype {
namespace {

bool IsPlain(char character) { return character >= ' ' && character < '\x7F' && character != '"' && character != '\\'; }

std::string Escaped(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', /*ensure_ascii=*/true, nlohmann::json::error_handler_t::replace);
}

/// The shortest digits that lead back to the same number.
template <class T>
char* WriteShortest(char* to, T value) {
  if (!std::isfinite(value)) {
    const std::string_view name = std::isnan(value) ? "\"nan\"" : value < 0 ? "\"-inf\"" : "\"inf\"";
    return std::ranges::copy(name, to).out;
  }
  return std::to_chars(to, to + kLongestNumber, value).ptr;
}

}  // namespace

std::string JsonLayout::Label(std::string_view name) { return "," + Escaped(name) + ":"; }

char* JsonLayout::WriteReal(char* to, float value) { return WriteShortest(to, value); }
char* JsonLayout::WriteReal(char* to, double value) { return WriteShortest(to, value); }

void JsonLayout::Text(std::string_view text) {
  text = text.ends_with('\0') ? text.substr(0, text.size() - 1) : text;  // a terminator that was counted
  if (std::ranges::all_of(text, IsPlain)) {
    text_.Append('"');
    text_.Append(text);
    text_.Append('"');
  } else {
    text_.Append(Escaped(text));
  }
}

void JsonLayout::BeginVariant(std::uint32_t index, bool /*isValue*/) {
  text_.Append("{\"index\":");
  AppendNumber(text_, index);
  text_.Append(",\"value\":");
}

void JsonLayout::Error(std::string_view domain, std::string_view code) {
  text_.Append("{\"errorDomain\":");
  Text(domain);
  text_.Append(",\"errorCode\":");
  Text(code);
  text_.Append('}');
}

void JsonLayout::RawBuffer(std::span<const std::uint8_t> bytes, bool isFirst) {
  text_.Append(std::string_view(isFirst ? "[" : ",["));
  std::string_view separator;
  for (const std::uint8_t byte : bytes) {
    text_.Append(separator);
    AppendNumber(text_, byte);
    separator = ",";
  }
  text_.Append(']');
}

void JsonLayout::ListSummary(std::string_view kind, std::string_view elementType, std::uint64_t count) {
  Text("<" + std::string(kind) + " type: " + std::string(elementType) + ", length: " + std::to_string(count) + ">");
}

void JsonLayout::RawBufferSummary(std::uint64_t size) {
  Text("<mbuf type: vector<uint8>, length: " + std::to_string(size) + ">");
}

}  // namespace qor::datatype
