// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/shared_memory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/ipc/unique_fd.h"
#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

constexpr QorLog kLog("DDS");
constexpr std::uint32_t kSmallestSegment = 512U << 10U;
/// A participant takes at most this part of what is free, so that the processes started later get theirs.
constexpr std::uint64_t kShare = 8;

void WarnOnce(const std::string& reason) {
  static std::once_flag once;
  std::call_once(once, [&reason] {
    kLog.Warn() << "Shared memory cannot be used (" << reason << "); DDS uses UDP on this host instead.";
  });
}

constexpr std::string_view kSegmentPrefix = "fastrtps_";
constexpr std::string_view kPortPrefix = "fastrtps_port";
constexpr std::string_view kLockSuffix = "_el";
/// A program locks its file right after it made it.
constexpr std::chrono::seconds kYoungest{10};

bool IsSegmentLock(std::string_view fileName) {
  return fileName.starts_with(kSegmentPrefix) && fileName.ends_with(kLockSuffix) && !fileName.starts_with(kPortPrefix);
}

bool IsAbandoned(const std::filesystem::path& lockFile) {
  std::error_code error;
  const auto changed = std::filesystem::last_write_time(lockFile, error);
  if (error || std::filesystem::file_time_type::clock::now() - changed < kYoungest) {
    return false;
  }
  const ipc::UniqueFd file(::open(lockFile.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  return file && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

void RemoveAbandonedSegments(const std::string& folder) {
  std::error_code error;
  std::vector<std::filesystem::path> abandoned;
  std::filesystem::directory_iterator entry(folder, error);
  while (!error && entry != std::filesystem::directory_iterator()) {
    if (IsSegmentLock(entry->path().filename().native()) && IsAbandoned(entry->path())) {
      abandoned.push_back(entry->path());
    }
    entry.increment(error);
  }
  for (const std::filesystem::path& lockFile : abandoned) {
    const std::string& name = lockFile.native();
    std::filesystem::remove(name.substr(0, name.size() - kLockSuffix.size()), error);
    std::filesystem::remove(lockFile, error);
  }
}

std::uint32_t UsableSegmentSize(std::uint32_t wanted, const std::string& folder) {
  struct statvfs info {};
  if (::access(folder.c_str(), R_OK | W_OK | X_OK) != 0 || ::statvfs(folder.c_str(), &info) != 0) {
    WarnOnce(folder + ": " + std::strerror(errno));
    return 0;
  }
  const std::uint64_t available = static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
  const std::uint64_t size = std::min<std::uint64_t>(wanted, available / kShare);
  if (size < kSmallestSegment) {
    WarnOnce(folder + " has only " + std::to_string(available) + " bytes free");
    return 0;
  }
  return static_cast<std::uint32_t>(size);
}

}  // namespace qor::dds
