// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/common/files.h"
#include "src/qorbag/qor_bag_fix.h"
#include "tools/common/background_work.h"
#include "tools/common/common_options.h"
#include "tools/common/exit_code.h"
#include "tools/common/log_setup.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"
#include "tools/common/stop_signal.h"
#include "tools/qorbag/bag_text.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/opened_bags.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {
namespace {

using qorbag::FixEchoInfo;
using qorbag::FixPrintType;

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag fix run.bag.active                  makes run_repair.bag beside it\n"
    "  qorbag fix *.bag.active -o /data/repaired\n"
    "The file that is repaired stays as it is. An older <name>_repair.bag is replaced. What cannot be read is left "
    "out\n"
    "and counted; the rest is whole and in order. Exit status 1 when messages of complete chunks are left out.";

struct FixCommandOptions {
  OutputOptions output;
  std::vector<std::string> files;
  std::string folder;
};

/// How the repair of one file ended.
struct FixOutcome {
  FixPrintType type = FixPrintType::kFailed;
  FixEchoInfo info;
};

FixOutcome Fix(const std::string& file, const std::string& folder, StopSignal& stop) {
  qorbag::QorBagFix fix({file, folder});
  FixOutcome outcome;
  fix.RegPrintCallback([&outcome](FixPrintType type, const FixEchoInfo& info) { outcome = {type, info}; });
  DoInBackground({"Repairing " + common::GetFileName(file), [&fix] { fix.Fix(); },
                  [&fix] { return fix.Progress().Share(); }, [&fix] { fix.Stop(); }},
                 stop);
  return outcome;
}

std::string LeftText(const FixEchoInfo& info) {
  std::string text;
  if (info.leftChunkCount != 0) {
    text += "at least " + CountText(info.leftChunkCount, "chunk") + " that " +
            (info.leftChunkCount == 1 ? "is" : "are") + " not complete (" + CountText(info.leftBytes, "byte") + ")";
  }
  if (info.unreadableCount != 0) {
    text += (text.empty() ? "" : " and ") + CountText(info.unreadableCount, "message") + " that cannot be read";
  }
  return text.empty() ? "" : "; left out: " + text;
}

void PrintOutcome(const std::string& file, const FixOutcome& outcome, bool isJson, Output& out) {
  const FixEchoInfo& info = outcome.info;
  const bool isDone = outcome.type == FixPrintType::kDone || outcome.type == FixPrintType::kStopped;
  if (isJson) {
    out.WriteJson({{"file", file},
                   {"output", isDone ? nlohmann::ordered_json(info.outputFile) : nlohmann::ordered_json()},
                   {"complete", outcome.type == FixPrintType::kDone},
                   {"chunks", info.chunkCount},
                   {"messages", info.messageCount},
                   {"written", info.writtenCount},
                   {"leftChunks", info.leftChunkCount},
                   {"leftBytes", info.leftBytes},
                   {"unreadable", info.unreadableCount}});
  } else if (isDone) {
    out.Write("Wrote " + CountText(info.writtenCount, "message") + " of " + CountText(info.chunkCount, "chunk") +
              " to " + Printable(info.outputFile) + LeftText(info) + "\n");
  }
}

/// Of one file.
ExitCode Finish(const std::string& file, const FixOutcome& outcome) {
  switch (outcome.type) {
    case FixPrintType::kDone:
      return outcome.info.unreadableCount == 0 ? kExitDone : kExitFailure;
    case FixPrintType::kNoInput:
      ComplainUnreadable(file);
      return kExitFailure;
    case FixPrintType::kStopped:
      Complain("interrupted: '" + Printable(outcome.info.outputFile) + "' has only the first " +
               std::to_string(outcome.info.writtenCount) + " of " + CountText(outcome.info.messageCount, "message"));
      return kExitInterrupted;
    case FixPrintType::kGivenUp:
      Complain("interrupted: '" + Printable(file) + "' was not repaired: " + Printable(outcome.info.text));
      return kExitInterrupted;
    case FixPrintType::kNothing:
      Complain("'" + Printable(file) + "': there is no complete chunk in it" + LeftText(outcome.info));
      return kExitFailure;
    default:
      Complain("'" + Printable(file) + "' was not repaired: " + Printable(outcome.info.text));
      return kExitFailure;
  }
}

int RunFix(const FixCommandOptions& options) {
  SetUpQuietLog(options.output.verbosity);
  StopSignal stop;
  Output out(STDOUT_FILENO);
  ExitCode code = kExitDone;
  for (const std::string& file : options.files) {
    const std::string folder =
        options.folder.empty() ? common::GetFolderPath(file) : common::GetCanonicalPath(options.folder);
    const FixOutcome outcome = folder.empty() ? FixOutcome{FixPrintType::kNoInput, {}} : Fix(file, folder, stop);
    PrintOutcome(file, outcome, options.output.isJson, out);
    const ExitCode one = Finish(file, outcome);
    code = one != kExitDone ? one : code;
    if (stop.IsRaised()) {
      break;
    }
  }
  return out.HasFailed() ? kExitFailure : code;
}

}  // namespace

void AddFixCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<FixCommandOptions>();
  CLI::App* command = app.add_subcommand("fix", "Make bags of what interrupted recordings left");
  command->footer(kExamples);
  AddFileArguments(*command, options->files);
  command->add_option("-o,--output", options->folder, "Folder for the bags; otherwise that of each file")
      ->option_text("FOLDER");
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] { task = [options] { return RunFix(*options); }; });
}

}  // namespace qor::tools
