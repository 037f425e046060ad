// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_SESSION_H
#define QOR_TOOLS_QOREVENT_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include "src/common/filters.h"
#include "src/common/query.h"
#include "src/qorevent/qor_event.h"
#include "tools/common/common_options.h"
#include "tools/common/exit_code.h"
#include "tools/common/output.h"

namespace qor::tools {

/// What every verb begins and ends with: the log, the output, the daemons. Used by one thread.
class Session {
 public:
  explicit Session(const CommonOptions& options);

  /// Finds the daemons. False, with what to do about it on stderr, when there is none.
  bool Join();

  Output& Out() { return out_; }
  qorevent::QorEvent& Events() { return events_; }
  bool IsJson() const { return options_.isJson; }

  /// Says what is wrong with a name that matched nothing, with the names that are near.
  ExitCode ComplainUnknown(const std::string& name);
  /// Says that nothing is in a namespace, with those that are near.
  ExitCode ComplainUnknownNamespace(const std::string& name);
  /// How a command ends by what the daemons answered: fails when none did, warns of each that did not, which --strict
  /// makes a failure.
  ExitCode Finish(bool anyAnswered, const common::DaemonSet& missing);
  ExitCode Finish() { return Finish(events_.AnyDaemonAnswered(), events_.MissingDaemons()); }

 private:
  /// The names of every event that a daemon knows, also of those that cannot be received here. Asked for once.
  const std::vector<std::string>& EventNames();

  const CommonOptions options_;
  Output out_;
  qorevent::QorEvent events_;
  std::optional<std::vector<std::string>> eventNames_;
};

}  // namespace qor::tools

#endif
