// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_FILE_OUTPUT_H
#define QOR_QORBAG_FILE_OUTPUT_H

#include <cstdio>
#include <string>

#include "src/qorbag/bag_output.h"

namespace qor::qorbag {

/// A file that is made anew, only for its owner (mode 0600). What is there already is refused, and errno is EEXIST.
class FileOutput : public BagOutput {
 public:
  explicit FileOutput(const std::string& name);
  ~FileOutput() override;
  FileOutput(const FileOutput&) = delete;
  FileOutput& operator=(const FileOutput&) = delete;

  bool IsOpen() const { return file_ != nullptr; }

  bool Write(std::span<const std::uint8_t> bytes) override;
  bool Seek(std::uint64_t position) override;
  bool SeekEnd() override;
  bool Truncate(std::uint64_t position) override;
  std::uint64_t Position() const override { return position_; }
  bool Flush() override;
  bool Sync() override;
  bool Close() override;

 private:
  std::FILE* file_ = nullptr;
  std::uint64_t position_ = 0;
};

}  // namespace qor::qorbag

#endif
