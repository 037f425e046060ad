// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <memory>
#include <string>

#include "src/common/error_texts.h"
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

/// A file or path name that cannot be.
bool IsUsersMistake(int code) { return code == common::kBadFileName || code == common::kBadPathName; }

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
  if (!session.Join()) {
    return kExitFailure;
  }
  const std::string fileName = options.fileName.empty() ? DefaultFileName() : options.fileName;
  qorevent::QorEvent::ExportReport report;
  const int code = session.Events().Export(options.directory, fileName, report, [&stop] { return stop.IsRaised(); });
  if (code == qorevent::QorEvent::kExportCancelled) {
    return kExitInterrupted;
  }
  if (code != 0) {
    const std::string& subject = report.path.empty() ? fileName : report.path;
    Complain("'" + Printable(subject) + "': " + QorCommon::GetInstance().GetErrMsg(code));
    return IsUsersMistake(code) ? kExitUsage : kExitFailure;
  }
  PrintReport(session, report);
  return session.Finish(session.Events().AllDaemonsAnswered());
}

}  // namespace

void AddExportCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<ExportOptions>();
  CLI::App* command = app.add_subcommand("export", "Write all events and the nodes on both sides to a JSON file");
  command->footer(kExamples);
  command->add_option("-d,--directory", options->directory, "Folder for the file; made when its parent is there")
      ->option_text("FOLDER");
  command->add_option("-o,--output", options->fileName, "Name of the file: letters, digits, '-', '_', '@', '#', '.'")
      ->option_text("FILE");
  AddCommonOptions(*command, options->common);
  command->callback([options, &task] { task = [options] { return RunExport(*options); }; });
}

}  // namespace qor::tools
