// SPDX-License-Identifier: Apache-2.0
#include "tools/common/printable.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <cstdint>

namespace qor::tools {
namespace {

struct Character {
  char32_t code = 0;
  std::size_t size = 0;  ///< bytes; 0: no UTF-8
};

std::uint8_t ByteAt(std::string_view text, std::size_t index) {
  return index < text.size() ? static_cast<std::uint8_t>(text[index]) : 0;
}

/// Bytes of the sequence that a lead byte begins, and the smallest code that needs so many.
struct LeadByte {
  std::size_t size;
  char32_t smallest;
  std::uint8_t payloadMask;
};

LeadByte DecodeLead(std::uint8_t lead) {
  if (lead < 0x80) {
    return {1, 0, 0x7F};
  }
  if ((lead & 0xE0) == 0xC0) {
    return {2, 0x80, 0x1F};
  }
  if ((lead & 0xF0) == 0xE0) {
    return {3, 0x800, 0x0F};
  }
  if ((lead & 0xF8) == 0xF0) {
    return {4, 0x10000, 0x07};
  }
  return {0, 0, 0};
}

Character NextCharacter(std::string_view text) {
  const LeadByte lead = DecodeLead(ByteAt(text, 0));
  if (lead.size == 0) {
    return {};
  }
  char32_t code = ByteAt(text, 0) & lead.payloadMask;
  for (std::size_t i = 1; i < lead.size; ++i) {
    const std::uint8_t next = ByteAt(text, i);
    if ((next & 0xC0) != 0x80) {
      return {};
    }
    code = (code << 6) | (next & 0x3F);
  }
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  return code < lead.smallest || code > 0x10FFFF || isSurrogate ? Character{} : Character{code, lead.size};
}

bool IsHarmless(char32_t code) {
  const bool isControl = code < 0x20 || (code >= 0x7F && code <= 0x9F);
  const bool isDirection = (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069) || code == 0xFEFF;
  return !isControl && !isDirection;
}

/// The C library knows the widths of characters beyond ASCII only in a UTF-8 locale. This thread is in one while the
/// object lives, whatever the user's is.
class Utf8Locale {
 public:
  Utf8Locale() : previous_(uselocale(Get())) {}
  ~Utf8Locale() { uselocale(previous_); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  /// Null, which changes nothing, where the system has none.
  static locale_t Get() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  const locale_t previous_;
};

/// Call it with a Utf8Locale.
std::size_t ColumnsOf(const Character& character) {
  const int columns = character.size > 1 ? wcwidth(static_cast<wchar_t>(character.code)) : 1;
  return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

void AppendEscaped(std::string& out, std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0x0F];
  }
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character next = NextCharacter(text);
    const std::size_t size = std::max<std::size_t>(next.size, 1);
    if (next.size != 0 && IsHarmless(next.code)) {
      out += text.substr(0, size);
    } else {
      AppendEscaped(out, text.substr(0, size));
    }
    text.remove_prefix(size);
  }
  return out;
}

std::size_t DisplayWidth(std::string_view printable) {
  const Utf8Locale locale;
  std::size_t columns = 0;
  while (!printable.empty()) {
    const Character next = NextCharacter(printable);
    columns += ColumnsOf(next);
    printable.remove_prefix(std::max<std::size_t>(next.size, 1));
  }
  return columns;
}

std::string_view CutToWidth(std::string_view printable, std::size_t columns) {
  const Utf8Locale locale;
  std::size_t end = 0;
  while (end < printable.size()) {
    const Character next = NextCharacter(printable.substr(end));
    const std::size_t width = ColumnsOf(next);
    if (width > columns) {
      break;
    }
    columns -= width;
    end += std::max<std::size_t>(next.size, 1);
  }
  return printable.substr(0, end);
}

}  // namespace qor::tools
