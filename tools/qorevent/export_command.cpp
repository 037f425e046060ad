// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <ctime>
#include <memory>
#include <string>

#include "src/common/checks.h"
#include "src/common/error_texts.h"
#include "src/common/files.h"
#include "src/common/qor_common.h"
#include "tools/common/printable.h"
#include "tools/common/stop_signal.h"
#include "tools/qorevent/commands.h"
#include "tools/qorevent/session.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorevent export                            a new file in the current folder, named by date and time\n"
    "  qorevent export -d /tmp/report -o all.json\n"
    "  qorevent export --json | jq -r .path       where it is\n"
    "The file appears when it is whole. A file that exists is never replaced.";

struct ExportOptions {
  CommonOptions common;
  std::string directory;
  std::string fileName;
};

/// "qorevent_20250131_235959.json", in local time.
std::string DefaultFileName() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[64];
  std::strftime(text, sizeof text, "qorevent_%Y%m%d_%H%M%S.json", &local);
  return text;
}

/// Why no file can be put into the folder, a canonical path; empty when nothing speaks against it.
std::string FaultOf(const std::string& folder) {
  const auto unsafe = std::find_if(folder.begin(), folder.end(),
                                   [](char c) { return !common::HasOnlySafeCharacters(std::string(1, c)); });
  if (unsafe != folder.end()) {
    return "the character '" + Printable(std::string(1, *unsafe)) + "' in the path is refused";
  }
  if (common::IsPathExist(folder)) {
    return common::IsDirectory(folder) ? "" : "it is no folder";
  }
  const std::string parent = folder.substr(0, std::max<std::size_t>(folder.rfind('/'), 1));
  return common::IsDirectory(parent) ? "" : "the folder '" + Printable(parent) + "' does not exist";
}

void PrintReport(Session& session, const qorevent::QorEvent::ExportReport& report) {
  if (session.IsJson()) {
    session.Out().WriteJson({{"path", report.path}, {"events", report.eventCount}});
  } else {
    session.Out().Write("Wrote " + std::to_string(report.eventCount) + (report.eventCount == 1 ? " event" : " events") +
                        " to " + Printable(report.path) + "\n");
  }
}

int RunExport(const ExportOptions& options) {
  StopSignal stop;
  Session session(options.common);
  const std::string folder = common::GetCanonicalPath(options.directory.empty() ? "./" : options.directory);
  if (const std::string fault = FaultOf(folder); !fault.empty()) {
    Complain("cannot export to '" + Printable(folder) + "': " + fault);
    return kExitUsage;
  }
  if (!session.Join()) {
    return kExitFailure;
  }
  const std::string fileName = options.fileName.empty() ? DefaultFileName() : options.fileName;
  qorevent::QorEvent::ExportReport report;
  const int code = session.Events().Export(folder, fileName, report, [&stop] { return stop.IsRaised(); });
  if (code == qorevent::QorEvent::kExportCancelled) {
    return kExitInterrupted;
  }
  if (code == common::kQueryFailed && !session.Events().AnyDaemonAnswered()) {
    return session.Finish();
  }
  if (code != 0) {
    const std::string& subject = report.path.empty() ? folder : report.path;
    Complain("'" + Printable(subject) + "': " + QorCommon::GetInstance().GetErrMsg(code));
    return kExitFailure;
  }
  PrintReport(session, report);
  return session.Finish();
}

}  // namespace

void AddExportCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<ExportOptions>();
  CLI::App* command = app.add_subcommand("export", "Write all events and the nodes on both sides to a JSON file");
  command->footer(kExamples);
  command->add_option("-d,--directory", options->directory, "Folder for the file; made when its parent is there")
      ->option_text("FOLDER");
  command->add_option("-o,--output", options->fileName, "Name of the file: letters, digits, '-', '_', '@', '#', '.'")
      ->check(FileName())
      ->option_text("FILE");
  AddCommonOptions(*command, options->common);
  command->callback([options, &task] { task = [options] { return RunExport(*options); }; });
}

}  // namespace qor::tools
