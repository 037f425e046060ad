// SPDX-License-Identifier: Apache-2.0
#include "tools/common/tool_main.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <utility>

#include "tools/common/exit_code.h"
#include "tools/common/help_formatter.h"
#include "tools/common/near_names.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"
#include "tools/common/standard_streams.h"

namespace qor::tools {
namespace {

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
  Complain("'" + Printable(text) + "' is no verb; there are: " + list + "." + DidYouMean(text, verbs));
  return false;
}

}  // namespace

int RunTool(const Tool& tool, int argc, char** argv) {
  OpenStandardStreams();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error with a reason
  SetToolName(tool.name);
  Task task;
  CLI::App app(tool.about);
  app.name(tool.name);
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", tool.name + " " QOR_VERSION, "Print the version and exit");
  app.footer(tool.footer);
  app.require_subcommand(1);
  for (const AddVerb add : tool.verbs) {
    add(app, task);
  }
  Arguments arguments(argv + 1, argv + argc);
  const auto verb = FindVerb(arguments);
  const bool isAboutTool = std::find(arguments.begin(), verb, "--version") != verb;
  if (verb != arguments.end() && !isAboutTool) {
    if (!IsVerb(app, *verb)) {
      return kExitUsage;
    }
    std::rotate(arguments.begin(), verb, verb + 1);  // so that flags before it are the verb's
  }
  std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitDone : kExitUsage;
  }
  return task();
}

}  // namespace qor::tools
