// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_LOG_H
#define QOR_QORBAG_BAG_LOG_H

#include <string_view>

#include "platform/log/qor_log.h"

/// The log of everything that reads and writes bag files. Any thread.
namespace qor::qorbag {

inline constexpr QorLog kLog("QorBagFile");

/// Leaves the line and is false, so that a failure can be returned with its reason.
inline bool Failed(std::string_view text) {
  kLog.Error() << text;
  return false;
}

}  // namespace qor::qorbag

#endif
