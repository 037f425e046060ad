// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/common/exit_code.h"
#include "tools/common/near_names.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"
#include "tools/common/standard_streams.h"
#include "tools/qorevent/commands.h"

namespace {

constexpr char kFooter[] =
    "Exit status: 0 done, 1 failure, 2 wrong usage, 3 nothing matched the name, 124 time limit,\n"
    "130 interrupted before any data.\n"
    "Environment: QOR_RUNTIME_DIR (where the daemons' sockets are), QOR_LOG_LEVEL, QOR_LOG_FILE, NO_COLOR.\n"
    "'qorevent VERB --help' has the options of a verb, and examples.";

using Arguments = std::vector<std::string>;

/// The first argument that is no option; before it only flags can stand.
Arguments::iterator FindVerb(Arguments& arguments) {
  return std::find_if(arguments.begin(), arguments.end(),
                      [](const std::string& text) { return !text.starts_with('-'); });
}

/// False, with a line on stderr, when the verb is none.
bool IsVerb(const CLI::App& app, const std::string& text) {
  Arguments verbs;
  for (const CLI::App* verb : app.get_subcommands(nullptr)) {
    verbs.push_back(verb->get_name());
  }
  if (std::find(verbs.begin(), verbs.end(), text) != verbs.end()) {
    return true;
  }
  std::string list;
  for (const std::string& verb : verbs) {
    list += (list.empty() ? "" : ", ") + verb;
  }
  qor::tools::Complain("'" + qor::tools::Printable(text) + "' is no verb; there are: " + list + "." +
                       qor::tools::DidYouMean(text, verbs));
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  qor::tools::OpenStandardStreams();
  qor::tools::SetToolName("qorevent");
  qor::tools::Task task;
  CLI::App app(
      "Events of the running system: list them, show one, export all, print their samples, measure how often they "
      "arrive");
  app.name("qorevent");
  app.set_version_flag("--version", "qorevent " QOR_VERSION, "Print the version and exit");
  app.footer(kFooter);
  app.require_subcommand(1);
  qor::tools::AddListCommand(app, task);
  qor::tools::AddShowCommand(app, task);
  qor::tools::AddExportCommand(app, task);
  qor::tools::AddEchoCommand(app, task);
  qor::tools::AddHzCommand(app, task);

  Arguments arguments(argv + 1, argv + argc);
  const auto verb = FindVerb(arguments);
  const bool isAboutTool = std::find(arguments.begin(), verb, "--version") != verb;
  if (verb != arguments.end() && !isAboutTool) {
    if (!IsVerb(app, *verb)) {
      return qor::tools::kExitUsage;
    }
    std::rotate(arguments.begin(), verb, verb + 1);  // so that flags before it are the verb's
  }
  std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? qor::tools::kExitDone : qor::tools::kExitUsage;
  }
  return task();
}
