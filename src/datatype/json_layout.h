// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_JSON_LAYOUT_H
#define QOR_DATATYPE_JSON_LAYOUT_H

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "src/datatype/labels.h"
#include "src/datatype/number_text.h"

namespace qor::datatype {

/// A JSON value: numbers as numbers (those that JSON has not as texts: "inf", "-inf", "nan"), flags as true and false,
/// enumerations as numbers, maps as lists of objects with "key" and "value", variants as objects with "index" and
/// "value", raw buffers as lists of bytes. Texts are escaped to ASCII; bytes that are no UTF-8 become U+FFFD.
class JsonLayout {
 public:
  explicit JsonLayout(TextBuffer& text) : text_(text) {}

  static std::string Label(std::string_view name);

  TextBuffer& Buffer() { return text_; }
  std::size_t Size() const { return text_.Size(); }
  void BeginPayload(std::string_view /*name*/) {}
  void EndPayload() {}
  template <class T>
  void Number(T value) {
    text_.Advance(Write(text_.Room(kLongestOf<T>), value));
  }
  template <class T>
  static char* Write(char* to, T value) {
    if constexpr (std::same_as<T, bool>) {
      return std::ranges::copy(std::string_view(value ? "true" : "false"), to).out;
    } else if constexpr (std::floating_point<T>) {
      return WriteReal(to, value);
    } else {
      return WriteNumber(to, value);
    }
  }
  void BeginEnumeration(std::string_view /*typeName*/) {}
  void EndEnumeration() {}
  void Text(std::string_view text);
  void BeginStructure() { text_.Append('{'); }
  void BeginMember(const Labels& labels, std::size_t index, bool isFirst) {
    labels.Append(index, isFirst ? 1 : 0, text_);
  }
  void EndMember() {}
  void EndStructure() { text_.Append('}'); }
  void BeginList(bool /*isValue*/) { text_.Append('['); }
  void BeginElement(bool isFirst, bool /*isValue*/) {
    if (!isFirst) {
      text_.Append(",");
    }
  }
  void EndElement(bool /*isValue*/) {}
  void EndList(bool /*isValue*/) { text_.Append(']'); }
  void BeginMap() { text_.Append('['); }
  void BeginKey(bool isFirst, bool /*isValue*/) {
    text_.Append(std::string_view(isFirst ? "{\"key\":" : ",{\"key\":"));
  }
  void BeginMapped(bool /*isKeyValue*/, bool /*isValue*/) { text_.Append(",\"value\":"); }
  void EndEntry(bool /*isValue*/) { text_.Append('}'); }
  void EndMap() { text_.Append(']'); }
  void BeginVariant(std::uint32_t index, bool /*isValue*/);
  void EndVariant(bool /*isValue*/) { text_.Append('}'); }
  void Error(std::string_view domain, std::string_view code);
  void BeginRawBuffers() { text_.Append('['); }
  void RawBuffer(std::span<const std::uint8_t> bytes, bool isFirst);
  void EndRawBuffers() { text_.Append(']'); }
  void ListSummary(std::string_view kind, std::string_view elementType, std::uint64_t count);
  void RawBufferSummary(std::uint64_t size);

 private:
  static char* WriteReal(char* to, float value);
  static char* WriteReal(char* to, double value);

  TextBuffer& text_;
};

}  // namespace qor::datatype

#endif
