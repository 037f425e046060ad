// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYER_OPTION_CHECK_H
#define QOR_QORBAG_PLAYER_OPTION_CHECK_H

#include "src/qorbag/player_options.h"

namespace qor::qorbag {

/// Whether the values are within their bounds. Each that is not has a line in the log. Any thread.
bool CheckThePlayerOptions(const PlayerOptions& options);

/// Writes the values into the log. Any thread.
void ShowThePlayerOptions(const PlayerOptions& options);

/// Whether messages are to be published without the mbuf chains that they were recorded with.
bool IsPublishingPlain(const PlayerOptions& options);

}  // namespace qor::qorbag

#endif
