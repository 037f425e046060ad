// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/common/files.h"
#include "src/qorbag/bag_check.h"
#include "src/qorbag/file_input.h"
#include "tools/common/background_work.h"
#include "tools/common/common_options.h"
#include "tools/common/exit_code.h"
#include "tools/common/log_setup.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"
#include "tools/common/stop_signal.h"
#include "tools/qorbag/bag_text.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;
using qorbag::BagCheckReport;
using qorbag::BagFault;

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag check run.bag\n"
    "  qorbag check *.bag --json | jq -r 'select(.faultCount > 0) | .file'\n"
    "Reads everything, and compares what a bag says about itself in several places. Each fault is told with its place "
    "in\n"
    "the file; of many the first 100. What stands in payloads that are not compressed cannot be verified.\n"
    "Exit status 1 when something is wrong.";

struct CheckOptions {
  OutputOptions output;
  std::vector<std::string> files;
};

Json ReportJson(const std::string& file, const BagCheckReport& report) {
  Json json{{"file", file},
            {"closed", report.isClosed},
            {"chunks", report.chunkCount},
            {"events", report.connectionCount},
            {"messages", report.messageCount},
            {"faultCount", report.faults.Count()},
            {"faults", Json::array()}};
  for (const BagFault& fault : report.faults.First()) {
    json["faults"].push_back({{"position", fault.position}, {"text", fault.text}});
  }
  return json;
}

std::string ReportText(const std::string& file, const BagCheckReport& report) {
  std::string text;
  for (const BagFault& fault : report.faults.First()) {
    text += Printable(file) + ":" + std::to_string(fault.position) + ": " + Printable(fault.text) + "\n";
  }
  const std::uint64_t count = report.faults.Count();
  return text + Printable(file) + ": " + CountText(report.chunkCount, "chunk") + ", " +
         CountText(report.connectionCount, "event") + ", " + CountText(report.messageCount, "message") + ": " +
         (count == 0 ? "sound" : CountText(count, "fault")) + "\n";
}

/// Of one file.
ExitCode Check(const std::string& file, bool isJson, StopSignal& stop, Output& out) {
  qorbag::FileInput input(file);
  if (!input.IsOpen()) {
    Complain("'" + Printable(file) +
             "' cannot be read: " + (::access(file.c_str(), R_OK) != 0 ? std::strerror(errno) : "it is no file"));
    return kExitFailure;
  }
  qorbag::BagCheck check(input);
  BagCheckReport report;
  std::atomic<bool> isCancelled{false};
  DoInBackground({"Checking " + common::GetFileName(file), [&] { report = check.Run(isCancelled); },
                  [&check] { return check.Progress(); }, [&isCancelled] { isCancelled = true; }},
                 stop);
  if (isCancelled) {
    Complain("interrupted: '" + Printable(file) + "' is not checked to its end");
    return kExitInterrupted;
  }
  if (isJson) {
    out.WriteJson(ReportJson(file, report));
  } else {
    out.Write(ReportText(file, report));
  }
  return report.faults.Count() == 0 ? kExitDone : kExitFailure;
}

int RunCheck(const CheckOptions& options) {
  SetUpQuietLog(options.output.verbosity);
  StopSignal stop;
  Output out(STDOUT_FILENO);
  ExitCode code = kExitDone;
  for (const std::string& file : options.files) {
    const ExitCode one = Check(file, options.output.isJson, stop, out);
    code = one != kExitDone ? one : code;
    if (one == kExitInterrupted) {
      break;
    }
  }
  return out.HasFailed() ? kExitFailure : code;
}

}  // namespace

void AddCheckCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App* command = app.add_subcommand("check", "Read all of bags and tell what is wrong with them, and where");
  command->footer(kExamples);
  AddFileArguments(*command, options->files);
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] { task = [options] { return RunCheck(*options); }; });
}

}  // namespace qor::tools
