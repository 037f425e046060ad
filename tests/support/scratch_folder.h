// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_SCRATCH_FOLDER_H
#define QOR_TESTS_SUPPORT_SCRATCH_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace qor::test {

/// An empty folder that goes away with the object.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "qor_test_XXXXXX";
    path_ = std::filesystem::canonical(::mkdtemp(pattern.data()));
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string Path() const { return path_.string(); }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace qor::test

#endif
