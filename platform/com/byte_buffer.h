// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_BYTE_BUFFER_H
#define QOR_COM_BYTE_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace qor::com {

/// Bytes that can be resized. Keeps its memory when it shrinks; new bytes have any value. Used by one thread.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  ByteBuffer(ByteBuffer&& other) noexcept
      : data_(std::move(other.data_)),
        size_(std::exchange(other.size_, 0)),
        capacity_(std::exchange(other.capacity_, 0)) {}
  ByteBuffer& operator=(ByteBuffer&& other) noexcept {
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    return *this;
  }

  void SetSize(std::size_t size) {
    if (size > capacity_) {
      Grow(size);
    }
    size_ = size;
  }
  std::size_t GetSize() const { return size_; }
  std::size_t Capacity() const { return capacity_; }
  std::uint8_t* GetData() { return data_.get(); }
  const std::uint8_t* GetData() const { return data_.get(); }
  std::span<const std::uint8_t> Bytes() const { return {data_.get(), size_}; }

  /// Makes it longer; where the new bytes begin.
  std::uint8_t* Extend(std::size_t bytes) {
    const std::size_t before = size_;
    SetSize(size_ + bytes);
    return data_.get() + before;
  }
  void Append(std::span<const std::uint8_t> bytes) {
    if (!bytes.empty()) {
      std::memcpy(Extend(bytes.size()), bytes.data(), bytes.size());
    }
  }
  void Append(std::string_view text) {
    Append(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  }

 private:
  void Grow(std::size_t size) {
    const std::size_t capacity = std::max(size, 2 * capacity_);
    std::unique_ptr<std::uint8_t[]> data(new std::uint8_t[capacity]);  // make_unique would fill it
    if (size_ != 0) {
      std::memcpy(data.get(), data_.get(), size_);
    }
    data_ = std::move(data);
    capacity_ = capacity;
  }

  std::unique_ptr<std::uint8_t[]> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace qor::com

#endif
