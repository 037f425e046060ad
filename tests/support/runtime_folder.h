// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H
#define QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H

#include "tests/support/environment.h"
#include "tests/support/scratch_folder.h"

namespace qor::test {

/// A runtime directory of the test's own, in effect while it lives.
class RuntimeFolder : public ScratchFolder {
 public:
  RuntimeFolder() { SetEnvironment("QOR_RUNTIME_DIR", Path().c_str()); }
  ~RuntimeFolder() { SetEnvironment("QOR_RUNTIME_DIR", nullptr); }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;
};

}  // namespace qor::test

#endif
