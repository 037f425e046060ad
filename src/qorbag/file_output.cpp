// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/file_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace qor::qorbag {

FileOutput::FileOutput(const std::string& name) {
  constexpr mode_t kOwnerOnly = 0600;
  const int fd = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
  if (fd < 0) {
    return;
  }
  file_ = ::fdopen(fd, "w+b");
  if (file_ == nullptr) {
    ::close(fd);
    return;
  }
  std::setvbuf(file_, nullptr, _IONBF, 0);  // what comes are whole chunks
}

FileOutput::~FileOutput() {
  if (file_ != nullptr) {
    std::fclose(file_);
  }
}

bool FileOutput::Write(std::span<const std::uint8_t> bytes) {
  const std::size_t written = bytes.empty() ? 0 : std::fwrite(bytes.data(), 1, bytes.size(), file_);
  position_ += written;
  return written == bytes.size();
}

bool FileOutput::Seek(std::uint64_t position) {
  if (::fseeko(file_, static_cast<off_t>(position), SEEK_SET) != 0) {
    return false;
  }
  position_ = position;
  return true;
}

bool FileOutput::SeekEnd() {
  if (::fseeko(file_, 0, SEEK_END) != 0) {
    return false;
  }
  const off_t end = ::ftello(file_);
  position_ = static_cast<std::uint64_t>(end);
  return end >= 0;
}

bool FileOutput::Truncate(std::uint64_t position) {
  return ::ftruncate(::fileno(file_), static_cast<off_t>(position)) == 0;
}

bool FileOutput::Flush() { return std::fflush(file_) == 0; }

bool FileOutput::Sync() { return ::fsync(::fileno(file_)) == 0; }

bool FileOutput::Close() { return file_ == nullptr || std::fclose(std::exchange(file_, nullptr)) == 0; }

}  // namespace qor::qorbag
