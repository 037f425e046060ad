// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_SESSION_H
#define QOR_TOOLS_QOREVENT_SESSION_H

#include <string>
#include <vector>

#include "src/common/filters.h"
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
  /// Warns when a daemon did not answer the last query, which --strict makes a failure.
  ExitCode Finish(bool allAnswered);

 private:
  const CommonOptions options_;
  Output out_;
  qorevent::QorEvent events_;
};

}  // namespace qor::tools

#endif
