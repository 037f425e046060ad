// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>

#include "tools/common/exit_code.h"
#include "tools/common/output.h"
#include "tools/qorevent/commands.h"

namespace {

constexpr char kFooter[] =
    "Exit status: 0 done, 1 failure, 2 wrong usage, 3 nothing matched the name, 124 time limit,\n"
    "130 interrupted before any data.\n"
    "Environment: QOR_RUNTIME_DIR (where the daemons' sockets are), QOR_LOG_LEVEL, QOR_LOG_FILE, NO_COLOR.\n"
    "'qorevent VERB --help' has the options of a verb, and examples.";

}  // namespace

int main(int argc, char** argv) {
  qor::tools::SetToolName("qorevent");
  qor::tools::Task task;
  CLI::App app("Events of the running system: list them, show one, export all, measure how often they arrive");
  app.name("qorevent");
  app.set_version_flag("--version", "qorevent " QOR_VERSION, "Print the version and exit");
  app.footer(kFooter);
  app.require_subcommand(1);
  qor::tools::AddListCommand(app, task);
  qor::tools::AddShowCommand(app, task);
  qor::tools::AddExportCommand(app, task);
  qor::tools::AddHzCommand(app, task);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? qor::tools::kExitDone : qor::tools::kExitUsage;
  }
  return task();
}
