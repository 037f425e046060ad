// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Runs a fuzz target once over each file of the folders that are given, and over every cut of each: inputs that were
/// interesting once stay tested in the builds that have no fuzzer.
int main(int argc, char** argv) {
  std::size_t files = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
      const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
      for (std::size_t length = 0; length <= bytes.size(); ++length) {
        LLVMFuzzerTestOneInput(data, length);
      }
      ++files;
    }
  }
  std::printf("%zu inputs\n", files);
  return files > 0 ? 0 : 1;
}
