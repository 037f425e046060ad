// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_COMMANDS_H
#define QOR_TOOLS_QOREVENT_COMMANDS_H

#include "tools/common/tool_main.h"

namespace qor::tools {

void AddListCommand(CLI::App& app, Task& task);
void AddShowCommand(CLI::App& app, Task& task);
void AddExportCommand(CLI::App& app, Task& task);
void AddEchoCommand(CLI::App& app, Task& task);
void AddHzCommand(CLI::App& app, Task& task);

}  // namespace qor::tools

#endif
