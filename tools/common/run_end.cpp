// SPDX-License-Identifier: Apache-2.0
#include "tools/common/run_end.h"

#include "platform/ipc/runtime_dir.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"

namespace qor::tools {

void ComplainNoDaemon() {
  Complain("no daemon answers in '" + Printable(ipc::RuntimeDirectory()) +
           "': start maintaind, or set QOR_RUNTIME_DIR to the folder that its socket is in");
}

void ComplainMissing(const common::DaemonSet& missing, const char* severity) {
  for (const auto& daemon : missing) {
    Complain(std::string(severity) + ": daemon " + std::to_string(daemon.GetInstanceId()) + " at '" +
             Printable(daemon.GetAddress()) + "' did not answer, so what only it knows is missing");
  }
}

ExitCode EndOf(bool hasData, bool isInterrupted) {
  if (hasData) {
    return kExitDone;
  }
  if (isInterrupted) {
    return kExitInterrupted;
  }
  Complain("no sample arrived within the time limit");
  return kExitTimeLimit;
}

}  // namespace qor::tools
