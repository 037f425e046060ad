// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <memory>
#include <string>

#include "src/qorevent/qor_event_hz.h"
#include "tools/qorevent/commands.h"
#include "tools/qorevent/hz_options.h"
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

void AddLimits(CLI::App& command, HzCommandOptions& options) {
  command.add_option("-n,--count", options.count, "End after so many reports, or with --messages samples")
      ->check(PositiveCount(std::numeric_limits<std::uint64_t>::max()))
      ->option_text("N");
  command.add_option("-d,--duration", options.duration, "End after measuring for so many seconds")
      ->check(Seconds())
      ->option_text("SECONDS");
  command
      .add_option("-t,--timeout", options.timeout,
                  "Wait at most so many seconds for one of the names to appear and for the first sample")
      ->check(Seconds())
      ->option_text("SECONDS");
}

}  // namespace

void AddHzCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<HzCommandOptions>();
  CLI::App* command = app.add_subcommand("hz", "Measure how often events arrive, once a second");
  command->footer(kExamples);
  command->add_option("names", options->names, "Event names; a uuid may follow in square brackets")
      ->option_text("NAME...")
      ->check(EventName())
      ->expected(1, static_cast<int>(qorevent::QorEventHz::kMaxEvents));
  command->add_option("-w,--window", options->windowSize, "Intervals kept for each event")
      ->check(PositiveCount(std::numeric_limits<std::uint32_t>::max()))
      ->option_text("N [1000]");
  command->add_flag("-m,--messages", options->isMessages, "Print the name of the event of each sample instead");
  AddLimits(*command, *options);
  AddFilterOptions(*command, options->hz.filter);
  AddNetworkOptions(*command, options->hz.ddsNetwork, options->hz.someipNetwork);
  AddCommonOptions(*command, options->common);
  command->callback([options, &task] {
    if (options->names.empty()) {
      throw CLI::RequiredError("NAME");
    }
    task = [options] { return RunHz(*options); };
  });
}

}  // namespace qor::tools
