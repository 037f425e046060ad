// SPDX-License-Identifier: Apache-2.0
#include "src/common/safe_write.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>

#include "platform/log/qor_log.h"
#include "src/common/accounts.h"
#include "src/common/checks.h"
#include "src/common/error_texts.h"
#include "src/common/files.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};

/// Links count as themselves: one that leads nowhere occupies its name all the same.
bool IsNameTaken(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}

int ActiveFileExists(const std::string& path) {
  kLog.Warn() << "[SaveDataToDisk][Saved active file is exist][path=" << path << "]";
  return kActiveFileExists;
}

int FileExists(const std::string& path) {
  kLog.Warn() << "[SaveDataToDisk][Saved file is exist][path=" << path << "]";
  return kFileExists;
}

void HandOver(int file, const std::string& path, const std::string& owner, const FileCalls& calls) {
  const std::size_t colon = owner.find(':');
  const auto user = Name2Uid(owner.substr(0, colon));
  const auto group = colon != std::string::npos ? Name2Gid(owner.substr(colon + 1)) : std::nullopt;
  if (!user.has_value() || !group.has_value() || calls.changeOwner(file, *user, *group) != 0) {
    kLog.Warn() << "[SaveDataToFile][Change owner failed][path=" << path << ", owner=" << owner << "]";
  }
}

/// Writes everything with one call that succeeds, flushes and closes.
int WriteAndClose(int file, const std::string& path, const std::string& data, const FileCalls& calls) {
  ssize_t written = 0;
  do {
    written = calls.write(file, data.data(), data.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0 || static_cast<std::size_t>(written) != data.size()) {
    ::close(file);
    kLog.Warn() << "[SaveDataToFile][Write data to file failed][path=" << path << "]";
    return kWriteFailed;
  }
  const bool isFlushed = calls.sync(file) == 0;
  const bool isClosed = ::close(file) == 0 || errno == EINTR;
  if (!isFlushed || !isClosed) {
    kLog.Warn() << "[SaveDataToFile][Sync data failed][path=" << path << "]";
    return kWriteFailed;
  }
  return kOk;
}

int RenameComplete(const std::string& activePath, const std::string& path, const FileCalls& calls) {
  if (IsNameTaken(path)) {
    return FileExists(path);
  }
  if (calls.rename(activePath.c_str(), path.c_str()) == 0) {
    return kOk;
  }
  const int reason = errno;
  if (reason == EEXIST) {  // made by somebody else in between
    return FileExists(path);
  }
  kLog.Warn() << "[SaveDataToDisk][Rename failed when saving data to disk][path=" << path << ", errno=" << reason
              << "]";
  return kRenameFailed;
}

/// Makes the new name itself survive a power failure. The data is safe already, so a file system that cannot do this is
/// no failure.
void SyncFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file >= 0) {
    ::fsync(file);
    ::close(file);
  }
}

}  // namespace

FileCalls FileCalls::System() {
  return {.write = ::write, .sync = ::fsync, .changeOwner = ::fchown, .rename = [](const char* from, const char* to) {
            return RenameToFreeName(from, to) ? 0 : -1;
          }};
}

int SaveDataToDisk(const std::string& path, const std::string& data, const std::string& owner, const FileCalls& calls) {
  const std::string activePath = path + ".active";
  if (IsNameTaken(activePath)) {
    return ActiveFileExists(activePath);
  }
  if (!HasOnlySafeCharacters(path)) {
    kLog.Warn() << "[SaveDataToFile][Check path char failed][path=" << path << "]";
    return kWriteFailed;
  }
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
  const int file = ::open(activePath.c_str(), kFlags, S_IRUSR | S_IWUSR);
  if (file < 0 && errno == EEXIST) {  // made by somebody else in between
    return ActiveFileExists(activePath);
  }
  if (file < 0) {
    kLog.Warn() << "[SaveDataToFile][Open dir failed][path=" << activePath << "]";
    return kWriteFailed;
  }
  if (!owner.empty()) {
    HandOver(file, activePath, owner, calls);
  }
  int code = WriteAndClose(file, activePath, data, calls);
  if (code == kOk) {
    code = RenameComplete(activePath, path, calls);
  }
  if (code != kOk) {
    ::unlink(activePath.c_str());
    return code;
  }
  SyncFolderOf(path);
  return kOk;
}

}  // namespace qor::common
