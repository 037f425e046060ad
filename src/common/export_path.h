// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_EXPORT_PATH_H
#define QOR_COMMON_EXPORT_PATH_H

#include <string>

namespace qor::common {

/// The absolute path of an export file `name` in the directory `path` ("./" when empty), which is made with mode 0777
/// (less the process's umask) when only its last part is missing. Returns 0 or
///
///     kBadFileName       the name breaks the rule of CheckOutputName
///     kBadPathName       the path has unsafe characters or names something that is no directory
///     kCreatePathFailed  the parent of the directory does not exist, or the directory could not be made
///
/// and then leaves `exportPath` alone. Any thread.
int GetExportFilePath(const std::string& path, const std::string& name, std::string& exportPath);

}  // namespace qor::common

#endif
