// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_ERROR_TEXTS_H
#define QOR_COMMON_ERROR_TEXTS_H

#include <string>

/// The result codes of exports, and what a user is told about them.
namespace qor::common {

inline constexpr int kOk = 0;
inline constexpr int kExportFailed = -1;
inline constexpr int kBadFileName = -2;
inline constexpr int kBadPathName = -3;
inline constexpr int kFileExists = -4;
inline constexpr int kActiveFileExists = -5;
inline constexpr int kCreateFileFailed = -6;
inline constexpr int kWriteFailed = -7;
inline constexpr int kRenameFailed = -8;
inline constexpr int kQueryFailed = -9;
inline constexpr int kPathNotAbsolute = -10;
inline constexpr int kCreatePathFailed = -11;

/// "Unknown error" for any number that is not one of the above; kOk is none of them.
const std::string& ErrorText(int code);

}  // namespace qor::common

#endif
