// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDING_NAMES_H
#define QOR_QORBAG_RECORDING_NAMES_H

#include <cstdint>
#include <ctime>
#include <string>

#include "src/qorbag/recorder_options.h"

namespace qor::qorbag {

/// Names of one file of a recording.
struct RecordingNames {
  std::string bag;     ///< when it is closed
  std::string active;  ///< while it is written
};

/// The names of the file with the number `splitIndex` that is begun at `now`, with the folder in front: the name or the
/// prefix, the local date and time, and the number, those that the options ask for, joined by "_".
RecordingNames MakeRecordingNames(const RecorderOptions& options, std::uint32_t splitIndex, std::time_t now);

}  // namespace qor::qorbag

#endif
