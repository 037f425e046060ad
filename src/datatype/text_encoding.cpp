// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/text_encoding.h"

#include <cstdint>

namespace qor::datatype {
namespace {

using maintaind::StringEncoding;

constexpr std::uint32_t kReplacement = 0xFFFD;

std::uint32_t UnitAt(std::string_view bytes, std::size_t at, StringEncoding encoding) {
  const auto first = static_cast<std::uint8_t>(bytes[at]);
  const auto second = static_cast<std::uint8_t>(bytes[at + 1]);
  return encoding == StringEncoding::kUtf16Be ? static_cast<std::uint32_t>(first << 8U | second)
                                              : static_cast<std::uint32_t>(second << 8U | first);
}

void AppendUtf8(std::string& text, std::uint32_t point) {
  const auto add = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  const auto tail = [point](unsigned shift) { return 0x80U | (point >> shift & 0x3FU); };
  if (point < 0x80) {
    add(point);
  } else if (point < 0x800) {
    add(0xC0U | point >> 6U);
    add(tail(0));
  } else if (point < 0x10000) {
    add(0xE0U | point >> 12U);
    add(tail(6));
    add(tail(0));
  } else {
    add(0xF0U | point >> 18U);
    add(tail(12));
    add(tail(6));
    add(tail(0));
  }
}

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

std::string_view ByteOrderMark(StringEncoding encoding) {
  switch (encoding) {
    case StringEncoding::kUtf16Le:
      return "\xFF\xFE";
    case StringEncoding::kUtf16Be:
      return "\xFE\xFF";
    case StringEncoding::kUtf8:
      break;
  }
  return "\xEF\xBB\xBF";
}

std::size_t UnitSize(StringEncoding encoding) { return encoding == StringEncoding::kUtf8 ? 1 : 2; }

std::size_t FindTerminator(std::string_view bytes, StringEncoding encoding) {
  if (encoding == StringEncoding::kUtf8) {
    return bytes.find('\0');
  }
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    if (bytes[at] == '\0' && bytes[at + 1] == '\0') {
      return at;
    }
  }
  return std::string_view::npos;
}

std::string_view ToUtf8(std::string_view bytes, StringEncoding encoding, std::string& scratch) {
  if (encoding == StringEncoding::kUtf8) {
    return bytes;
  }
  scratch.clear();
  std::size_t at = 0;
  for (; at + 1 < bytes.size(); at += 2) {
    const std::uint32_t unit = UnitAt(bytes, at, encoding);
    const std::uint32_t next = at + 3 < bytes.size() ? UnitAt(bytes, at + 2, encoding) : 0;
    if (IsHighSurrogate(unit) && IsLowSurrogate(next)) {
      AppendUtf8(scratch, 0x10000 + ((unit - 0xD800) << 10U) + (next - 0xDC00));
      at += 2;
    } else {
      AppendUtf8(scratch, IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  if (at < bytes.size()) {
    AppendUtf8(scratch, kReplacement);
  }
  return scratch;
}

}  // namespace qor::datatype
