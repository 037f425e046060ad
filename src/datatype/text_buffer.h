// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_TEXT_BUFFER_H
#define QOR_DATATYPE_TEXT_BUFFER_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace qor::datatype {

/// A text that grows at its end, for writers that append few characters very often. Keeps its memory when cleared. Used
/// by one thread.
class TextBuffer {
 public:
  /// What can be copied blindly beyond the end of a text, into the buffer and by AppendPadded.
  static constexpr std::size_t kSlack = 32;

  TextBuffer() { Grow(0); }
  TextBuffer(TextBuffer&&) noexcept = default;

  void Clear() { at_ = memory_.get(); }
  std::size_t Size() const { return static_cast<std::size_t>(at_ - memory_.get()); }
  std::string_view Text() const { return {memory_.get(), static_cast<std::size_t>(at_ - memory_.get())}; }

  /// Room for `size` characters; Advance says how many of them were used.
  char* Room(std::size_t size) {
    if (static_cast<std::size_t>(end_ - at_) < size) {
      Grow(size);
    }
    return at_;
  }
  void Advance(const char* end) { at_ += end - at_; }

  void Append(char character) {
    *Room(1) = character;
    ++at_;
  }
  void Append(std::string_view text) {
    if (!text.empty()) {  // an empty one may have no address
      std::memcpy(Room(text.size()), text.data(), text.size());
      at_ += text.size();
    }
  }
  template <std::size_t kSize>
  [[gnu::always_inline]] void Append(const char (&literal)[kSize]) {
    std::memcpy(Room(kSize), literal, kSize - 1);
    at_ += kSize - 1;
  }
  void Append(std::size_t count, char character) {
    std::memset(Room(count), character, count);
    at_ += count;
  }
  /// `text` has kSlack readable bytes behind it.
  void AppendPadded(const char* text, std::size_t size) { at_ = CopyPadded(text, size, Room(size)); }
  /// The same into room that is there already; returns the end.
  static char* CopyPadded(const char* text, std::size_t size, char* to) {
    if (size <= kSlack) {
      std::memcpy(to, text, kSlack);
    } else {
      std::memcpy(to, text, size);
    }
    return to + size;
  }

 private:
  void Grow(std::size_t size);

  std::unique_ptr<char[]> memory_;
  char* at_ = nullptr;
  char* end_ = nullptr;  ///< kSlack before the end of the memory
};

}  // namespace qor::datatype

#endif
