// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_FUZZ_MEMORY_FILE_H
#define QOR_TESTS_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <string>

#include "tests/fuzz/require.h"

namespace qor {

/// A file that is in memory and has a name.
class MemoryFile {
 public:
  MemoryFile() : fd_(::memfd_create("bag", MFD_CLOEXEC)) { Require(fd_ >= 0); }
  ~MemoryFile() { ::close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  void Set(std::span<const std::uint8_t> content) const {
    Require(::ftruncate(fd_, 0) == 0);
    Require(::pwrite(fd_, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));
  }
  std::string Name() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  const int fd_;
};

}  // namespace qor

#endif
