// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_BAG_WRITER_H
#define QOR_QORBAG_QOR_BAG_WRITER_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/log/qor_log.h"
#include "src/qorbag/bag_format.h"
#include "src/qorbag/event_description.h"
#include "src/qorbag/qor_bag_file.h"

namespace qor::qorbag {

/// How Init and Write end.
enum class BagWriterCode : std::uint32_t {
  kOk = 0,
  kVersionUnreadable = 1,
  kBadName = 4,
  kBadVersion = 5,
  kPathNotAbsolute = 6,
  kNotOpen = 7,
  kFileExists = 8,
  kNoCompressor = 9,  ///< the file is open, and will not be compressed
  kCannotOpen = 10,   ///< also: somebody records under that name, or did until a crash; that file stays
  kNoPayload = 11,
  kNoEvent = 12,
  kCompressionFailed = 13,
  kWriteFailed = 14,
};

/// Records messages into one bag: into "<name>.bag.active" while it goes on, which Stop makes "<name>.bag". Init and
/// Stop are for the owner; Write and BagFileSync for any thread.
class QorBagWriter {
 public:
  /// `path`: the folder, absolute; `name` with or without ".bag"; `version` such as "2.7".
  QorBagWriter(std::string path, std::string name, std::string version, FileCompressionType compression);
  /// Stops.
  ~QorBagWriter();
  QorBagWriter(const QorBagWriter&) = delete;
  QorBagWriter& operator=(const QorBagWriter&) = delete;

  /// KiB of a chunk; before Init. 1024 when it is not called.
  void SetMaxChunkSize(std::uint32_t kibibytes) { file_.SetMaxChunkSize(kibibytes); }

  [[nodiscard]] BagWriterCode Init();
  /// `time` in milliseconds.
  [[nodiscard]] BagWriterCode Write(const std::shared_ptr<EventMsgInfo>& msg, std::uint64_t time);
  void Stop();
  /// Warns of a disk that is nearly full, and brings what was written to it. Does nothing when nothing was.
  void BagFileSync();

  const std::string& TargetFileName() const { return targetFileName_; }
  const std::string& WriteFileName() const { return writeFileName_; }

 private:
  BagWriterCode CheckInputParam();
  BagWriterCode CheckVersion();
  void SyncLocked();
  void CheckDisk() const;

  const QorLog log_{"QorBagWriter"};
  std::string bagPath_;
  std::string bagName_;
  const std::string bagVersion_;
  const FileCompressionType compression_;
  std::uint32_t version_ = 0;
  std::string targetFileName_;
  std::string writeFileName_;
  std::mutex mutex_;  ///< guards the file
  QorBagFile file_;
};

}  // namespace qor::qorbag

#endif
