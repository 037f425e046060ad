// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/qorevent/commands.h"
#include "tools/qorevent/session.h"
#include "tools/qorevent/show_text.h"

namespace qor::tools {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  qorevent show /vehicle/speed\n"
    "  qorevent show '/vehicle/speed[7]'              the one with the uuid 7\n"
    "  qorevent show /vehicle/speed --domain-id 3     the one in DDS domain 3\n"
    "  qorevent show ALL --json | jq .name";

struct ShowOptions {
  CommonOptions common;
  CommonFilter filter;
  std::string name;
};

int RunShow(const ShowOptions& options) {
  Session session(options.common);
  if (!session.Join()) {
    return kExitFailure;
  }
  std::vector<qorevent::EventDetails> events;
  const int result = session.Events().QueryDetails(options.name, events, options.filter);
  if (result != 0 && !session.Events().AllDaemonsAnswered()) {  // a daemon that is silent may know the event
    session.Finish();
    return kExitFailure;
  }
  if (result != 0) {
    return session.ComplainUnknown(options.name);
  }
  std::stable_sort(events.begin(), events.end(),
                   [](const auto& left, const auto& right) { return left.record.eventName < right.record.eventName; });
  for (std::size_t i = 0; i < events.size(); ++i) {
    if (session.IsJson()) {
      session.Out().WriteJson(ShowJson(events[i]));
    } else {
      session.Out().Write((i == 0 ? "" : "\n") + ShowText(events[i], session.Out().UsesColor()));
    }
  }
  const ExitCode code = session.Finish();
  if (events.empty() && code == kExitDone) {
    Complain("no events");
  }
  return code;
}

}  // namespace

void AddShowCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* command = app.add_subcommand("show", "Show everything that is known about an event");
  command->footer(kExamples);
  command->add_option("name", options->name, "Event name; a uuid may follow in square brackets; ALL for every event")
      ->check(EventName())
      ->option_text("NAME");
  AddFilterOptions(*command, options->filter);
  AddCommonOptions(*command, options->common);
  command->callback([options, &task] {
    if (options->name.empty()) {
      throw CLI::RequiredError("NAME");
    }
    task = [options] { return RunShow(*options); };
  });
}

}  // namespace qor::tools
