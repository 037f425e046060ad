// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_CODEC_H
#define QOR_COMMON_RECORDS_CODEC_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "src/common/records/visit.h"

/// Records in SOME/IP serialization (AUTOSAR SOME/IP protocol, "serialization of data structures"): big-endian, no
/// padding; structures without a length field; strings, lists and maps with a 32-bit length in bytes; strings in UTF-8
/// with byte-order mark and terminating zero, both counted; booleans in one byte. Any thread; a writer or a reader is
/// used by one at a time.
namespace qor::maintaind {

/// Appends records to a byte vector.
class RecordWriter {
 public:
  explicit RecordWriter(std::vector<std::uint8_t>& out) : out_(out) {}

  template <class T>
  void operator()(const char* /*name*/, const T& value) {
    Write(value);
  }

  template <class T>
  void Write(const T& value) {
    if constexpr (Record<T>) {
      T::Visit(*this, value);
    } else if constexpr (std::is_enum_v<T>) {
      Write(static_cast<std::underlying_type_t<T>>(value));
    } else {
      static_assert(std::unsigned_integral<T>, "a record holds records, enumerations, numbers, texts, lists and maps");
      WriteUnsigned(value, sizeof(T));
    }
  }
  void Write(const bool& value) { WriteUnsigned(value ? 1 : 0, 1); }
  void Write(const std::string& text);
  void Write(const std::vector<std::uint8_t>& bytes);

  template <class T>
  void Write(const std::vector<T>& list) {
    const std::size_t start = BeginLength();
    for (const T& element : list) {
      Write(element);
    }
    EndLength(start);
  }
  template <class K, class T>
  void Write(const std::map<K, T>& map) {
    const std::size_t start = BeginLength();
    for (const auto& [key, value] : map) {
      Write(key);
      Write(value);
    }
    EndLength(start);
  }

 private:
  void WriteUnsigned(std::uint64_t value, std::size_t width);
  std::size_t BeginLength();
  void EndLength(std::size_t start);

  std::vector<std::uint8_t>& out_;
};

/// Reads records from bytes that nobody vouches for. After the first fault every read is without effect and Ok() is
/// false; what is allocated never exceeds a constant times the size of the input.
class RecordReader {
 public:
  /// Records within records; more of them are a fault.
  static constexpr std::uint32_t kMaxDepth = 64;

  explicit RecordReader(std::span<const std::uint8_t> bytes) : rest_(bytes), start_(bytes.data()) {}

  bool Ok() const { return isOk_; }
  /// True when everything was read and all of it was used.
  bool IsComplete() const { return isOk_ && rest_.empty(); }
  /// Where reading stands, in bytes from the start; after a fault, where it was.
  std::size_t Position() const { return static_cast<std::size_t>(rest_.data() - start_); }

  template <class T>
  void operator()(const char* /*name*/, T& value) {
    Read(value);
  }

  template <class T>
  void Read(T& value) {
    if constexpr (Record<T>) {
      isOk_ = isOk_ && depth_ < kMaxDepth;
      if (isOk_) {
        ++depth_;
        T::Visit(*this, value);
        --depth_;
      }
    } else if constexpr (std::is_enum_v<T>) {
      value = static_cast<T>(ReadUnsigned(sizeof(T)));
    } else {
      static_assert(std::unsigned_integral<T>, "a record holds records, enumerations, numbers, texts, lists and maps");
      value = static_cast<T>(ReadUnsigned(sizeof(T)));
    }
  }
  void Read(bool& value);
  void Read(std::string& text);
  void Read(std::vector<std::uint8_t>& bytes);

  template <class T>
  void Read(std::vector<T>& list) {
    list.clear();
    const std::span<const std::uint8_t> after = BeginLength();
    while (isOk_ && !rest_.empty()) {
      Read(list.emplace_back());
    }
    EndLength(after);
  }
  template <class K, class T>
  void Read(std::map<K, T>& map) {
    map.clear();
    const std::span<const std::uint8_t> after = BeginLength();
    while (isOk_ && !rest_.empty()) {
      K key{};
      Read(key);
      Read(map[key]);
    }
    EndLength(after);
  }

 private:
  std::uint64_t ReadUnsigned(std::size_t width);
  std::span<const std::uint8_t> Take(std::size_t length);
  std::span<const std::uint8_t> BeginLength();
  void EndLength(std::span<const std::uint8_t> after);

  std::span<const std::uint8_t> rest_;
  const std::uint8_t* start_;
  std::uint32_t depth_ = 0;  ///< records that are open
  bool isOk_ = true;
};

template <class T>
std::vector<std::uint8_t> Encode(const T& value) {
  std::vector<std::uint8_t> bytes;
  RecordWriter(bytes).Write(value);
  return bytes;
}

/// False when the bytes are not exactly one value; what `value` holds then is unspecified.
template <class T>
[[nodiscard]] bool Decode(std::span<const std::uint8_t> bytes, T& value) {
  RecordReader reader(bytes);
  reader.Read(value);
  return reader.IsComplete();
}

}  // namespace qor::maintaind

#endif
