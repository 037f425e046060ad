// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/shared_memory.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

constexpr QorLog kLog("DDS");
constexpr const char* kFolder = "/dev/shm";
constexpr std::uint32_t kSmallestSegment = 512U << 10U;
/// A participant takes at most this part of what is free, so that the processes started later get theirs.
constexpr std::uint64_t kShare = 8;

void WarnOnce(const std::string& reason) {
  static std::once_flag once;
  std::call_once(once, [&reason] {
    kLog.Warn() << "Shared memory cannot be used (" << reason << "); DDS uses UDP on this host instead.";
  });
}

}  // namespace

std::uint32_t UsableSegmentSize(std::uint32_t wanted) {
  struct statvfs info {};
  if (::access(kFolder, R_OK | W_OK | X_OK) != 0 || ::statvfs(kFolder, &info) != 0) {
    WarnOnce(std::string(kFolder) + ": " + std::strerror(errno));
    return 0;
  }
  const std::uint64_t available = static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
  const std::uint64_t size = std::min<std::uint64_t>(wanted, available / kShare);
  if (size < kSmallestSegment) {
    WarnOnce(std::string(kFolder) + " has only " + std::to_string(available) + " bytes free");
    return 0;
  }
  return static_cast<std::uint32_t>(size);
}

}  // namespace qor::dds
