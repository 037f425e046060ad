// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "tools/common/common_options.h"
#include "tools/common/exit_code.h"
#include "tools/common/log_setup.h"
#include "tools/common/output.h"
#include "tools/qorbag/bag_text.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/opened_bags.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag info run.bag\n"
    "  qorbag info run.bag.active                 what a recording has on disk so far\n"
    "  qorbag info *.bag --json | jq -r '[.file, .messages] | @tsv'\n"
    "Times of messages are as the recorder counted them; in JSON in milliseconds.";

struct InfoOptions {
  OutputOptions output;
  std::vector<std::string> files;
};

int RunInfo(const InfoOptions& options) {
  SetUpQuietLog(options.output.verbosity);
  Output out(STDOUT_FILENO);
  bool isFirst = true;
  bool isFailed = false;
  for (const std::string& file : options.files) {
    qorbag::QorBagFile bag;
    qorbag::BagFileHeadInfo info;
    if (!bag.OpenReadForBagHeaderInfo(file) || !bag.GetFileHeaderInfo(info)) {
      ComplainUnreadable(file);
      isFailed = true;
      continue;
    }
    if (options.output.isJson) {
      out.WriteJson(InfoJson(info));
    } else {
      out.Write((isFirst ? "" : "\n") + InfoText(info, out.Style()));
    }
    isFirst = false;
  }
  return isFailed || out.HasFailed() ? kExitFailure : kExitDone;
}

}  // namespace

void AddInfoCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* command = app.add_subcommand("info", "What is in bags: times, size, events and how much of each");
  command->footer(kExamples);
  AddFileArguments(*command, options->files);
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] { task = [options] { return RunInfo(*options); }; });
}

}  // namespace qor::tools
