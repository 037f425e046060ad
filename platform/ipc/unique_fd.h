// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_UNIQUE_FD_H
#define QOR_IPC_UNIQUE_FD_H

#include <unistd.h>

#include <utility>

namespace qor::ipc {

/// Owns one file descriptor; -1 is none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      Close();
      fd_ = other.Release();
    }
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { Close(); }

  int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }

 private:
  void Close() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
  }

  int fd_ = -1;
};

}  // namespace qor::ipc

#endif
