// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/copy_messages.h"

#include "src/qorbag/bag_log.h"

namespace qor::qorbag {
namespace {

constexpr std::uint32_t kLogIntervalMs = 500;

}  // namespace

int CopyMessages(const QorView& view, QorBagFile& out, CopyProgress& progress, const std::atomic<bool>& stop) {
  QorBuffer payload;
  progress.total = view.Size();
  for (auto at = view.Begin(); !at.IsEnd() && !stop; at.Increase()) {
    const QorMsgEntity& message = at.Value();
    if (const int read = message.WriteMsg(payload, 0); read != QorBagFile::kOk) {
      if (read == QorBagFile::kDecompressionFailed) {
        kLog.Error("CopyMessages_decompress", kLogIntervalMs) << "Failed to decompress chunk data to stream";
      }
      ++progress.unreadable;
      continue;
    }
    const int code = out.Write(message.GetRecordingEvent(), message.GetTime(), payload.GetData(),
                               static_cast<std::uint32_t>(payload.GetSize()));
    if (code != QorBagFile::kOk) {
      return code;
    }
    ++progress.written;
  }
  return QorBagFile::kOk;
}

}  // namespace qor::qorbag
