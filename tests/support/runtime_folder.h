// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H
#define QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H

#include <cstdlib>
#include <string>

#include "tests/support/scratch_folder.h"

namespace qor::test {

/// A runtime directory of the test's own, in effect while it lives.
class RuntimeFolder {
 public:
  RuntimeFolder() { ::setenv("QOR_RUNTIME_DIR", Path().c_str(), 1); }
  ~RuntimeFolder() { ::unsetenv("QOR_RUNTIME_DIR"); }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;

  std::string Path() const { return folder_.Path(); }

 private:
  ScratchFolder folder_;
};

}  // namespace qor::test

#endif
