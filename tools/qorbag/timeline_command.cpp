// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "src/qorbag/bag_timeline.h"
#include "tools/common/common_options.h"
#include "tools/common/log_setup.h"
#include "tools/common/number_text.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"
#include "tools/qorbag/bag_text.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/opened_bags.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;
using qorbag::BagTimeline;

constexpr std::size_t kMostParts = 100000;
constexpr double kMilli = 1000.0;

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag timeline run.bag                         one row an event, as wide as the terminal\n"
    "  qorbag timeline run.bag -e /vehicle/speed -e /vehicle/gear\n"
    "  qorbag timeline run.bag --start 10 --end 20     a closer look\n"
    "  qorbag timeline run.bag --parts 600 --json      counts for a plot\n"
    "The height of a column says how many messages the event has then, as a share of the most that it has; a dot says\n"
    "none. In a pipe each row has the name, the number of messages, and the counts separated by commas.";

struct TimelineOptions {
  OutputOptions output;
  Selection selection;
  std::vector<std::string> files;
  std::size_t parts = 0;  ///< 0: as many as fit
};

std::uint64_t Total(const std::vector<std::uint64_t>& counts) {
  return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

/// An eighth block for each part, none where there is nothing.
std::string Bars(const std::vector<std::uint64_t>& counts) {
  constexpr std::array<const char*, 9> kBlocks{"\u00B7", "\u2581", "\u2582", "\u2583", "\u2584",
                                               "\u2585", "\u2586", "\u2587", "\u2588"};
  constexpr std::uint64_t kHighest = kBlocks.size() - 1;
  const std::uint64_t most = std::max<std::uint64_t>(1, *std::ranges::max_element(counts));
  std::string text;
  for (const std::uint64_t count : counts) {
    const auto share = static_cast<double>(count) / static_cast<double>(most);
    const auto height = static_cast<std::size_t>(share * static_cast<double>(kHighest));
    text += kBlocks[count == 0 ? 0 : std::clamp<std::size_t>(height, 1, kHighest)];
  }
  return text;
}

void PrintTerminal(const BagTimeline& timeline, std::size_t nameWidth, Output& out) {
  std::string text;
  for (const auto& [name, counts] : timeline.counts) {
    const std::string printable(CutToWidth(Printable(name), nameWidth));
    text += printable + std::string(nameWidth - DisplayWidth(printable) + 1, ' ') + Bars(counts) + " " +
            std::to_string(Total(counts)) + "\n";
  }
  const double seconds = static_cast<double>(timeline.endTime - timeline.beginTime) / kMilli;
  const auto parts = static_cast<double>(timeline.counts.begin()->second.size());
  const double part = (seconds + 1 / kMilli) / parts;
  text += FixedText(seconds, 3) + " s, a column is " + FixedText(part, part < 1.0 ? 6 : 3) + " s\n";
  out.Write(text);
}

void PrintLines(const BagTimeline& timeline, Output& out) {
  for (const auto& [name, counts] : timeline.counts) {
    std::string line = Printable(name) + "\t" + std::to_string(Total(counts)) + "\t";
    for (const std::uint64_t count : counts) {
      line += (line.back() == '\t' ? "" : ",") + std::to_string(count);
    }
    out.Write(line + "\n");
  }
}

void PrintJson(const BagTimeline& timeline, Output& out) {
  for (const auto& [name, counts] : timeline.counts) {
    out.WriteJson({{"event", name},
                   {"begin", timeline.beginTime},
                   {"end", timeline.endTime},
                   {"messages", Total(counts)},
                   {"counts", counts}});
  }
}

/// What a terminal has beside the counts and the name, of which it takes at most 40 columns.
std::size_t NameWidth(const qorbag::QorView& view) {
  constexpr std::size_t kMost = 40;
  std::size_t width = 0;
  for (const qorbag::Connection* connection : view.GetConnections()) {
    width = std::max(width, DisplayWidth(Printable(connection->eventName)));
  }
  return std::min(width, kMost);
}

int RunTimeline(const TimelineOptions& options) {
  constexpr std::size_t kCountWidth = 12;
  constexpr std::size_t kLeast = 20;
  SetUpQuietLog(options.output.verbosity);
  Output out(STDOUT_FILENO);
  OpenedBags bags;
  qorbag::QorView view;
  if (!bags.Open(options.files)) {
    return kExitFailure;
  }
  if (const auto ending = bags.Select(options.selection, view); ending.has_value()) {
    return *ending;
  }
  const std::size_t nameWidth = NameWidth(view);
  const std::size_t columns = out.TerminalSize().columns;
  const std::size_t fitting = std::max(kLeast, columns - std::min(columns, nameWidth + kCountWidth));
  const BagTimeline timeline = qorbag::MakeTimeline(view, options.parts != 0 ? options.parts : fitting);
  if (options.output.isJson) {
    PrintJson(timeline, out);
  } else if (out.IsTerminal()) {
    PrintTerminal(timeline, nameWidth, out);
  } else {
    PrintLines(timeline, out);
  }
  return out.HasFailed() ? kExitFailure : kExitDone;
}

}  // namespace

void AddTimelineCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<TimelineOptions>();
  CLI::App* command =
      app.add_subcommand("timeline", "How the messages of each event spread over time, so that gaps show");
  command->footer(kExamples);
  AddFileArguments(*command, options->files);
  AddEventOptions(*command, options->selection);
  AddTimeOptions(*command, options->selection);
  command->add_option("--parts", options->parts, "Into how many parts the time is cut; otherwise as many as fit")
      ->check(PositiveCount(kMostParts))
      ->option_text("N");
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] { task = [options] { return RunTimeline(*options); }; });
}

}  // namespace qor::tools
