// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_bag_writer.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "src/common/files.h"

namespace qor::qorbag {
namespace {

constexpr std::string_view kSuffix = ".bag";
constexpr std::uint32_t kLogIntervalMs = 500;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

QorBagWriter::QorBagWriter(std::string path, std::string name, std::string version, FileCompressionType compression)
    : bagPath_(std::move(path)),
      bagName_(std::move(name)),
      bagVersion_(std::move(version)),
      compression_(compression) {}

QorBagWriter::~QorBagWriter() {
  if (file_.IsOpen()) {
    Stop();
  }
}

BagWriterCode QorBagWriter::CheckInputParam() {
  if (!bagPath_.starts_with('/')) {
    log_.Error() << "[CheckInputParam bagPath_ is not absolute path][path=" << bagPath_ << "]";
    return BagWriterCode::kPathNotAbsolute;
  }
  if (!bagPath_.ends_with('/')) {
    bagPath_ += '/';
  }
  const std::string& text = bagVersion_;
  if (text.size() != 3 || !IsDigit(text[0]) || text[1] != '.' || !IsDigit(text[2])) {
    log_.Error() << "[CheckInputParam bagVersion_ is invalid string][version=" << bagVersion_ << "]";
    return BagWriterCode::kBadVersion;
  }
  if (bagName_.ends_with(kSuffix)) {
    bagName_.resize(bagName_.size() - kSuffix.size());
  }
  if (bagName_.empty()) {
    log_.Error() << "[CheckInputParam bagName_ is invalid name][bagName=" << bagName_ << "]";
    return BagWriterCode::kBadName;
  }
  targetFileName_ = bagPath_ + bagName_ + std::string(kSuffix);
  writeFileName_ = targetFileName_ + ".active";
  log_.Info() << "[QorBagWriter init][targetFileName_=" << targetFileName_ << ", writeFileName_=" << writeFileName_
              << "]";
  return CheckVersion();
}

BagWriterCode QorBagWriter::CheckVersion() {
  const auto digit = [this](std::size_t at) { return static_cast<std::uint32_t>(bagVersion_[at] - '0'); };
  version_ = digit(0) * 100 + digit(2) * 10;
  if (version_ >= kOldestBagVersion && version_ <= CURRENT_BAG_VERSION) {
    return BagWriterCode::kOk;
  }
  log_.Error() << "[CheckInputParam bagVersion_ is invalid value][version=" << bagVersion_ << "]";
  return BagWriterCode::kBadVersion;
}

BagWriterCode QorBagWriter::Init() {
  const std::lock_guard lock(mutex_);
  if (const BagWriterCode code = CheckInputParam(); code != BagWriterCode::kOk) {
    return code;
  }
  std::error_code error;
  if (std::filesystem::exists(std::filesystem::symlink_status(targetFileName_, error))) {
    log_.Error() << "[QorBagWriter init][Write the same file name, please check the file name]";
    return BagWriterCode::kFileExists;
  }
  if (std::filesystem::exists(std::filesystem::symlink_status(writeFileName_, error))) {
    log_.Error() << "[Writer open write file failed][fileName=" << writeFileName_
                 << "][It is there already: a recording that goes on, or one that was interrupted and can be repaired]";
    return BagWriterCode::kCannotOpen;
  }
  file_.SetCompressionType(compression_);
  file_.SetVersion(version_);
  switch (file_.OpenWrite(writeFileName_, bagPath_, targetFileName_)) {
    case QorBagFile::kOk:
      return BagWriterCode::kOk;
    case QorBagFile::kNoCompressor:
      log_.Error() << "[Writer compression init failed][fileName=" << writeFileName_ << "]";
      return BagWriterCode::kNoCompressor;
    default:
      log_.Error() << "[Writer open write file failed][fileName=" << writeFileName_ << "]";
      return BagWriterCode::kCannotOpen;
  }
}

BagWriterCode QorBagWriter::Write(const std::shared_ptr<EventMsgInfo>& msg, std::uint64_t time) {
  const std::lock_guard lock(mutex_);
  if (!file_.IsOpen()) {
    log_.Error() << "[QorBagWriter write][Maybe bag file is not created]";
    return BagWriterCode::kNotOpen;
  }
  if (msg == nullptr || msg->payload == nullptr) {
    log_.Error() << "[QorBagWriter write][Get msg buffer from eventMsgInfo failed, because buffer is empty]";
    return BagWriterCode::kNoPayload;
  }
  if (msg->event == nullptr) {
    log_.Error() << "[QorBagWriter write][Get eventInfo from eventMsgInfo failed]";
    return BagWriterCode::kNoEvent;
  }
  if (msg->payload->size() > UINT32_MAX) {
    log_.Error() << "[QorBagWriter write][The message is too long for a bag]";
    return BagWriterCode::kWriteFailed;
  }
  const auto size = static_cast<std::uint32_t>(msg->payload->size());
  switch (file_.Write(EventMsg{msg->event}, time, msg->payload->data(), size)) {
    case QorBagFile::kOk:
      SyncLocked();
      return BagWriterCode::kOk;
    case QorBagFile::kCompressionFailed:
      log_.Error() << "[QorBagWriter write][Compress data failed]";
      return BagWriterCode::kCompressionFailed;
    default:
      return BagWriterCode::kWriteFailed;
  }
}

void QorBagWriter::Stop() {
  const std::lock_guard lock(mutex_);
  if (!file_.IsOpen()) {
    log_.Error() << "[QorBagWriter write][Maybe bag file is closed or not created]";
    return;
  }
  switch (file_.CloseWrite()) {
    case QorBagFile::kOk:
      break;
    case QorBagFile::kCompressionFailed:
      log_.Error() << "[QorBagWriter Stop][Compress data failed]";
      break;
    default:
      log_.Error() << "[QorBagWriter Stop][Close active file failed]";
      break;
  }
  log_.Info() << "[QorBagWriter][Start to rename " << writeFileName_ << " to " << targetFileName_ << "]";
  if (common::RenameToFreeName(writeFileName_, targetFileName_)) {
    log_.Info() << "[QorBagWriter][Rename " << writeFileName_ << " done]";
  } else {
    log_.Error() << "[QorBagWriter][Rename " << writeFileName_ << " failed]";
  }
}

void QorBagWriter::BagFileSync() {
  const std::lock_guard lock(mutex_);
  if (file_.IsOpen()) {
    SyncLocked();
  }
}

/// Between two chunks there is nothing to bring to the disk.
void QorBagWriter::SyncLocked() {
  if (!file_.IsDirty()) {
    return;
  }
  CheckDisk();
  if (!file_.Flush()) {
    log_.Warn("QorBagWriter_fflush", kLogIntervalMs) << "[QorBagWriter][Flush file data failed]";
  }
  if (!file_.Sync()) {
    log_.Warn("QorBagWriter_fsync", kLogIntervalMs) << "[QorBagWriter][Sync file data failed]";
  }
}

void QorBagWriter::CheckDisk() const {
  constexpr std::uint64_t kLittle = 1073741824;
  const auto free = common::FreeSpace(bagPath_);
  if (!free.has_value()) {
    log_.Warn("QorBagWriter_checkdisk", kLogIntervalMs) << "[QorBagWriter][Recorder fail to check file system status]";
  } else if (*free <= kLittle) {
    log_.Warn("QorBagWriter_checkdisk", kLogIntervalMs) << "[QorBagWriter][Less than 1GB of free space on disk]";
  }
}

}  // namespace qor::qorbag
