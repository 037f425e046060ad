// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "src/common/files.h"
#include "src/common/name_pattern.h"
#include "tools/common/log_setup.h"
#include "tools/common/quantity.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/record_run.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag record -a                                   everything, into <date and time>.bag, until Ctrl-C\n"
    "  qorbag record /vehicle/speed '/camera/*' -o run    into run.bag\n"
    "  qorbag record -a -x '/camera/*' -d 10m             all but the cameras, ten minutes\n"
    "  qorbag record -a -o /data/run --split --max-size 2G --max-splits 10\n"
    "                                                     /data/run_0.bag and so on; the newest ten stay\n"
    "  qorbag record -a --json | jq .dropped              one status object a second\n"
    "SIZE is such as 500M or 1.5G, TIME such as 90s or 10m.\n"
    "Events that appear later are recorded, too. While it is written, a bag's name ends in .active; 'qorbag fix' makes "
    "a\n"
    "bag of what an interrupted recording left. No file is overwritten.";

constexpr std::uint64_t kMebi = std::uint64_t{1} << 20U;
constexpr std::uint64_t kLargestFile = 65535 * kMebi;
constexpr std::uint64_t kLargestBuffer = UINT_MAX;
constexpr std::uint32_t kMostCount = 65535;
constexpr double kLongestFile = 65535;
constexpr double kLongestRun = 1e9;

/// The command line, before it is made the recorder's options.
struct RecordArguments {
  RecordCommandOptions options;
  std::vector<std::string> names;
  std::string output;
  std::uint64_t bufferSize = 256 * kMebi;
  std::uint64_t chunkSize = kMebi;
  double fileDuration = 0;
};

void AddSelectionOptions(CLI::App& command, RecordArguments& arguments) {
  qorbag::RecorderOptions& recorder = arguments.options.recorder;
  constexpr char kGroup[] = "Which events";
  auto* const names = command.add_option("EVENT", arguments.names, "Names of events, or patterns with * and ?")
                          ->check(EventName())
                          ->option_text("EVENT...");
  command.add_flag("-a,--all", recorder.all, "Every event")->excludes(names)->group(kGroup);
  command.add_option("-x,--exclude", recorder.excluded, "But not these: a name or a pattern; repeat for several")
      ->option_text("EVENT")
      ->allow_extra_args(false)
      ->group(kGroup);
  command.add_option("-n,--count", recorder.limit, "So many messages of each event")
      ->check(PositiveCount(kMostCount))
      ->option_text("N")
      ->group(kGroup);
  command.add_option("--every", recorder.skipFrame, "Only one of N samples of each event")
      ->check(PositiveCount(kMostCount))
      ->option_text("N")
      ->group(kGroup);
  command.add_option("--instance", recorder.instanceShortName, "Only of this instance")
      ->option_text("TEXT")
      ->group(kGroup);
  command.add_option("--network-ip", recorder.networkIP, "Only of this address")
      ->check(NetworkAddress())
      ->option_text("ADDRESS")
      ->group(kGroup);
  command.add_option("--domain-id", recorder.domainId, "Only of this DDS domain")
      ->check(DomainId())
      ->option_text("0..63")
      ->group(kGroup);
  AddNetworkOptions(command, recorder.ddsNetwork, recorder.someipNetwork);
}

void AddFileOptions(CLI::App& command, RecordArguments& arguments) {
  qorbag::RecorderOptions& recorder = arguments.options.recorder;
  constexpr char kGroup[] = "Files";
  const std::map<std::string, int> compressions{{"none", 0}, {"lz4", 1}, {"zstd", 2}};
  auto* const output =
      command.add_option("-o,--output", arguments.output, "Name of the bag, with its folder; otherwise date and time")
          ->option_text("FILE")
          ->group(kGroup);
  command.add_option("--prefix", recorder.prefix, "What stands before date and time")
      ->check(FileName())
      ->option_text("TEXT")
      ->excludes(output)
      ->group(kGroup);
  command.add_flag("--date", recorder.appendDate, "Date and time behind the name")->group(kGroup);
  command
      .add_option_function<std::string>(
          "--compression",
          [&recorder, compressions](const std::string& name) {
            recorder.compressionType = static_cast<std::uint8_t>(compressions.at(name));
          },
          "none (what is meant when it is not given), lz4 or zstd")
      ->check(CLI::IsMember(compressions))
      ->option_text("KIND")
      ->group(kGroup);
  AddSizeOption(command, "--chunk-size", arguments.chunkSize, 1024, 1024 * kMebi,
                "What is written at a time, and lost at most when the power fails: 1M by default")
      ->group(kGroup);
  AddSizeOption(command, "--buffer-size", arguments.bufferSize, kMebi, kLargestBuffer,
                "What may wait to be written; when there is more, the oldest samples are dropped: 256M by default")
      ->group(kGroup);
  AddSizeOption(command, "--min-space", recorder.minSpace, 1, std::uint64_t{1} << 50U,
                "End when the disk has no more room than that: 1G by default")
      ->group(kGroup);
}

void AddLimitOptions(CLI::App& command, RecordArguments& arguments) {
  qorbag::RecorderOptions& recorder = arguments.options.recorder;
  constexpr char kGroup[] = "Limits";
  AddDurationOption(command, "-d,--duration", arguments.options.duration, 0.001, kLongestRun, "End after this time")
      ->group(kGroup);
  AddDurationOption(command, "-t,--timeout", arguments.options.timeout, 0.001, kLongestRun,
                    "Wait so long for the first of the events to appear; otherwise it must be there")
      ->group(kGroup);
  AddSizeOption(command, "--max-size", recorder.maxSize, 1024, kLargestFile, "Of one file: end, or split")
      ->group(kGroup);
  AddDurationOption(command, "--max-duration", arguments.fileDuration, 1, kLongestFile, "Of one file: end, or split")
      ->group(kGroup);
  auto* const split =
      command.add_flag("--split", recorder.split, "Go on in another, numbered file at --max-size or --max-duration")
          ->group(kGroup);
  command.add_option("--max-splits", recorder.maxSplits, "Keep only the newest N files")
      ->check(PositiveCount(kMostCount))
      ->option_text("N")
      ->needs(split)
      ->group(kGroup);
}

/// The folder and the name of the files.
void SetOutput(const std::string& output, qorbag::RecorderOptions& recorder) {
  recorder.outputPath =
      common::GetCanonicalPath(output.empty() ? "." : std::filesystem::path(output).parent_path().string());
  if (recorder.outputPath.empty()) {
    recorder.outputPath = common::GetCanonicalPath(".");
  }
  if (!recorder.outputPath.ends_with('/')) {
    recorder.outputPath += '/';
  }
  recorder.name = common::GetFileName(output);
  recorder.appendDate = recorder.appendDate || recorder.name.empty();
}

void Complete(RecordArguments& arguments) {
  constexpr std::uint64_t kKibi = 1024;
  qorbag::RecorderOptions& recorder = arguments.options.recorder;
  if (arguments.names.empty() && !recorder.all) {
    throw CLI::RequiredError("EVENT ... or --all");
  }
  if (recorder.split && recorder.maxSize == 0 && arguments.fileDuration <= 0) {
    throw CLI::RequiredError("--split: --max-size or --max-duration");
  }
  for (const std::string& name : arguments.names) {
    (common::IsNamePattern(name) ? recorder.patterns : recorder.events).push_back(name);
  }
  recorder.bufferSize = static_cast<std::uint32_t>(arguments.bufferSize);
  recorder.chunkSize = static_cast<std::uint32_t>((arguments.chunkSize + kKibi - 1) / kKibi);
  recorder.maxDuration = static_cast<std::uint32_t>(std::ceil(arguments.fileDuration));
  SetOutput(arguments.output, recorder);
}

int RunRecord(const RecordCommandOptions& options) {
  SetUpQuietLog(options.output.verbosity);
  StopSignal stop(StopSignal::Second::kIsIgnored);
  return RecordRun(options, stop).Run();
}

}  // namespace

void AddRecordCommand(CLI::App& app, Task& task) {
  auto arguments = std::make_shared<RecordArguments>();
  CLI::App* command = app.add_subcommand("record", "Record events of the running system");
  command->footer(kExamples);
  AddSelectionOptions(*command, *arguments);
  AddFileOptions(*command, *arguments);
  AddLimitOptions(*command, *arguments);
  AddOutputOptions(*command, arguments->options.output);
  command->callback([arguments, &task] {
    Complete(*arguments);
    task = [arguments] { return RunRecord(arguments->options); };
  });
}

}  // namespace qor::tools
