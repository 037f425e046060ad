// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <memory>
#include <string>

#include "src/qorevent/qor_event_hz.h"
#include "tools/qorevent/commands.h"
#include "tools/qorevent/hz_command_options.h"
#include "tools/qorevent/hz_run.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorevent hz /vehicle/speed                      until Ctrl-C, then a summary\n"
    "  qorevent hz /vehicle/speed /vehicle/gear -d 10  ten seconds\n"
    "  qorevent hz /vehicle/speed -w 100 --json        over the latest 100 intervals\n"
    "  qorevent hz /vehicle/speed -t 30                wait up to 30 s for the event and its first sample\n"
    "  qorevent hz --messages /a /b | head -20         which event each of 20 samples is of\n"
    "The first two samples of an event only start its clock. 'std dev' counts whole seconds of each interval;\n"
    "'jitter' is the standard deviation at full resolution. 'bandwidth' is of the last second. What a publisher had\n"
    "sent before the subscription stood counts nowhere.";

int RunHz(const HzCommandOptions& options) {
  StopSignal stop;
  Session session(options.common);
  if (!session.Join()) {
    return kExitFailure;
  }
  return HzRun(options, stop, session).Run();
}

}  // namespace

void AddHzCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<HzCommandOptions>();
  CLI::App* command = app.add_subcommand("hz", "Measure how often events arrive, once a second");
  command->footer(kExamples);
  AddReceiveOptions(*command, *options, static_cast<int>(qorevent::QorEventHz::kMaxEvents));
  command->add_option("-w,--window", options->windowSize, "Intervals kept for each event")
      ->check(PositiveCount(std::numeric_limits<std::uint32_t>::max()))
      ->option_text("N [1000]");
  command->add_flag("-m,--messages", options->isMessages, "Print the name of the event of each sample instead");
  AddCountOption(*command, *options, "End after so many reports, or with --messages samples");
  command->callback([options, &task] {
    RequireNames(*options);
    task = [options] { return RunHz(*options); };
  });
}

}  // namespace qor::tools
