// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_COMMANDS_H
#define QOR_TOOLS_QORBAG_COMMANDS_H

#include "tools/common/tool_main.h"

namespace qor::tools {

void AddRecordCommand(CLI::App& app, Task& task);
void AddInfoCommand(CLI::App& app, Task& task);
void AddMessagesCommand(CLI::App& app, Task& task);
void AddTimelineCommand(CLI::App& app, Task& task);
void AddCheckCommand(CLI::App& app, Task& task);
void AddFixCommand(CLI::App& app, Task& task);
void AddExtractCommand(CLI::App& app, Task& task);
void AddPlayCommand(CLI::App& app, Task& task);

}  // namespace qor::tools

#endif
