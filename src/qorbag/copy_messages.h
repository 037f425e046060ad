// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_COPY_MESSAGES_H
#define QOR_QORBAG_COPY_MESSAGES_H

#include <atomic>
#include <cstdint>

#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// How far a copy is. Any thread may look.
struct CopyProgress {
  std::atomic<std::uint64_t> total{0};       ///< messages that there are
  std::atomic<std::uint64_t> written{0};     ///< those that were copied
  std::atomic<std::uint64_t> unreadable{0};  ///< those that could not be read and are left out

  /// 0 to 1.
  double Share() const {
    return total == 0 ? 0.0 : static_cast<double>(written + unreadable) / static_cast<double>(total);
  }
};

/// Writes the messages of the view to an open bag, in the order of time and with their recorded times, until `stop` is
/// set. A message that cannot be read is left out. What QorBagFile::Write said.
[[nodiscard]] int CopyMessages(const QorView& view, QorBagFile& out, CopyProgress& progress,
                               const std::atomic<bool>& stop);

}  // namespace qor::qorbag

#endif
