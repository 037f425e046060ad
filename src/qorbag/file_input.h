// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_FILE_INPUT_H
#define QOR_QORBAG_FILE_INPUT_H

#include <cstddef>
#include <string>

#include "src/qorbag/bag_input.h"
#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

/// A file, read through a window: reads that follow each other are answered from it, and make it larger; one that goes
/// elsewhere brings little more than it asks for.
class FileInput : public BagInput {
 public:
  explicit FileInput(const std::string& name);
  ~FileInput() override;
  FileInput(const FileInput&) = delete;
  FileInput& operator=(const FileInput&) = delete;

  bool IsOpen() const { return fd_ >= 0; }

  /// As it was when the file was opened.
  std::uint64_t Size() const override { return size_; }
  bool Read(std::uint64_t position, std::span<std::uint8_t> bytes) override;

 private:
  static constexpr std::size_t kSmallest = std::size_t{2} << 10U;
  static constexpr std::size_t kLargest = std::size_t{64} << 10U;

  bool Fill(std::uint64_t position, std::size_t size);
  bool ReadAll(std::uint64_t position, std::span<std::uint8_t> bytes) const;

  int fd_ = -1;
  std::uint64_t size_ = 0;
  QorBuffer window_;
  std::uint64_t windowPos_ = 0;
  std::size_t nextSize_ = kSmallest;
};

}  // namespace qor::qorbag

#endif
