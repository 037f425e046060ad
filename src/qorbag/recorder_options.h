// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDER_OPTIONS_H
#define QOR_QORBAG_RECORDER_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/filters.h"

namespace qor::qorbag {

/// What a recorder records, and into which files.
struct RecorderOptions {
  bool all = false;                        ///< every event that is found; otherwise `events` and `patterns`
  bool appendDate = false;                 ///< the local date and time become a part of the file name
  std::string prefix;                      ///< of the file name, when `name` is empty
  std::string name;                        ///< of the file, with or without ".bag"
  std::uint32_t bufferSize = 256U << 20U;  ///< bytes of payload that may wait to be written; 0: any number
  std::uint32_t chunkSize = 1024;          ///< KiB
  std::uint32_t limit = 0;                 ///< messages of each event name; 0: no limit
  std::uint32_t skipFrame = 0;             ///< record one of so many samples of each event name; 0: all
  std::uint8_t compressionType = 0;        ///< 0 none, 1 LZ4, 2 Zstandard
  bool split = false;                      ///< go on in another, numbered file at `maxSize` or `maxDuration`
  std::uint64_t maxSize = 0;               ///< bytes of a file; 0: any
  std::uint32_t maxSplits = 0;             ///< files that are kept, the one being written included; 0: all
  std::uint32_t maxDuration = 0;           ///< seconds of a file; 0: any
  std::vector<std::string> events;         ///< names
  std::uint64_t minSpace = 1U << 30U;      ///< bytes on the disk; with no more free than that, recording stops
  std::string outputPath;                  ///< folder, with a "/" at its end; it is made when there is none
  std::string ddsNetwork;                  ///< address of the interface for DDS; empty: where an event says
  std::string someipNetwork;               ///< name of the SOME/IP network; empty: where an event says
  std::string instanceShortName;           ///< only events of this instance; empty: all
  std::uint16_t domainId = CommonFilter::kAnyDomain;  ///< only DDS events of this domain
  std::string networkIP;                              ///< only events of this address; empty: all

  std::vector<std::string> patterns;  ///< events whose name matches one, with * and ?, are recorded, too
  std::vector<std::string> excluded;  ///< names and patterns of events that are not
};

/// What a recorder reports while it runs, with a text.
enum class RecorderType : std::uint8_t {
  kSubscribing = 0,         ///< name of the event
  kFileOpened = 1,          ///< name of the bag
  kCloseFailed = 2,         ///< name of the active file, which may need repair
  kDiskFull = 3,            ///< name of the active file
  kSameName = 4,            ///< name of the active file
  kUnknownEvent = 5,        ///< name of the event; reported once, it is still looked for
  kOpenFailed = 6,          ///< name of the active file
  kCompressionFailed = 7,   ///< name of the active file
  kDdsFailed = 8,           ///< name of the event that cannot be subscribed
  kSomeipFailed = 9,        ///< name of the event that cannot be subscribed
  kRenameFailed = 10,       ///< name of the active file, which stays
  kFirstDrop = 11,          ///< empty
  kNoCompressor = 12,       ///< name of the active file, which is not compressed
  kNothingSubscribed = 13,  ///< empty; no event at all could be subscribed
  kWriteFailed = 14,        ///< name of the active file
};

/// Checks every option. False, with a line in the log for each one that is wrong.
[[nodiscard]] bool CheckTheRecorderOptions(const RecorderOptions& options);

}  // namespace qor::qorbag

#endif
