// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/listening_socket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/ipc/unix_connect.h"

namespace qor::maintaind {
namespace {

using ara::core::ErrorCode;
using ara::core::Result;
using ipc::UniqueFd;

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kSocketMode = 0660;

ErrorCode Failure(const std::string& what, int error) {
  return {ListeningSocket::kFailed, what + ": " + std::generic_category().message(error)};
}

bool IsTrustedOwner(uid_t owner) { return owner == 0 || owner == ::geteuid(); }

/// Opens the directory of the socket, making it when it is missing.
Result<UniqueFd> OpenDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), kDirectoryMode) != 0 && errno != EEXIST) {
    return Failure("cannot create the runtime directory '" + path + "'", errno);
  }
  struct stat link {};
  if (::lstat(path.c_str(), &link) != 0) {
    return Failure("cannot use the runtime directory '" + path + "'", errno);
  }
  UniqueFd directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat opened {};
  if (!directory || ::fstat(directory.Get(), &opened) != 0) {
    return Failure("cannot use the runtime directory '" + path + "'", errno);
  }
  const bool isOpenToOthers = (opened.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (opened.st_mode & S_ISVTX) == 0;
  if (!IsTrustedOwner(link.st_uid) || !IsTrustedOwner(opened.st_uid) || isOpenToOthers) {
    return ErrorCode(ListeningSocket::kFailed, "the runtime directory '" + path +
                                                   "' must belong to this account or to root and must not be "
                                                   "writable for others");
  }
  return directory;
}

/// Holds the lock of a directory.
class DirectoryLock {
 public:
  /// Held by others for moments only; gives up after two seconds.
  explicit DirectoryLock(int directory) : directory_(directory) {
    constexpr int kAttempts = 200;
    for (int i = 0; i < kAttempts && !isHeld_; ++i) {
      isHeld_ = ::flock(directory, LOCK_EX | LOCK_NB) == 0;
      if (!isHeld_) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
  }
  ~DirectoryLock() {
    if (isHeld_) {
      ::flock(directory_, LOCK_UN);
    }
  }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

  bool IsHeld() const { return isHeld_; }

 private:
  const int directory_;
  bool isHeld_ = false;
};

/// Makes room for the socket: removes a leftover, and refuses to touch anything else.
Result<void> MakeRoom(int directory, const std::string& fileName, const std::string& path) {
  struct stat existing {};
  if (::fstatat(directory, fileName.c_str(), &existing, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Result<void>() : Failure("cannot look at '" + path + "'", errno);
  }
  if (!S_ISSOCK(existing.st_mode)) {
    return ErrorCode(ListeningSocket::kFailed, "'" + path + "' exists and is no socket; it is left as it is");
  }
  const ipc::ConnectAttempt attempt = ipc::ConnectUnix(path);
  if (attempt.IsConnected() || attempt.IsBusy()) {
    return ErrorCode(ListeningSocket::kInUse, "a living program listens on '" + path + "'");
  }
  if (!attempt.IsLeftover()) {
    return Failure("cannot tell whether '" + path + "' is in use", attempt.error);
  }
  if (::unlinkat(directory, fileName.c_str(), 0) != 0) {
    return Failure("cannot remove the leftover socket '" + path + "'", errno);
  }
  return {};
}

/// The mode comes last: find-service tries a socket again when its mode changes, and by then it listens.
Result<UniqueFd> Listen(int directory, const std::string& fileName, const std::string& path, int backlog) {
  const auto address = ipc::UnixAddress(path);
  if (!address) {
    return Failure("cannot listen on '" + path + "'", ENAMETOOLONG);
  }
  UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket || ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)) != 0) {
    return Failure("cannot listen on '" + path + "'", errno);
  }
  if (::listen(socket.Get(), backlog) != 0 || ::fchmodat(directory, fileName.c_str(), kSocketMode, 0) != 0) {
    const int error = errno;
    ::unlinkat(directory, fileName.c_str(), 0);
    return Failure("cannot listen on '" + path + "'", error);
  }
  return socket;
}

}  // namespace

Result<std::unique_ptr<ListeningSocket>> ListeningSocket::Open(const std::string& path, int backlog) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash + 1 == path.size()) {
    return ErrorCode(kFailed, "the socket path '" + path + "' must be a directory and a file name");
  }
  const std::string fileName = path.substr(slash + 1);
  Result<UniqueFd> directory = OpenDirectory(slash == 0 ? "/" : path.substr(0, slash));
  if (!directory) {
    return directory.Error();
  }
  const int directoryFd = directory.Value().Get();
  const DirectoryLock lock(directoryFd);
  if (!lock.IsHeld()) {
    return ErrorCode(kFailed, "another program holds the lock of the directory of '" + path + "'");
  }
  if (const Result<void> room = MakeRoom(directoryFd, fileName, path); !room) {
    return room.Error();
  }
  Result<UniqueFd> socket = Listen(directoryFd, fileName, path, backlog);
  if (!socket) {
    return socket.Error();
  }
  struct stat made {};
  if (::fstatat(directoryFd, fileName.c_str(), &made, AT_SYMLINK_NOFOLLOW) != 0) {
    return Failure("cannot look at '" + path + "'", errno);
  }
  return std::unique_ptr<ListeningSocket>(
      new ListeningSocket(std::move(directory).Value(), fileName, std::move(socket).Value(), made));
}

ListeningSocket::ListeningSocket(UniqueFd directory, std::string fileName, UniqueFd socket, const struct stat& made)
    : directory_(std::move(directory)),
      fileName_(std::move(fileName)),
      socket_(std::move(socket)),
      device_(made.st_dev),
      inode_(made.st_ino) {}

ListeningSocket::~ListeningSocket() {
  const DirectoryLock lock(directory_.Get());
  struct stat existing {};
  if (::fstatat(directory_.Get(), fileName_.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0 &&
      existing.st_dev == device_ && existing.st_ino == inode_) {
    ::unlinkat(directory_.Get(), fileName_.c_str(), 0);
  }
}

}  // namespace qor::maintaind
