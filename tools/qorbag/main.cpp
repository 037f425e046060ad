// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/commands.h"

namespace {

constexpr char kAbout[] =
    "Record the events of a running system into bag files, play them again; what is in bags, their messages as text, "
    "whether they are sound; repair what a recording left, cut out what is wanted";

constexpr char kFooter[] =
    "Exit status: 0 done, 1 failure, 2 wrong usage, 3 nothing matched the name, 124 time limit, 130 interrupted.\n"
    "Environment: QOR_RUNTIME_DIR, QOR_LOG_LEVEL, QOR_LOG_FILE, NO_COLOR. Only 'record' and 'play' use a running\n"
    "system.\n"
    "'qorbag VERB --help' has the options of a verb, and examples.";

}  // namespace

int main(int argc, char** argv) {
  using namespace qor::tools;
  return RunTool({"qorbag",
                  kAbout,
                  kFooter,
                  {AddRecordCommand, AddPlayCommand, AddInfoCommand, AddMessagesCommand, AddTimelineCommand,
                   AddCheckCommand, AddFixCommand, AddExtractCommand}},
                 argc, argv);
}
