// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "src/common/files.h"
#include "src/qorbag/qor_bag_extractor.h"
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

using qorbag::ExtractCode;

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag extract run.bag speed.bag -e /vehicle/speed\n"
    "  qorbag extract run.bag crash.bag --start 120 --end 135.5\n"
    "The new bag has the version and the compression of the first; a file that exists is never replaced.";

struct ExtractCommandOptions {
  OutputOptions output;
  Selection selection;
  std::string input;
  std::string outputFile;
};

/// The events that are meant: with a domain or a network but no names, all that the bag has.
std::vector<std::string> EventsOf(const ExtractCommandOptions& options) {
  const Selection& selection = options.selection;
  const bool isNarrowed = selection.domainId != qorbag::QorEventQuery::kAnyDomain || !selection.network.empty();
  std::vector<std::string> names = selection.events;
  qorbag::QorBagFile bag;
  if (isNarrowed && names.empty() && bag.OpenReadForBagHeaderInfo(options.input)) {
    for (const auto& [id, connection] : bag.Content()->connections) {
      names.push_back(connection.eventName);
    }
  }
  return names;
}

qorbag::ExtractorOptions ExtractorOptionsOf(const ExtractCommandOptions& options) {
  qorbag::ExtractorOptions extraction;
  extraction.inputFile = options.input;
  extraction.outputFile = options.outputFile;
  extraction.eventNames = EventsOf(options);
  extraction.startTime = Milliseconds(options.selection.start);
  extraction.endTime = Milliseconds(options.selection.end);
  extraction.domainId = options.selection.domainId;
  extraction.network = options.selection.network;
  return extraction;
}

/// What is wrong with the command line; empty for failures that are no matter of that.
std::string UsageFault(ExtractCode code) {
  switch (code) {
    case ExtractCode::kBadStartTime:
      return "--start is too large: expected at most 10000 seconds";
    case ExtractCode::kBadEndTime:
      return "--end is too large: expected at most 10000000 seconds";
    case ExtractCode::kBadTimeRange:
      return "--end must be after --start";
    case ExtractCode::kBadName:
      return "a file name is refused: expected letters, digits, '-', '.', '@', '#', '_' and '/'";
    case ExtractCode::kSameFile:
      return "the input and the output are the same file";
    default:
      return "";
  }
}

/// Says why an event name or a selection matches nothing.
ExitCode ComplainNoMatch(const ExtractCommandOptions& options) {
  OpenedBags bags;
  qorbag::QorView view;
  return bags.Open({options.input}) ? bags.Select(options.selection, view).value_or(kExitNoMatch) : kExitFailure;
}

/// With an unfinished file in the way, the output itself need not be there.
std::string ReasonText(const qorbag::QorBagExtractor& extractor, ExtractCode code) {
  const bool isInTheWay = code == ExtractCode::kCannotCreate && !common::IsPathExist(extractor.OutputFile()) &&
                          common::IsPathExist(extractor.OutputFile() + ".active");
  return isInTheWay ? "'" + Printable(extractor.OutputFile()) + ".active' is in the way: somebody writes it, or did"
                    : extractor.Reason();
}

ExitCode Finish(const ExtractCommandOptions& options, const qorbag::QorBagExtractor& extractor, ExtractCode code) {
  const qorbag::CopyProgress& progress = extractor.GetExtractProgress();
  if (const std::string fault = UsageFault(code); !fault.empty()) {
    Complain(fault);
    return kExitUsage;
  }
  switch (code) {
    case ExtractCode::kOk:
      if (progress.unreadable != 0) {
        Complain(CountText(progress.unreadable, "message") + " of '" + Printable(options.input) +
                 "' cannot be read and " + (progress.unreadable == 1 ? "is" : "are") + " left out");
        return kExitFailure;
      }
      return kExitDone;
    case ExtractCode::kStopped:
      if (progress.written == 0) {
        Complain("interrupted before the first message: nothing was written");
        return kExitInterrupted;
      }
      Complain("interrupted: '" + Printable(extractor.OutputFile()) + "' has only the first " +
               std::to_string(progress.written) + " of " + CountText(progress.total, "message"));
      return kExitInterrupted;
    case ExtractCode::kNoMessage:
      return ComplainNoMatch(options);
    case ExtractCode::kCannotOpen:
      ComplainUnreadable(options.input);
      return kExitFailure;
    default:
      Complain("'" + Printable(extractor.OutputFile()) + "' was not written: " + ReasonText(extractor, code));
      return kExitFailure;
  }
}

int RunExtract(const ExtractCommandOptions& options) {
  SetUpQuietLog(options.output.verbosity);
  StopSignal stop;
  Output out(STDOUT_FILENO);
  qorbag::QorBagExtractor extractor(ExtractorOptionsOf(options));
  ExtractCode code = ExtractCode::kOk;
  DoInBackground({"Extracting from " + common::GetFileName(options.input), [&] { code = extractor.Extract(); },
                  [&] { return extractor.GetExtractProgress().Share(); }, [&] { extractor.Stop(); }},
                 stop);
  const std::uint64_t written = extractor.GetExtractProgress().written;
  const bool isThere = code == ExtractCode::kOk || (code == ExtractCode::kStopped && written != 0);
  if (isThere && options.output.isJson) {
    out.WriteJson({{"output", extractor.OutputFile()}, {"messages", written}, {"complete", code == ExtractCode::kOk}});
  } else if (isThere) {
    out.Write("Wrote " + CountText(written, "message") + " to " + Printable(extractor.OutputFile()) + "\n");
  }
  const ExitCode ending = Finish(options, extractor, code);
  return out.HasFailed() ? kExitFailure : ending;
}

}  // namespace

void AddExtractCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<ExtractCommandOptions>();
  CLI::App* command = app.add_subcommand("extract", "Copy events, or a part of the time, into a new bag");
  command->footer(kExamples);
  command->add_option("input", options->input, "The bag")->required()->option_text("FILE");
  command->add_option("output", options->outputFile, "The new bag")->required()->option_text("OUTPUT");
  AddEventOptions(*command, options->selection);
  AddTimeOptions(*command, options->selection);
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] { task = [options] { return RunExtract(*options); }; });
}

}  // namespace qor::tools
