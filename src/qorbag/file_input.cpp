// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/file_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qor::qorbag {

FileInput::FileInput(const std::string& name) {
  fd_ = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a pipe without a writer must not block
  struct stat info {};
  if (fd_ >= 0 && (::fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode))) {
    ::close(fd_);
    fd_ = -1;
  }
  size_ = fd_ >= 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

FileInput::~FileInput() {
  if (fd_ >= 0) {
    ::close(fd_);
  }
}

bool FileInput::Read(std::uint64_t position, std::span<std::uint8_t> bytes) {
  if (bytes.size() > size_ || position > size_ - bytes.size()) {
    return false;
  }
  if (bytes.empty()) {
    return true;
  }
  const bool isInside = position >= windowPos_ && position + bytes.size() <= windowPos_ + window_.GetSize();
  if (!isInside) {
    if (bytes.size() >= kLargest) {
      return ReadAll(position, bytes);
    }
    if (!Fill(position, bytes.size())) {
      return false;
    }
  }
  std::memcpy(bytes.data(), window_.GetData() + (position - windowPos_), bytes.size());
  return true;
}

bool FileInput::Fill(std::uint64_t position, std::size_t size) {
  const std::uint64_t end = windowPos_ + window_.GetSize();
  const bool isNext = position >= windowPos_ && position <= end + kSmallest;
  nextSize_ = isNext ? std::min(nextSize_ * 2, kLargest) : kSmallest;
  const std::uint64_t wanted = std::min<std::uint64_t>(std::max(size, nextSize_), size_ - position);
  window_.SetSize(wanted);
  windowPos_ = position;
  if (ReadAll(position, {window_.GetData(), window_.GetSize()})) {
    return true;
  }
  window_.SetSize(0);
  return false;
}

bool FileInput::ReadAll(std::uint64_t position, std::span<std::uint8_t> bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::pread(fd_, bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (count == 0 || (count < 0 && errno != EINTR)) {
      return false;
    }
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
      position += static_cast<std::uint64_t>(count);
    }
  }
  return true;
}

}  // namespace qor::qorbag
