// SPDX-License-Identifier: Apache-2.0
#include "src/common/error_texts.h"

#include <map>

namespace qor::common {

const std::string& ErrorText(int code) {
  static const auto& texts = *new std::map<int, std::string>{
      {kExportFailed, "Export failed"},
      {kBadFileName,
       "File name cannot exceed 256 characters and can only contain the following characters: a-z, 0-9, A-Z, -, _, @, "
       "#, ."},
      {kBadPathName, "Path name must be a string of a-z, 0-9, A-Z, -, _, [, ], /"},
      {kFileExists, "The same file exists in the current path"},
      {kActiveFileExists, "The same active file exists"},
      {kCreateFileFailed, "Failed to create the file"},
      {kWriteFailed, "Failed to write file data"},
      {kRenameFailed, "Failed to rename the file"},
      {kQueryFailed, "Failed to query messages from the maintaind"},
      {kPathNotAbsolute, "Path name must be start with /"},
      {kCreatePathFailed, "Failed to create the path"}};
  static const auto& unknown = *new std::string("Unknown error");
  const auto found = texts.find(code);
  return found != texts.end() ? found->second : unknown;
}

}  // namespace qor::common
