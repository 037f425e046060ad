// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_FILES_H
#define QOR_COMMON_FILES_H

#include <cstdint>
#include <optional>
#include <string>

/// Questions about paths and the file system. Any thread.
namespace qor::common {

/// Bytes that an unprivileged user can still write where `path` is; nothing when the file system does not tell.
std::optional<std::uint64_t> FreeSpace(const std::string& path);
/// True when an unprivileged user can still write `bytes` where `path` is.
bool CheckFreeSpace(const std::string& path, std::uint64_t bytes);

/// Whether there is something under this path; a symbolic link counts by where it leads.
bool IsPathExist(const std::string& path);
bool IsDirectory(const std::string& path);

/// Absolute and free of links; empty when the path does not exist.
std::string GetRealPath(const std::string& path);
/// GetRealPath of the part up to and including the last "/", of "." when there is none.
std::string GetFolderPath(const std::string& path);
/// The part after the last "/", the whole text when there is none.
std::string GetFileName(const std::string& path);
/// Absolute, without "." and "..", and free of links as far as the path exists; for a path that is yet to be made. No
/// "/" at the end except for the root itself. Empty for an empty path.
std::string GetCanonicalPath(const std::string& path);

/// Gives a file another name, unless that is taken: EEXIST then. False sets errno.
bool RenameToFreeName(const std::string& from, const std::string& to);

}  // namespace qor::common

#endif
