// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/commands.h"

namespace {

constexpr char kAbout[] =
    "Bag files: what is in them, their messages as text, whether they are sound; repair what a recording left, cut out "
    "what is wanted";

constexpr char kFooter[] =
    "Exit status: 0 done, 1 failure, 2 wrong usage, 3 nothing matched the name, 130 interrupted.\n"
    "Environment: QOR_LOG_LEVEL, QOR_LOG_FILE, NO_COLOR. No verb needs a running system.\n"
    "'qorbag VERB --help' has the options of a verb, and examples.";

}  // namespace

int main(int argc, char** argv) {
  using namespace qor::tools;
  return RunTool(
      {"qorbag",
       kAbout,
       kFooter,
       {AddInfoCommand, AddMessagesCommand, AddTimelineCommand, AddCheckCommand, AddFixCommand, AddExtractCommand}},
      argc, argv);
}
