// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_BACKGROUND_WORK_H
#define QOR_TOOLS_COMMON_BACKGROUND_WORK_H

#include <cstdint>
#include <functional>
#include <string>

#include "tools/common/stop_signal.h"

namespace qor::tools {

/// Work that takes long. `run` is called on a thread of its own; the others by the one that waits.
struct BackgroundWork {
  std::string label;  ///< what is done, for the progress bar
  std::function<void()> run;
  std::function<double()> progress;  ///< 0 to 1
  std::function<void()> cancel;      ///< makes `run` return soon
};

/// Does the work, with a progress bar when stderr is a terminal; Ctrl-C cancels it.
void DoInBackground(const BackgroundWork& work, StopSignal& stop);

}  // namespace qor::tools

#endif
