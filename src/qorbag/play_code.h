// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAY_CODE_H
#define QOR_QORBAG_PLAY_CODE_H

#include <cstdint>

namespace qor::qorbag {

/// How playing ended.
enum class PlayCode : std::uint8_t {
  kDone,
  kStopped,
  kNoMessage,  ///< of these events and this time
  kLive,       ///< events are being offered already: PlayRoutes::LiveEventTexts
  kUnknown,    ///< a daemon that is there does not tell what is offered
  kPorts,      ///< ports cannot be had: PlayRoutes::MissingPorts
  kNoPublisher,
};

}  // namespace qor::qorbag

#endif
