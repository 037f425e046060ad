// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_COMMANDS_H
#define QOR_TOOLS_QOREVENT_COMMANDS_H

#include <functional>

#include <CLI/CLI.hpp>

namespace qor::tools {

/// What the command line asks for; set while it is parsed, run after it. Returns the exit status.
using Task = std::function<int()>;

/// Each adds one verb, which sets `task`; `task` must live as long as `app`.
void AddListCommand(CLI::App& app, Task& task);
void AddShowCommand(CLI::App& app, Task& task);
void AddExportCommand(CLI::App& app, Task& task);
void AddEchoCommand(CLI::App& app, Task& task);
void AddHzCommand(CLI::App& app, Task& task);

}  // namespace qor::tools

#endif
