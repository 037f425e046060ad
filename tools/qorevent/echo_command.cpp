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

}  // namespace

void AddEchoCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<EchoCommandOptions>();
  CLI::App* command = app.add_subcommand("echo", "Print the samples of events as they arrive");
  command->footer(kExamples);
  AddReceiveOptions(*command, *options, kMaxNames);
  AddLayoutOptions(*command, options->layout, "When each sample arrived, local time");
  auto* count = AddCountOption(*command, *options, "End after so many samples");
  command->add_flag("--once", options->isOnce, "End after one sample")->excludes(count);
  command->callback([options, &task] {
    RequireNames(*options);
    options->layout.isJson = options->common.isJson;
    options->layout.hasSeveralNames = options->names.size() > 1;
    task = [options] { return RunEcho(*options); };
  });
}

}  // namespace qor::tools
