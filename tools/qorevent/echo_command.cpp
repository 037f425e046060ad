// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "tools/qorevent/commands.h"
#include "tools/qorevent/echo_command_options.h"
#include "tools/qorevent/echo_run.h"

namespace qor::tools {
namespace {

constexpr int kMaxNames = 5000;

constexpr char kExamples[] =
    "Examples:\n"
    "  qorevent echo /vehicle/speed                      until Ctrl-C\n"
    "  qorevent echo /vehicle/speed --once               one sample\n"
    "  qorevent echo /vehicle/speed --field wheel[2].rpm only this part of each sample\n"
    "  qorevent echo /camera/image --summary             lists by type and length\n"
    "  qorevent echo /a /b --time --multi-line           when each arrived, and a line for each member\n"
    "  qorevent echo /vehicle/speed --json | jq .value   one object a sample\n"
    "A sample of an E2E-protected event has the status of its check in front; the first one of an event that runs\n"
    "already is kWrongSequence. An event without a type definition prints as bytes. When the output is slower than\n"
    "the event, samples are left out and counted at the end. With --json every sample is one line, on a terminal too.";

int RunEcho(const EchoCommandOptions& options) {
  StopSignal stop;
  Session session(options.common);
  if (!session.Join()) {
    return kExitFailure;
  }
  return EchoRun(options, stop, session).Run();
}

void AddLayouts(CLI::App& command, EchoCommandOptions& options) {
  auto* multiLine = command.add_flag("-m,--multi-line", options.isMultiLine, "A line for each member");
  auto* summary = command.add_flag("-s,--summary", options.isSummary, "Lists by their type and length only");
  auto* field = command.add_option("-f,--field", options.fieldPath,
                                   "Only this part: members by name, elements by number, as in objects[2].position");
  field->option_text("PATH");
  command.add_flag("--raw", options.isRaw, "The bytes in hexadecimal instead")
      ->excludes(multiLine)
      ->excludes(summary)
      ->excludes(field);
  command.add_flag("--time", options.hasTime, "When each sample arrived, local time");
}

}  // namespace

void AddEchoCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<EchoCommandOptions>();
  CLI::App* command = app.add_subcommand("echo", "Print the samples of events as they arrive");
  command->footer(kExamples);
  AddReceiveOptions(*command, *options, kMaxNames);
  AddLayouts(*command, *options);
  auto* count = AddCountOption(*command, *options, "End after so many samples");
  command->add_flag("--once", options->isOnce, "End after one sample")->excludes(count);
  command->callback([options, &task] {
    RequireNames(*options);
    task = [options] { return RunEcho(*options); };
  });
}

}  // namespace qor::tools
