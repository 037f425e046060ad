// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_BAG_EXTRACTOR_H
#define QOR_QORBAG_QOR_BAG_EXTRACTOR_H

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/qorbag/copy_messages.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// What is to be copied, and where.
struct ExtractorOptions {
  std::string inputFile{};
  std::string outputFile{};               ///< ".bag" is appended when it does not end so
  std::vector<std::string> eventNames{};  ///< names and patterns with * and ?; empty: all, wherever they are
  std::uint64_t startTime = 0;            ///< milliseconds after the first message of the bag, at most 10 000 000
  std::uint64_t endTime = 0;              ///< the same, at most 10 000 000 000; 0: to the end
  std::uint16_t domainId = QorEventQuery::kAnyDomain;  ///< of the events named: 0 to 63, or any
  std::string network{};  ///< of the events named: network part of an address, IPv4 or IPv6; empty: any
};

/// How an extraction ends.
enum class ExtractCode : std::uint32_t {
  kOk = 0,
  kStopped = 1,  ///< the output holds the first of the messages; before the first there is none
  kBadStartTime = 2,
  kBadEndTime = 3,
  kBadTimeRange = 4,
  kBadName = 5,
  kSameFile = 6,
  kBadDomain = 7,
  kBadNetwork = 8,
  kNoSpace = 9,
  kCannotOpen = 10,
  kNoMessage = 11,  ///< no output was made
  kCannotCreate = 12,
  kNoCompressor = 13,
  kWriteFailed = 14,
  kCannotClose = 15,
};

/// Copies messages of one bag into a new one, with the version and the compression of the first. Extract is called
/// once, by one thread; Stop and the progress are for any.
class QorBagExtractor {
 public:
  explicit QorBagExtractor(ExtractorOptions options) : options_(std::move(options)) {}

  /// With a line in the log for what failed. What could not be written whole is not left behind.
  [[nodiscard]] ExtractCode Extract();
  /// Ends the copying after the message that it is at.
  void Stop() { stop_ = true; }
  const CopyProgress& GetExtractProgress() const { return progress_; }
  /// With ".bag".
  const std::string& OutputFile() const { return options_.outputFile; }
  /// After kNoSpace, kCannotCreate, kNoCompressor, kWriteFailed or kCannotClose: why, such as "File exists".
  const std::string& Reason() const { return reason_; }

 private:
  ExtractCode CheckParam() const;
  ExtractCode CheckNames() const;
  ExtractCode CheckTimes() const;
  ExtractCode DoExtract();
  void AddQuery(QorView& view);
  void UpdateOutputName();
  ExtractCode CheckSpace(const QorView& view);
  ExtractCode WriteViewToFile(const QorView& view);
  ExtractCode CannotCreate(const std::string& name, int error);
  ExtractCode Finish(QorBagFile& output, const std::string& writeName, bool isWritten);

  const QorLog log_{"QorBagExtractor"};
  ExtractorOptions options_;
  QorBagFile input_;
  std::atomic<bool> stop_{false};
  CopyProgress progress_;
  std::string reason_;
};

}  // namespace qor::qorbag

#endif
