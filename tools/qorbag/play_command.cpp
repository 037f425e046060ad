// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/common/name_pattern.h"
#include "tools/common/common_options.h"
#include "tools/common/quantity.h"
#include "tools/qorbag/commands.h"
#include "tools/qorbag/play_run.h"
#include "tools/qorbag/selection.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorbag play run.bag                                   all events, as they came\n"
    "  qorbag play run.bag --rate 0.5 --start 60 -d 10       ten seconds, at half the speed\n"
    "  qorbag play run.bag -e /vehicle/speed --loop          one event, again and again\n"
    "  qorbag play run.bag -x '/camera/*'                   without the cameras\n"
    "  qorbag play run.bag --remap /speed:=/recorded/speed   beside the live one\n"
    "  qorbag play run.bag --pause                           begins paused\n"
    "TIME is such as 90, 0.5, 10m or 1h30m; a number alone counts seconds.\n"
    "On a terminal: space pauses and goes on, s or the right arrow plays one message while paused, t turns --trace on\n"
    "and off, q quits. Events that are offered live are not played over: then nothing is played.";

/// "a:=b" in two; nothing when a part is missing or a pattern.
std::optional<std::pair<std::string, std::string>> SplitRemap(const std::string& text) {
  const std::size_t at = text.find(":=");
  if (at == 0 || at == std::string::npos || at + 2 == text.size() || common::IsNamePattern(text)) {
    return std::nullopt;
  }
  return std::pair(text.substr(0, at), text.substr(at + 2));
}

CLI::Validator Remap() {
  return CLI::Validator(
      [](const std::string& text) {
        return SplitRemap(text) ? std::string() : "'" + text + "' is refused: expected OLD:=NEW, two names";
      },
      "");
}

void AddEventOptions(CLI::App& command, qorbag::PlayerOptions& player) {
  const auto add = [&](const char* name, auto& value, const char* kind, const char* text) {
    return command.add_option(name, value, text)->option_text(kind)->allow_extra_args(false);
  };
  add("-e,--event", player.eventNames, "NAME", "Only this event: a name, or a pattern with * and ?; may be repeated");
  add("-x,--exclude", player.excluded, "NAME", "But not this event: the same");
  command
      .add_option_function<std::vector<std::string>>(
          "--remap",
          [&player](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) {
              const auto [oldName, newName] = SplitRemap(text).value();
              if (!player.eventRenames.emplace(oldName, newName).second) {
                throw CLI::ValidationError("--remap: '" + oldName + "' is given two names");
              }
            }
          },
          "Play the event OLD under the name NEW; may be repeated")
      ->check(Remap())
      ->option_text("OLD:=NEW")
      ->allow_extra_args(false);
}

void AddTimeOptions(CLI::App& command, qorbag::PlayerOptions& player) {
  const auto add = [&](const char* name, double& value, const char* kind, const char* text) {
    return command.add_option(name, value, text)->option_text(kind)->group("When");
  };
  const auto flag = [&](const char* name, bool& value, const char* text) {
    command.add_flag(name, value, text)->group("When");
  };
  const auto addTime = [&](const char* name, double& value, double least, double most, const char* text) {
    AddDurationOption(command, name, value, least, most, text)->group("When");
  };
  constexpr double kLeast = 0.001;
  constexpr double kMost = 1e9;
  addTime("--start", player.startTime, 0, player.maxStartTime, "From so long after the first message");
  addTime("-d,--duration", player.duration, kLeast, kMost, "So much of the bag");
  add("-r,--rate", player.rate, "FACTOR", "Speed: 2 is twice as fast")
      ->check(CLI::Range(player.minRate, player.maxRate));
  add("-f,--frequency", player.frequency, "HZ", "So many messages a second, whatever their times")
      ->check(CLI::Range(0.001, player.maxFrequency));
  flag("--immediate", player.immediate, "As fast as possible");
  addTime("--skip-empty", player.skipEmpty, kLeast, kMost, "Leave out silences that are longer");
  player.delayTime = 1;
  addTime("--delay", player.delayTime, 0, player.maxDelayTime,
          "Wait before the first message, so that subscribers can come: 1 second by default");
  flag("-l,--loop", player.loop, "Begin again at the end");
  flag("-p,--pause", player.pause, "Begin paused");
  command.add_option("--trace", player.traceEvent, "Pause whenever it is the turn of this event")
      ->check([](const std::string& text) {
        return common::IsNamePattern(text) ? "'" + text + "' is refused: expected a name, not a pattern"
                                           : std::string();
      })
      ->option_text("NAME")
      ->group("When");
  flag("--adjust-clock", player.adjustClock, "Set the system's clock to the time of the first message");
}

void AddTargetOptions(CLI::App& command, PlayCommandOptions& options) {
  qorbag::PlayerOptions& player = options.player;
  const auto add = [&](const char* name, auto& value, const char* kind, const char* text) {
    return command.add_option(name, value, text)->option_text(kind)->group("Where to");
  };
  add("--domain-id", player.domainId, "0..63", "DDS domain, instead of the recorded ones")->check(DomainId());
  add("--ip", player.ip, "ADDRESS", "Local address of all publishers; 127.0.0.1: this host only")
      ->check(NetworkAddress());
  add("--dds-network", player.ddsNet, "ADDRESS", "Address of the network for DDS events")->check(NetworkAddress());
  add("--someip-network", player.someipNet, "NAME", "Name of the network for SOME/IP events")
      ->check(SomeipNetworkName());
  command
      .add_option_function<std::string>(
          "--port",
          [&player](const std::string& range) { player.port = range.starts_with('[') ? range : "[" + range + "]"; },
          "Ports for SOME/IP services, when recorded ones are in use")
      ->option_text("LOW,HIGH")
      ->group("Where to");
  add("--queue-size", player.queueSize, "N", "Samples that a DDS publisher keeps, instead of as recorded")
      ->check(PositiveCount(player.maxQueueSize));
  command
      .add_flag_function(
          "--plain", [&player](std::int64_t /*count*/) { player.changeMode = 1; }, "Publish mbuf samples as plain ones")
      ->group("Where to");
  command
      .add_flag("--access-control", player.accessControl, "Announce that publishing on the DDS topics needs a right")
      ->group("Where to");
}

}  // namespace

void AddPlayCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<PlayCommandOptions>();
  CLI::App* command = app.add_subcommand("play", "Publish the messages of bags again");
  command->footer(kExamples);
  AddFileArguments(*command, options->player.files);
  AddEventOptions(*command, options->player);
  AddTimeOptions(*command, options->player);
  AddTargetOptions(*command, *options);
  command->add_flag("-q,--quiet", options->player.quiet, "Do not show how it goes");
  AddOutputOptions(*command, options->output);
  command->callback([options, &task] { task = [options] { return PlayRun(*options).Run(); }; });
}

}  // namespace qor::tools
