// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_OPENED_BAGS_H
#define QOR_TOOLS_QORBAG_OPENED_BAGS_H

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"
#include "tools/common/exit_code.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {

/// The bags of a command line. Used by one thread.
class OpenedBags {
 public:
  /// False when one cannot be read; a line on stderr says which.
  bool Open(const std::vector<std::string>& files);

  /// Adds the messages that are wanted to the view. Otherwise how the command ends, with a line on stderr: an event is
  /// in no bag, or no message is wanted.
  std::optional<ExitCode> Select(const Selection& selection, qorbag::QorView& view);

  /// Whether an event of that name was recorded over DDS, too.
  bool HasDdsEvent(const std::string& name) const;

 private:
  std::list<qorbag::QorBagFile> bags_;
};

/// How the command ends, with a line on stderr, when one of the names or patterns is that of no event in the bags.
std::optional<ExitCode> CheckEventNames(const std::vector<std::string>& names,
                                        const std::list<qorbag::QorBagFile>& bags);

/// Says on stderr that a bag cannot be read, and what to do.
void ComplainUnreadable(const std::string& file);

}  // namespace qor::tools

#endif
