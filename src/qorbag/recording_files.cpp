// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recording_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <utility>

#include "platform/log/qor_log.h"
#include "src/common/files.h"

namespace qor::qorbag {
namespace {

constexpr QorLog kLog("QorRecorder");
constexpr std::uint32_t kLogIntervalMs = 500;
constexpr std::uint64_t kMsPerSecond = 1000;

/// Makes the folder when it cannot be opened.
void MakeFolder(const std::string& folder) {
  constexpr mode_t kAnybody = 0777;
  if (DIR* const opened = ::opendir(folder.c_str()); opened != nullptr) {
    ::closedir(opened);
  } else {
    ::mkdir(folder.c_str(), kAnybody);  // opening the file tells what is wrong
  }
}

}  // namespace

RecordingFiles::RecordingFiles(const RecorderOptions& options, const Report& report)
    : options_(options), report_(report) {}

bool RecordingFiles::StartWriting() {
  const RecordingNames names = UpdateFileNames();
  std::unique_lock lock(mutex_);
  if (common::IsPathExist(names.bag) || common::IsPathExist(names.active)) {
    lock.unlock();
    kLog.Error() << "Error: recording the same file name, please check the file name.";
    report_(RecorderType::kSameName, names.active);
    return false;
  }
  file_ = std::make_unique<QorBagFile>();
  file_->SetCompressionType(static_cast<FileCompressionType>(options_.compressionType));
  file_->SetMaxChunkSize(options_.chunkSize);
  const int result = file_->OpenWrite(names.active, options_.outputPath, names.bag);
  fileSize_ = file_->GetFileSize();
  if (result != QorBagFile::kFailed) {
    names_ = names;
    ++fileCount_;
  }
  lock.unlock();
  if (result == QorBagFile::kFailed) {
    kLog.Error() << "Recorder open write failed.";
    report_(RecorderType::kOpenFailed, names.active);
    return false;
  }
  if (result == QorBagFile::kNoCompressor) {
    report_(RecorderType::kNoCompressor, names.active);
  }
  report_(RecorderType::kFileOpened, names.bag);
  return true;
}

/// Of the next file. Behind the first one, numbers that an earlier recording used are left out.
RecordingNames RecordingFiles::UpdateFileNames() {
  if (!options_.outputPath.empty()) {
    MakeFolder(options_.outputPath);
  }
  RecordingNames names = MakeRecordingNames(options_, splitIndex_, std::time(nullptr));
  while (fileCount_ != 0 && (common::IsPathExist(names.bag) || common::IsPathExist(names.active))) {
    names = MakeRecordingNames(options_, ++splitIndex_, std::time(nullptr));
  }
  return names;
}

void RecordingFiles::StopWriting() {
  std::unique_lock lock(mutex_);
  if (!file_->IsOpen()) {
    kLog.Warn() << "Recorder can't find bag file to close.";
    return;
  }
  const int result = file_->CloseWrite();
  hasLostChunk_ = hasLostChunk_ || file_->GetLostMessages() != 0;
  const std::string active = names_.active;
  lock.unlock();
  isWhole_ = isWhole_ && result == QorBagFile::kOk;
  if (result == QorBagFile::kCompressionFailed) {
    if (!std::exchange(wasCompressionReported_, true)) {
      kLog.Error() << "StopWriting: Compression error.";
      report_(RecorderType::kCompressionFailed, active);
    }
  } else if (result != QorBagFile::kOk) {
    kLog.Error() << "Recorder close write failed.";
    report_(RecorderType::kCloseFailed, active);
    return;
  }
  Rename();
  kLog.Info() << "Stop writing finished.";
}

void RecordingFiles::Rename() {
  struct stat closed {};
  closedSize_ += ::stat(names_.active.c_str(), &closed) == 0 ? static_cast<std::uint64_t>(closed.st_size) : 0;
  fileSize_ = 0;
  kLog.Info() << "[QorRecorder][Start to rename " << names_.active << " to " << names_.bag << "]";
  if (!common::RenameToFreeName(names_.active, names_.bag)) {
    kLog.Error() << "[QorRecorder][Rename " << names_.active << " to " << names_.bag << " failed]";
    report_(RecorderType::kRenameFailed, names_.active);
    isWhole_ = false;
    return;
  }
  kLog.Info() << "[QorRecorder][Rename " << names_.active << " to " << names_.bag << " done]";
  closedFiles_.push_back(names_.bag);
}

bool RecordingFiles::CheckSize() {
  if (options_.maxSize == 0 || GetFileSize() < options_.maxSize) {
    return true;
  }
  if (!options_.split) {
    kLog.Verbose() << "Recorder do not split file.";
    return false;
  }
  return NextFile();
}

bool RecordingFiles::CheckDuration(std::uint64_t now) {
  const std::uint64_t period = options_.maxDuration * kMsPerSecond;
  if (period == 0 || now < fileStartTime_ || now - fileStartTime_ <= period) {
    return true;
  }
  if (!options_.split) {
    kLog.Info() << "Recorder check duration and do not split bag file.";
    return false;
  }
  return DoSplit(now, period);
}

bool RecordingFiles::DoSplit(std::uint64_t now, std::uint64_t period) {
  while (fileStartTime_ + period < now) {
    kLog.Verbose() << "Begin to split bag.";
    fileStartTime_ += period;
    if (!NextFile()) {
      return false;
    }
    kLog.Info() << "Recorder split bag file and created a new bag file.";
  }
  return true;
}

bool RecordingFiles::NextFile() {
  StopWriting();  // what went wrong was reported; the next file may fare better
  ++splitIndex_;
  CheckNumSplits();
  const bool isOpen = StartWriting();
  isWhole_ = isWhole_ && isOpen;
  return isOpen;
}

void RecordingFiles::CheckNumSplits() {
  if (options_.maxSplits == 0 || closedFiles_.size() < options_.maxSplits) {
    return;
  }
  kLog.Verbose() << "Current bag number is " << closedFiles_.size() << ", more than maxSplits " << options_.maxSplits;
  if (::unlink(closedFiles_.front().c_str()) != 0) {
    kLog.Warn() << "Recorder is not able to remove file.";
  }
  closedFiles_.pop_front();
}

bool RecordingFiles::WriteEventMsg(const std::shared_ptr<const EventDescription>& event, std::uint64_t time,
                                   std::span<const std::uint8_t> payload) {
  if (!isWritingEnabled_) {  // that the disk is full was reported
    return false;
  }
  std::unique_lock lock(mutex_);
  const int result = file_->Write(EventMsg{event}, time, payload.data(), static_cast<std::uint32_t>(payload.size()));
  fileSize_.store(file_->GetFileSize(), std::memory_order_relaxed);
  openMessages_ = file_->GetOpenMessages();
  hasLostChunk_ = hasLostChunk_ || file_->GetLostMessages() != 0;
  lock.unlock();
  if (result == QorBagFile::kOk) {
    kLog.Verbose() << "write event: " << event->eventName;
    return true;
  }
  if (result == QorBagFile::kCompressionFailed) {
    kLog.Error() << "WriteEventMsg: Compression error.";
  }
  kLog.Warn() << "Recorder write bag file failed.";
  if (CheckDisk()) {  // otherwise that is the reason, and was reported
    report_(RecorderType::kWriteFailed, names_.active);
  }
  return false;
}

bool RecordingFiles::CheckDisk() {
  kLog.Verbose() << "Begin to check disk.";
  std::unique_lock lock(mutex_);
  const std::string active = names_.active;
  lock.unlock();
  const auto free = common::FreeSpace(active);
  if (!free.has_value()) {
    kLog.Warn() << "Recorder fail to check file system status.";
    return true;
  }
  if (*free <= options_.minSpace) {
    kLog.Warn() << "Recorder less than 1G of space free on disk.";
    if (isWritingEnabled_.exchange(false)) {
      report_(RecorderType::kDiskFull, active);
    }
    return false;
  }
  if (*free / 2 >= options_.minSpace) {
    isWritingEnabled_ = true;
  } else {
    kLog.Warn() << "Recorder less than 2 x 1G of space free on disk.";
  }
  return true;
}

/// Between two chunks there is nothing to bring to the disk.
void RecordingFiles::BagHandle() {
  const std::lock_guard lock(mutex_);
  if (!file_->IsOpen() || !file_->IsDirty()) {
    return;
  }
  kLog.Verbose() << "Start to flush file data.";
  if (!file_->Flush()) {
    kLog.Error("QorRecorder_BagHandle_fflush", kLogIntervalMs) << "Flush file data failed.";
  }
  kLog.Verbose() << "Start to sync file data.";
  if (!file_->Sync()) {
    kLog.Error("QorRecorder_BagHandle_fsync", kLogIntervalMs) << "Sync file data failed.";
  }
  kLog.Verbose() << "End to sync file data.";
}

std::string RecordingFiles::GetBagName() const {
  const std::lock_guard lock(mutex_);
  return names_.bag;
}

}  // namespace qor::qorbag
