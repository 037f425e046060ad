// SPDX-License-Identifier: Apache-2.0
#include "src/common/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/log/qor_log.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};

}  // namespace

std::optional<std::uint64_t> FreeSpace(const std::string& path) {
  struct statvfs info {};
  if (::statvfs(path.c_str(), &info) != 0 || info.f_frsize == 0) {
    return std::nullopt;
  }
  std::uint64_t bytes = 0;
  return __builtin_mul_overflow(std::uint64_t{info.f_bavail}, std::uint64_t{info.f_frsize}, &bytes) ? UINT64_MAX
                                                                                                    : bytes;
}

bool CheckFreeSpace(const std::string& path, std::uint64_t bytes) {
  kLog.Debug() << "Checking free space of '" << path << "'";
  const auto free = FreeSpace(path);
  if (!free.has_value()) {
    kLog.Warn() << "Failed to access filesystem info of '" << path << "'";
  }
  return free.has_value() && *free >= bytes;
}

bool IsPathExist(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

bool IsDirectory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string GetRealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  return resolved != nullptr ? resolved.get() : std::string();
}

std::string GetFolderPath(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return GetRealPath(slash == std::string::npos ? "." : path.substr(0, slash + 1));
}

std::string GetFileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string GetCanonicalPath(const std::string& path) {
  namespace fs = std::filesystem;
  if (path.empty()) {
    return {};
  }
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  if (error) {
    return {};
  }
  fs::path canonical = fs::weakly_canonical(absolute, error);
  if (error) {
    canonical = absolute.lexically_normal();  // a part of the path cannot be looked into
  }
  if (!canonical.has_filename() && canonical != canonical.root_path()) {
    canonical = canonical.parent_path();
  }
  return canonical.string();
}

bool RenameToFreeName(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;  // the file system knows no such rename
}

}  // namespace qor::common
