// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/commands.h"

namespace {

constexpr char kAbout[] =
    "Events of the running system: list them, show one, export all, print their samples, measure how often they "
    "arrive";

constexpr char kFooter[] =
    "Exit status: 0 done, 1 failure, 2 wrong usage, 3 nothing matched the name, 124 time limit,\n"
    "130 interrupted before any data.\n"
    "Environment: QOR_RUNTIME_DIR (where the daemons' sockets are), QOR_LOG_LEVEL, QOR_LOG_FILE, NO_COLOR.\n"
    "'qorevent VERB --help' has the options of a verb, and examples.";

}  // namespace

int main(int argc, char** argv) {
  using namespace qor::tools;
  return RunTool(
      {"qorevent", kAbout, kFooter, {AddListCommand, AddShowCommand, AddExportCommand, AddEchoCommand, AddHzCommand}},
      argc, argv);
}
