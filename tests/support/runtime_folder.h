// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H
#define QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H

#include <asio/post.hpp>
#include <cstdlib>
#include <future>

#include "platform/ipc/io_thread.h"
#include "tests/support/scratch_folder.h"

namespace qor::test {

/// Changes the environment of this process where the middleware reads it, so that the two do not meet; null removes.
inline void SetEnvironment(const char* name, const char* value) {
  std::promise<void> done;
  asio::post(ipc::IoThread(), [&] {
    value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
    done.set_value();
  });
  done.get_future().wait();
}

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
