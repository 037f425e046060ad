// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_SAFE_WRITE_H
#define QOR_COMMON_SAFE_WRITE_H

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace qor::common {

/// The system calls that can fail in the middle of a write; a test puts its own in their place.
struct FileCalls {
  ssize_t (*write)(int file, const void* data, std::size_t size);
  int (*sync)(int file);
  int (*changeOwner)(int file, uid_t user, gid_t group);
  /// Must not replace a file under the new name: EEXIST then.
  int (*rename)(const char* from, const char* to);

  static FileCalls System();
};

/// Writes a new file, readable for its owner only, under a temporary name and renames it when it is complete and on the
/// device: under its own name there is all of it or nothing. Never replaces a file and never follows a link in the last
/// part of the path. Returns 0 or
///
///     kActiveFileExists  `path`.active exists: somebody writes this file, or did until a crash; it stays
///     kWriteFailed       unsafe characters in the path, or creating, writing or flushing failed
///     kFileExists        `path` exists; it stays as it is
///     kRenameFailed
///
/// and leaves no temporary file behind. The file belongs to `owner`, "user:group", or to the process when that is
/// empty; one that cannot be handed over is written all the same, with a line in the log. Any thread.
int SaveDataToDisk(const std::string& path, const std::string& data, const std::string& owner,
                   const FileCalls& calls = FileCalls::System());

}  // namespace qor::common

#endif
