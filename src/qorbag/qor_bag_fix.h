// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_BAG_FIX_H
#define QOR_QORBAG_QOR_BAG_FIX_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/log/qor_log.h"
#include "src/qorbag/bag_format.h"
#include "src/qorbag/copy_messages.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// What is to be repaired.
struct FixOptions {
  std::string inputFile;   ///< ends in ".bag.active"
  std::string outputPath;  ///< folder, absolute
};

/// What a repair reports.
enum class FixPrintType : std::uint8_t {
  kBegin,    ///< the input is open: it is known how much there is
  kFailed,   ///< the text says why; nothing follows
  kNoInput,  ///< the input is no bag, or none that can be repaired; nothing follows
  kNothing,  ///< no message can be read; nothing follows
  kStopped,  ///< by Stop: the output holds the first of the messages
  kGivenUp,  ///< by Stop: the text says why there is no output; nothing follows
  kDone,
};

/// With every report.
struct FixEchoInfo {
  std::string text;  ///< a sentence for a person; empty: none
  std::string outputFile;
  std::uint64_t messageCount = 0;  ///< in the chunks that can be read
  std::uint64_t writtenCount = 0;
  std::uint64_t unreadableCount = 0;  ///< messages of those chunks that are left out: they cannot be read, or the
                                      ///< bag does not say of which event they are
  std::uint64_t chunkCount = 0;       ///< that can be read
  std::uint64_t leftChunkCount = 0;   ///< that cannot, at least
  std::uint64_t leftBytes = 0;        ///< of the input, in no chunk that can be read
};

/// Turns the file of a recording that was interrupted into a bag: "<name>.bag.active" into "<name>_repair.bag". The
/// input stays as it is. An older output is replaced, but not when it was stopped, nor by one without messages. Fix is
/// called once, by one thread; Stop and the progress are for any.
class QorBagFix {
 public:
  using PrintCallback = std::function<void(FixPrintType, const FixEchoInfo&)>;

  explicit QorBagFix(FixOptions options) : options_(std::move(options)) {}

  /// Before Fix, which calls it on its thread.
  void RegPrintCallback(PrintCallback callback) { print_ = std::move(callback); }

  /// False when there is no output; a line in the log and a report say why.
  bool Fix();
  /// Ends the copying after the message that it is at.
  void Stop() { stop_ = true; }
  const CopyProgress& Progress() const { return progress_; }

 private:
  bool SetNames();
  bool OpenRead();
  bool CheckDisk();
  bool Run();
  bool DoRun(const QorView& view);
  bool CloseOutput();
  bool HandleAcitveFile();
  bool RemoveOutput();
  void Print(FixPrintType type, std::string text = "");
  bool Fail(const std::string& text, FixPrintType type = FixPrintType::kFailed);

  const QorLog log_{"QorBagFix"};
  FixOptions options_;
  PrintCallback print_;
  QorBagFile input_;
  QorBagFile output_;
  std::string writeName_;
  std::string outputName_;
  std::atomic<bool> stop_{false};
  CopyProgress progress_;
};

}  // namespace qor::qorbag

#endif
