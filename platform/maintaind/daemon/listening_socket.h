// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_LISTENING_SOCKET_H
#define QOR_MAINTAIND_DAEMON_LISTENING_SOCKET_H

#include <sys/stat.h>

#include <memory>
#include <string>

#include "platform/ara/core/result.h"
#include "platform/ipc/unique_fd.h"

namespace qor::maintaind {

/// A Unix-domain socket that listens, and its file (mode 0660). The file is removed on destruction if it is still the
/// one that was made here.
///
/// The directory is made with mode 0755 when it is missing; it must belong to this account or to root, and be writable
/// for nobody else unless it is sticky. A lock on the directory is held while files are made and removed, so that of
/// two daemons that start at once exactly one gets the name. A leftover socket is replaced; anything else is not.
class ListeningSocket {
 public:
  /// kInUse: a living program listens there.
  static constexpr std::int32_t kInUse = 1;
  static constexpr std::int32_t kFailed = 2;

  static ara::core::Result<std::unique_ptr<ListeningSocket>> Open(const std::string& path, int backlog);
  ~ListeningSocket();
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  /// The descriptor, non-blocking; the caller closes it. Once.
  [[nodiscard]] int Release() { return socket_.Release(); }

 private:
  ListeningSocket(ipc::UniqueFd directory, std::string fileName, ipc::UniqueFd socket, const struct stat& made);

  const ipc::UniqueFd directory_;
  const std::string fileName_;
  ipc::UniqueFd socket_;
  const dev_t device_;
  const ino_t inode_;
};

}  // namespace qor::maintaind

#endif
