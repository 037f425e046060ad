// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_SAMPLE_PIPE_H
#define QOR_TOOLS_QOREVENT_SAMPLE_PIPE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace qor::tools {

/// Carries the text of samples from the receive threads to the one that writes. When the writer does not keep up, the
/// newest samples are dropped and counted: its memory has a limit.
class SamplePipe {
 public:
  /// A sample is dropped when more text than that waits already.
  static constexpr std::size_t kLimit = std::size_t{8} << 20U;

  /// `count`: samples that are let through in all; 0: no limit.
  explicit SamplePipe(std::uint64_t count);
  ~SamplePipe();
  SamplePipe(const SamplePipe&) = delete;
  SamplePipe& operator=(const SamplePipe&) = delete;

  /// Adds the text of one sample. Any thread; does not wait for the writer.
  void Push(std::string_view text);

  /// Readable while text waits.
  int Descriptor() const { return eventFd_; }
  /// Moves everything that waits to `text`, whose memory is used again. The number of samples in it.
  std::uint64_t Take(std::string& text);
  std::uint64_t DroppedCount() const;

 private:
  const int eventFd_;
  const std::uint64_t count_;
  mutable std::mutex mutex_;
  std::string text_;            // guarded by mutex_
  std::uint64_t waiting_ = 0;   // guarded by mutex_; samples in text_
  std::uint64_t accepted_ = 0;  // guarded by mutex_
  std::uint64_t dropped_ = 0;   // guarded by mutex_
};

}  // namespace qor::tools

#endif
