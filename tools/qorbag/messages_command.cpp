// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "src/qorbag/message_renderer.h"
#include "src/qorbag/recorded_definitions.h"
#include "tools/common/common_options.h"
#include "tools/common/log_setup.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"
#include "tools/common/sample_printer.h"
#include "tools/common/stop_signal.h"
#include "tools/qorbag/bag_text.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/opened_bags.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag messages run.bag                              all, in the order of time\n"
    "  qorbag messages run.bag -e /vehicle/speed --time     one event, with the time of each message\n"
    "  qorbag messages a.bag b.bag --start 10 --end 12.5    of several bags together, two and a half seconds\n"
    "  qorbag messages run.bag -e /vehicle/speed --field wheel[2].rpm\n"
    "  qorbag messages run.bag --json | jq .value\n"
    "Payloads are printed by the type definitions that the bag has; without one, as bytes. With --json every message\n"
    "is one line.";

struct MessagesOptions {
  OutputOptions output;
  SampleLayout layout;
  Selection selection;
  std::vector<std::string> files;
  std::uint64_t count = std::numeric_limits<std::uint64_t>::max();
};

/// Prints the messages of a view. Used by one thread.
class MessagesRun {
 public:
  explicit MessagesRun(const MessagesOptions& options)
      : options_(options), layout_(options.layout), out_(STDOUT_FILENO) {}

  int Run() {
    if (!bags_.Open(options_.files)) {
      return kExitFailure;
    }
    qorbag::QorView view;
    if (const auto ending = bags_.Select(options_.selection, view); ending.has_value()) {
      return *ending;
    }
    if (const auto ending = Prepare(view); ending.has_value()) {
      return *ending;
    }
    return Print(view);
  }

 private:
  struct Printer {
    qorbag::MessageRenderer renderer;
    SamplePrinter printer;
  };

  /// Makes a printer for each connection, or says how the run ends.
  std::optional<ExitCode> Prepare(const qorbag::QorView& view) {
    layout_.hasSeveralNames = HasSeveralNames(view);
    rawLayout_ = layout_;
    rawLayout_.isRaw = true;
    const auto faults = Define(view);
    std::string fault;
    for (const qorbag::Connection* connection : view.GetConnections()) {
      const std::string& name = connection->eventName;
      const auto undefined = faults.find(connection);
      const SampleLayout& layout = undefined == faults.end() ? layout_ : rawLayout_;
      qorbag::MessageRenderer renderer(*connection, layout.Rendering(), definitions_, bags_.HasDdsEvent(name));
      const std::string& why = undefined != faults.end() ? undefined->second : renderer.Fault();
      if (!layout_.fieldPath.empty() && !renderer.IsFieldKnown()) {
        fault = "'" + Printable(name) + "': " + Printable(why);
        continue;
      }
      if (!renderer.IsDescribed() && !layout_.isRaw && told_.insert(name).second) {
        Complain("the messages of '" + Printable(name) + "' are printed as bytes: " + Printable(why));
      }
      printers_.emplace(connection, Printer{std::move(renderer), SamplePrinter(layout, name)});
    }
    if (printers_.empty()) {
      Complain(fault);
      return kExitUsage;
    }
    return std::nullopt;
  }

  /// Takes the definitions of all connections. Which ones cannot be used, and why: one type can have one definition.
  std::map<const qorbag::Connection*, std::string> Define(const qorbag::QorView& view) {
    std::map<const qorbag::Connection*, std::string> faults;
    for (const qorbag::Connection* connection : view.GetConnections()) {
      if (!layout_.isRaw && !definitions_.Add(*connection)) {
        faults.emplace(connection, definitions_.Fault());
      }
    }
    return faults;
  }

  static bool HasSeveralNames(const qorbag::QorView& view) {
    const auto connections = view.GetConnections();
    return std::ranges::any_of(connections, [&](const qorbag::Connection* connection) {
      return connection->eventName != connections.front()->eventName;
    });
  }

  int Print(const qorbag::QorView& view) {
    StopSignal stop;
    qorbag::QorBuffer payload;
    std::uint64_t unreadable = 0;
    std::uint64_t malformed = 0;
    std::uint64_t printed = 0;
    for (auto at = view.Begin(); !at.IsEnd() && printed < options_.count && !IsOver(stop); at.Increase()) {
      const qorbag::QorMsgEntity& message = at.Value();
      const auto printer = printers_.find(&message.GetConnection());
      if (printer == printers_.end()) {
        continue;
      }
      if (message.WriteMsg(payload, 0) != qorbag::QorBagFile::kOk) {
        ++unreadable;
        continue;
      }
      if (!printer->second.renderer.Render(message.GetBagVersion(), message.GetTime(), payload.Bytes(), sample_)) {
        ++malformed;
        continue;
      }
      text_ += printer->second.printer.Print(sample_);
      ++printed;
    }
    out_.Write(text_);
    if (unreadable != 0) {
      Complain(CountText(unreadable, "message") + " cannot be read; 'qorbag check' tells where and what is wrong");
    }
    if (malformed != 0) {
      Complain(CountText(malformed, "message") + " cannot be printed: the payload is none of the event");
    }
    return unreadable + malformed != 0 || out_.HasFailed() ? kExitFailure : kExitDone;
  }

  /// Writes what has gathered, and looks whether anybody still wants more.
  bool IsOver(StopSignal& stop) {
    constexpr std::size_t kMuch = std::size_t{64} << 10U;
    if (text_.size() < kMuch && !out_.IsTerminal()) {
      return false;
    }
    out_.Write(text_);
    text_.clear();
    return stop.IsRaised() || out_.HasReaderGone();
  }

  const MessagesOptions& options_;
  SampleLayout layout_;
  SampleLayout rawLayout_;  ///< of events whose definition cannot be used
  Output out_;
  OpenedBags bags_;
  qorbag::RecordedDefinitions definitions_;
  std::map<const qorbag::Connection*, Printer> printers_;
  std::set<std::string> told_;  ///< events whose messages are printed as bytes
  qorevent::SampleInfo sample_;
  std::string text_;
};

int RunMessages(const MessagesOptions& options) {
  SetUpQuietLog(options.output.verbosity);
  return MessagesRun(options).Run();
}

}  // namespace

void AddMessagesCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<MessagesOptions>();
  CLI::App* command = app.add_subcommand("messages", "Print the messages of bags as text, in the order of time");
  command->footer(kExamples);
  AddFileArguments(*command, options->files);
  AddEventOptions(*command, options->selection);
  AddTimeOptions(*command, options->selection);
  AddLayoutOptions(*command, options->layout, "When each message was recorded, local time");
  command->add_option("-n,--count", options->count, "End after so many messages")
      ->check(PositiveCount(std::numeric_limits<std::uint64_t>::max()))
      ->option_text("N");
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] {
    options->layout.isJson = options->output.isJson;
    task = [options] { return RunMessages(*options); };
  });
}

}  // namespace qor::tools
