// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORD_HEADER_H
#define QOR_QORBAG_RECORD_HEADER_H

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "src/qorbag/bag_format.h"
#include "src/qorbag/little_endian.h"
#include "src/qorbag/qor_buffer.h"

/// The header that every record of a bag begins with: named fields with binary values.
namespace qor::qorbag {

/// Appends one record header to a buffer, which must outlive it; the header is whole after End.
class HeaderWriter {
 public:
  HeaderWriter(QorBuffer& out, OpCode op) : out_(out), begin_(out.GetSize()) {
    AppendNumber(out_, std::uint32_t{0});
    Field("op", static_cast<std::uint8_t>(op));
  }

  template <std::unsigned_integral T>
  void Field(std::string_view name, T value) {
    Begin(name, sizeof(T));
    AppendNumber(out_, value);
  }
  void Field(std::string_view name, std::string_view value) {
    Begin(name, value.size());
    out_.Append(value);
  }
  void Field(std::string_view name, std::span<const std::uint8_t> value) {
    Begin(name, value.size());
    out_.Append(value);
  }
  void End() {
    const std::size_t size = out_.GetSize() - begin_ - sizeof(std::uint32_t);
    Store(out_.GetData() + begin_, static_cast<std::uint32_t>(size));
  }

 private:
  void Begin(std::string_view name, std::size_t valueSize) {
    AppendNumber(out_, static_cast<std::uint32_t>(name.size() + 1 + valueSize));
    out_.Append(name);
    out_.Append("=");
  }

  QorBuffer& out_;
  const std::size_t begin_;
};

/// The fields of one record header; of two with one name the last counts. They refer to the bytes that they were read
/// from.
class HeaderFields {
 public:
  /// `header` is what follows the length of the header. False, with a line in the log, when it cannot be split.
  [[nodiscard]] bool Parse(std::span<const std::uint8_t> header);

  bool OptionMatch(OpCode op) const;

  /// The first bytes of the value, as many as the type has. False, with a line in the log, when the field is not there
  /// or shorter.
  template <std::unsigned_integral T>
  [[nodiscard]] bool ReadField(std::string_view name, T& value) const {
    std::span<const std::uint8_t> bytes;
    if (!Find(name, sizeof(T), bytes)) {
      return false;
    }
    value = LoadLittle<T>(bytes.data());
    return true;
  }
  [[nodiscard]] bool ReadField(std::string_view name, std::string& value) const;
  [[nodiscard]] bool ReadField(std::string_view name, std::span<const std::uint8_t>& value) const {
    return Find(name, 0, value);
  }

 private:
  bool Find(std::string_view name, std::size_t least, std::span<const std::uint8_t>& value) const;

  struct NamedValue {
    std::string_view name;
    std::span<const std::uint8_t> value;
  };
  std::vector<NamedValue> fields_;
};

}  // namespace qor::qorbag

#endif
