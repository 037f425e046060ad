// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_TEXT_LAYOUT_H
#define QOR_DATATYPE_TEXT_LAYOUT_H

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "src/datatype/labels.h"
#include "src/datatype/number_text.h"

/// How the walk over a payload becomes text. A layout appends to one string and knows nothing of bytes; which functions
/// it has is told by the walk (payload_walker.h). `isValue` says that a part prints as a scalar.
namespace qor::datatype {

/// Makes texts of the network fit for where they are printed. Null leaves them as they are.
using TextFilter = std::string (*)(std::string_view);

/// What both layouts for people share: scalars, lists of scalars, summaries.
class TextLayout {
 public:
  TextLayout(TextBuffer& text, TextFilter filter) : text_(text), filter_(filter) {}

  TextBuffer& Buffer() { return text_; }
  std::size_t Size() const { return text_.Size(); }
  template <class T>
  void Number(T value) {
    AppendNumber(text_, value);
  }
  template <class T>
  [[gnu::always_inline]] static char* Write(char* to, T value) {
    return WriteNumber(to, value);
  }
  void BeginEnumeration(std::string_view typeName) {
    text_.Append('"');
    Foreign(typeName);
    text_.Append("::");
  }
  void EndEnumeration() { text_.Append('"'); }
  void Text(std::string_view text) {
    if (filter_ != nullptr && text.ends_with('\0')) {
      text.remove_suffix(1);  // the terminator of most texts, which the filter needs not see
    }
    text_.Append('"');
    Foreign(text);
    text_.Append('"');
  }
  void Error(std::string_view domain, std::string_view code) {
    text_.Append("{ \"errorDomain\": \"");
    Foreign(domain);
    text_.Append("\", \"errorCode\": \"");
    Foreign(code);
    text_.Append("\" }");
  }
  void BeginRawBuffers() {}
  void RawBuffer(std::span<const std::uint8_t> bytes, bool isFirst);
  void EndRawBuffers() {}
  void ListSummary(std::string_view kind, std::string_view elementType, std::uint64_t count) {
    text_.Append("\"<");
    text_.Append(kind);
    text_.Append(" type: ");
    Foreign(elementType);
    text_.Append(", length: ");
    AppendNumber(text_, count);
    text_.Append(">\"");
  }
  void RawBufferSummary(std::uint64_t size) {
    text_.Append("\"<mbuf type: vector<uint8>, length: ");
    AppendNumber(text_, size);
    text_.Append(">\"");
  }

 protected:
  /// A text that is not the layout's.
  void Foreign(std::string_view text) {
    const auto isPlain = [](char c) { return c >= ' ' && c < '\x7F'; };
    if (filter_ == nullptr || std::ranges::all_of(text, isPlain)) {
      text_.Append(text);
    } else {
      text_.Append(std::string_view(filter_(text)));
    }
  }

  TextBuffer& text_;

 private:
  const TextFilter filter_;
};

/// Everything on one line.
class OneLineLayout : public TextLayout {
 public:
  using TextLayout::TextLayout;

  static std::string Label(std::string_view name) { return ", \"" + std::string(name) + "\" : "; }

  void BeginPayload(std::string_view name) {
    text_.Append("{ \"");
    Foreign(name);
    text_.Append("\" : ");
  }
  void EndPayload() { text_.Append(" }"); }
  void BeginStructure() { text_.Append("{ "); }
  void BeginMember(const Labels& labels, std::size_t index, bool isFirst) {
    labels.Append(index, isFirst ? 2 : 0, text_);
  }
  void EndMember() {}
  void EndStructure() { text_.Append(" }"); }
  void BeginList(bool /*isValue*/) { text_.Append("[ "); }
  void BeginElement(bool isFirst, bool /*isValue*/) {
    if (!isFirst) {
      text_.Append(", ");
    }
  }
  void EndElement(bool /*isValue*/) {}
  void EndList(bool /*isValue*/) { text_.Append(" ]"); }
  void BeginMap() { text_.Append("[ "); }
  void BeginKey(bool isFirst, bool /*isValue*/) {
    text_.Append(std::string_view(isFirst ? "{ \"key\" : " : ", { \"key\" : "));
  }
  void BeginMapped(bool /*isKeyValue*/, bool /*isValue*/) { text_.Append(", \"value\" : "); }
  void EndEntry(bool /*isValue*/) { text_.Append(" }"); }
  void EndMap() { text_.Append(" ]"); }
  void BeginVariant(std::uint32_t index, bool /*isValue*/) {
    text_.Append("{ \"index\" : ");
    AppendNumber(text_, index);
    text_.Append(", \"value\" : ");
  }
  void EndVariant(bool /*isValue*/) { text_.Append(" }"); }
};

/// One line for each member and for each element that is no scalar, indented by tabs.
class MultiLineLayout : public TextLayout {
 public:
  /// `isAfterName`: the first container begins on the line that is there.
  MultiLineLayout(TextBuffer& text, TextFilter filter, std::uint32_t depth, bool isAfterName)
      : TextLayout(text, filter), depth_(depth), isAfterName_(isAfterName) {}

  static std::string Label(std::string_view name) { return std::string(name) + ": "; }

  void BeginPayload(std::string_view /*name*/) {}
  void EndPayload() { text_.Append("\n---"); }
  void BeginStructure() { BeginBlock(); }
  void BeginMember(const Labels& labels, std::size_t index, bool isFirst) {
    if (!isFirst) {
      text_.Append("\n");
    }
    Tabs();
    labels.Append(index, 0, text_);
    ++depth_;
  }
  void EndMember() { --depth_; }
  void EndStructure() {}
  void BeginList(bool isValue) {
    if (isValue) {
      text_.Append("[ ");
    } else {
      BeginBlock();
    }
  }
  void BeginElement(bool isFirst, bool isValue) {
    if (isValue) {
      if (!isFirst) {
        text_.Append(", ");
      }
      return;
    }
    if (!isFirst) {
      text_.Append("\n");
    }
    Tabs();
    text_.Append('-');
    ++depth_;
  }
  void EndElement(bool isValue) { depth_ -= isValue ? 0 : 1; }
  void EndList(bool isValue) {
    if (isValue) {
      text_.Append(" ]");
    }
  }
  void BeginMap() { BeginBlock(); }
  void BeginKey(bool isFirst, bool isValue) {
    if (!isFirst) {
      text_.Append("\n");
    }
    Tabs();
    text_.Append("-\n");
    ++depth_;
    Tabs();
    text_.Append("\"key\": ");
    depth_ += isValue ? 0 : 1;
  }
  void BeginMapped(bool isKeyValue, bool isValue) {
    depth_ -= isKeyValue ? 0 : 1;
    text_.Append('\n');
    Tabs();
    text_.Append("\"value\": ");
    depth_ += isValue ? 0 : 1;
  }
  void EndEntry(bool isValue) { depth_ -= isValue ? 1 : 2; }
  void EndMap() {}
  void BeginVariant(std::uint32_t index, bool isValue) {
    text_.Append('\n');
    Tabs();
    text_.Append("\"index\" : ");
    AppendNumber(text_, index);
    text_.Append('\n');
    Tabs();
    text_.Append("\"value\" : ");
    if (!isValue) {
      text_.Append('\n');
      ++depth_;
      isAfterName_ = true;
    }
  }
  void EndVariant(bool isValue) {
    depth_ -= isValue ? 0 : 1;
    isAfterName_ = false;
  }

 private:
  void Tabs() { text_.Append(depth_, '\t'); }
  void BeginBlock() {
    if (!isAfterName_) {
      text_.Append("\n");
    }
    isAfterName_ = false;
  }

  std::uint32_t depth_;
  bool isAfterName_;
};

}  // namespace qor::datatype

#endif
