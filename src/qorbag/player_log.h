// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYER_LOG_H
#define QOR_QORBAG_PLAYER_LOG_H

#include "platform/log/qor_log.h"

namespace qor::qorbag {

/// The log of everything that plays bags. Any thread.
inline constexpr QorLog kPlayerLog("QorPlayer");

}  // namespace qor::qorbag

#endif
