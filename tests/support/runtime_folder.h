// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H
#define QOR_TESTS_SUPPORT_RUNTIME_FOLDER_H

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

namespace qor::test {

/// A runtime directory of the test's own, in effect while it lives.
class RuntimeFolder {
 public:
  RuntimeFolder() {
    char path[] = "/tmp/qor-test-XXXXXX";
    path_ = ::mkdtemp(path);
    ::setenv("QOR_RUNTIME_DIR", path_.c_str(), 1);
  }
  ~RuntimeFolder() {
    ::unsetenv("QOR_RUNTIME_DIR");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

/// Waits until the condition holds, at most ten seconds.
template <class Condition>
bool Eventually(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace qor::test

#endif
