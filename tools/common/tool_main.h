// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_TOOL_MAIN_H
#define QOR_TOOLS_COMMON_TOOL_MAIN_H

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace qor::tools {

/// What the command line asks for; set while it is parsed, run after it. Returns the exit status.
using Task = std::function<int()>;

/// Adds one verb, which sets `task`; `task` must live as long as `app`.
using AddVerb = void (*)(CLI::App& app, Task& task);

/// One front end.
struct Tool {
  std::string name;
  std::string about;
  std::string footer;
  std::vector<AddVerb> verbs;
};

/// The main function of a front end. Flags may stand before the verb.
int RunTool(const Tool& tool, int argc, char** argv);

}  // namespace qor::tools

#endif
