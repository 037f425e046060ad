// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDING_FILES_H
#define QOR_QORBAG_RECORDING_FILES_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>

#include "src/qorbag/event_description.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/recorder_options.h"
#include "src/qorbag/recording_names.h"

namespace qor::qorbag {

/// The bag files of one recording, one after the other: begins, splits, closes and renames them, keeps the newest, and
/// watches the disk. Methods that return bool are false when the recording should end. One thread writes and splits,
/// others may flush, check the disk and ask at the same time. Times in milliseconds of the monotonic clock.
class RecordingFiles {
 public:
  using Report = std::function<void(RecorderType, const std::string&)>;

  /// Both must outlive it.
  RecordingFiles(const RecorderOptions& options, const Report& report);

  /// Opens the first file, or the next one.
  [[nodiscard]] bool StartWriting();
  /// When the first file begins.
  void SetStartTime(std::uint64_t now) { fileStartTime_ = now; }
  /// Closes the file, if one is open, and gives it its name. With a line in the log and a report when that fails.
  void StopWriting();
  /// Whether every file has its name and all that was written, and each split went on in another.
  bool IsWhole() const { return isWhole_; }

  /// Goes on in another file when the one that is open has its size.
  [[nodiscard]] bool CheckSize();
  /// The same when it has its duration; after a long pause there are empty files, so that files begin at fixed times.
  [[nodiscard]] bool CheckDuration(std::uint64_t now);
  /// `time` as it is to be in the bag. False, with a line in the log and a report, when the message is not written, and
  /// others would not be.
  [[nodiscard]] bool WriteEventMsg(const std::shared_ptr<const EventDescription>& event, std::uint64_t time,
                                   std::span<const std::uint8_t> payload);

  /// Messages of the open file that are in no chunk that was finished.
  std::uint64_t GetOpenMessages() const { return openMessages_; }
  /// Whether those were lost since the last call, as their chunk could not be written.
  [[nodiscard]] bool TakeChunkLoss() { return std::exchange(hasLostChunk_, false); }

  /// Any thread: whether there is room on the disk.
  [[nodiscard]] bool CheckDisk();
  /// Any thread: brings what was written to the disk.
  void BagHandle();

  /// Any thread. Bytes of the open file.
  std::uint64_t GetFileSize() const { return fileSize_.load(std::memory_order_relaxed); }
  /// Bytes of all files, those included that were removed meanwhile.
  std::uint64_t GetAllSize() const { return closedSize_.load(std::memory_order_relaxed) + GetFileSize(); }
  /// Files that were begun, and the number in the name of the last.
  std::uint32_t GetFileCount() const { return fileCount_.load(std::memory_order_relaxed); }
  std::uint32_t GetSplitIndex() const { return splitIndex_.load(std::memory_order_relaxed); }
  std::string GetBagName() const;

 private:
  RecordingNames UpdateFileNames();
  void Rename();
  bool NextFile();
  void CheckNumSplits();
  bool DoSplit(std::uint64_t now, std::uint64_t period);

  const RecorderOptions& options_;
  const Report& report_;
  std::uint64_t fileStartTime_ = 0;
  std::list<std::string> closedFiles_;  ///< those that have their names, oldest first
  std::uint64_t openMessages_ = 0;
  bool hasLostChunk_ = false;
  bool isWhole_ = true;
  bool wasCompressionReported_ = false;
  std::atomic<bool> isWritingEnabled_{true};
  std::atomic<std::uint64_t> fileSize_{0};
  std::atomic<std::uint64_t> closedSize_{0};
  std::atomic<std::uint32_t> splitIndex_{0};
  std::atomic<std::uint32_t> fileCount_{0};
  mutable std::mutex mutex_;                                           ///< guards what follows
  RecordingNames names_;                                               ///< of the file that was begun last
  std::unique_ptr<QorBagFile> file_ = std::make_unique<QorBagFile>();  ///< a new one for each file
};

}  // namespace qor::qorbag

#endif
