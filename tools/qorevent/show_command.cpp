// SPDX-License-Identifier: Apache-2.0
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
  bool isComplete = session.Events().AllDaemonsAnswered();
  if (events.empty() && !isComplete) {
    session.Finish(isComplete);
    return kExitFailure;
  }
  if (events.empty() && result != 0) {
    return session.ComplainUnknown(options.name);
  }
  for (std::size_t i = 0; i < events.size(); ++i) {
    ShowReturnValue type;
    // Many an event has no deployed type; then there is nothing to show of it.
    static_cast<void>(session.Events().QueryEventShowInfo(events[i].record.eventName, type, options.filter));
    isComplete = isComplete && session.Events().AllDaemonsAnswered();
    if (session.IsJson()) {
      session.Out().WriteJson(ShowJson(events[i], type));
    } else {
      session.Out().Write((i == 0 ? "" : "\n") + ShowText(events[i], type, session.Out().UsesColor()));
    }
  }
  return session.Finish(isComplete);
}

}  // namespace

void AddShowCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* command = app.add_subcommand("show", "Show everything that is known about an event");
  command->footer(kExamples);
  command->add_option("name", options->name, "Event name; a uuid may follow in square brackets; ALL for every event")
      ->required()
      ->check(EventName())
      ->option_text("NAME");
  AddFilterOptions(*command, options->filter);
  AddCommonOptions(*command, options->common);
  command->callback([options, &task] { task = [options] { return RunShow(*options); }; });
}

}  // namespace qor::tools
