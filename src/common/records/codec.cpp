// SPDX-License-Identifier: Apache-2.0
#include "src/common/records/codec.h"

#include <algorithm>
#include <array>

namespace qor::maintaind {
namespace {

constexpr std::array<std::uint8_t, 3> kByteOrderMark{0xEF, 0xBB, 0xBF};
constexpr std::size_t kLengthWidth = 4;

}  // namespace

void RecordWriter::Write(const std::string& text) {
  WriteUnsigned(kByteOrderMark.size() + text.size() + 1, kLengthWidth);
  out_.insert(out_.end(), kByteOrderMark.begin(), kByteOrderMark.end());
  out_.insert(out_.end(), text.begin(), text.end());
  out_.push_back(0);
}

void RecordWriter::Write(const std::vector<std::uint8_t>& bytes) {
  WriteUnsigned(bytes.size(), kLengthWidth);
  out_.insert(out_.end(), bytes.begin(), bytes.end());
}

void RecordWriter::WriteUnsigned(std::uint64_t value, std::size_t width) {
  for (std::size_t shift = 8 * width; shift > 0; shift -= 8) {
    out_.push_back(static_cast<std::uint8_t>(value >> (shift - 8)));
  }
}

std::size_t RecordWriter::BeginLength() {
  out_.resize(out_.size() + kLengthWidth);
  return out_.size();
}

void RecordWriter::EndLength(std::size_t start) {
  const std::size_t length = out_.size() - start;
  for (std::size_t i = 0; i < kLengthWidth; ++i) {
    out_[start - 1 - i] = static_cast<std::uint8_t>(length >> (8 * i));
  }
}

void RecordReader::Read(bool& value) {
  const std::uint64_t number = ReadUnsigned(1);
  isOk_ = isOk_ && number <= 1;
  value = number == 1;
}

void RecordReader::Read(std::string& text) {
  const std::span<const std::uint8_t> after = BeginLength();
  const bool isFramed = rest_.size() > kByteOrderMark.size() && rest_.back() == 0 &&
                        std::equal(kByteOrderMark.begin(), kByteOrderMark.end(), rest_.begin());
  if (!isOk_ || !isFramed) {
    isOk_ = false;
    text.clear();
    return;
  }
  const auto body = rest_.subspan(kByteOrderMark.size(), rest_.size() - kByteOrderMark.size() - 1);
  text.assign(body.begin(), body.end());
  rest_ = after;
}

void RecordReader::Read(std::vector<std::uint8_t>& bytes) {
  const auto body = Take(static_cast<std::size_t>(ReadUnsigned(kLengthWidth)));
  bytes.assign(body.begin(), body.end());
}

std::uint64_t RecordReader::ReadUnsigned(std::size_t width) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : Take(width)) {
    value = value << 8U | byte;
  }
  return value;
}

std::span<const std::uint8_t> RecordReader::Take(std::size_t length) {
  if (!isOk_ || length > rest_.size()) {
    isOk_ = false;
    return {};
  }
  const auto taken = rest_.first(length);
  rest_ = rest_.subspan(length);
  return taken;
}

/// Narrows what can be read to the body of a length-prefixed value and returns what follows it.
std::span<const std::uint8_t> RecordReader::BeginLength() {
  const auto body = Take(static_cast<std::size_t>(ReadUnsigned(kLengthWidth)));
  const auto after = rest_;
  if (isOk_) {
    rest_ = body;
  }
  return after;
}

void RecordReader::EndLength(std::span<const std::uint8_t> after) {
  if (isOk_) {
    rest_ = after;
  }
}

}  // namespace qor::maintaind
