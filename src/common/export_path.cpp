// SPDX-License-Identifier: Apache-2.0
#include "src/common/export_path.h"

#include <sys/stat.h>

#include <cerrno>

#include "platform/log/qor_log.h"
#include "src/common/checks.h"
#include "src/common/error_texts.h"
#include "src/common/files.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};

int InvalidPath(const std::string& path) {
  kLog.Warn() << "[Export][File path is invalid][path=" << path << "]";
  return kBadPathName;
}

/// Makes the last part of a canonical path.
int CreateDirectory(const std::string& directory) {
  const std::string parent = directory.substr(0, directory.rfind('/') + 1);
  if (!IsDirectory(parent)) {
    kLog.Warn() << "[Export][Parent path is not exist][parentPath=" << parent << "]";
    return kCreatePathFailed;
  }
  if (::mkdir(directory.c_str(), S_IRWXU | S_IRWXG | S_IRWXO) != 0 && errno != EEXIST) {
    kLog.Warn() << "[Export][Create path failed][path=" << directory << ", errno=" << errno << "]";
    return kCreatePathFailed;
  }
  return kOk;
}

}  // namespace

int GetExportFilePath(const std::string& path, const std::string& name, std::string& exportPath) {
  if (!IsOutputName(name)) {
    kLog.Warn() << "[Export][File name is invalid][filename=" << name << "]";
    return kBadFileName;
  }
  const std::string directory = GetCanonicalPath(path.empty() ? "./" : path);
  if (directory.empty() || !HasOnlySafeCharacters(directory)) {
    return InvalidPath(path);
  }
  if (!IsPathExist(directory)) {
    if (const int code = CreateDirectory(directory); code != kOk) {
      return code;
    }
  }
  const std::string resolved = GetRealPath(directory);
  if (resolved.empty() || !IsDirectory(resolved)) {
    return InvalidPath(path);
  }
  exportPath = resolved.ends_with('/') ? resolved + name : resolved + "/" + name;
  return kOk;
}

}  // namespace qor::common
