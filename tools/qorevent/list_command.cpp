// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <memory>
#include <string>

#include "src/qorevent/filter_conflict.h"
#include "tools/common/table.h"
#include "tools/qorevent/commands.h"
#include "tools/qorevent/event_text.h"
#include "tools/qorevent/session.h"

namespace qor::tools {
namespace {

using qorevent::CommunicableType;
using qorevent::RoleType;

constexpr char kExamples[] =
    "Examples:\n"
    "  qorevent list                          every event\n"
    "  qorevent list --namespace /vehicle     those below /vehicle\n"
    "  qorevent list -c local                 those whose publisher can be reached by shared memory\n"
    "  qorevent list -s --wide                those with subscribers, and who they are\n"
    "  qorevent list --json | jq -r 'select(.state == \"offline\").name'\n"
    "In a pipe the columns are separated by tabs, without a heading.";

const std::map<std::string, CommunicableType> kDistances{{"local", CommunicableType::kLocal},
                                                         {"network", CommunicableType::kNetwork},
                                                         {"cross", CommunicableType::kCross},
                                                         {"all", CommunicableType::kAll}};

struct ListOptions {
  CommonOptions common;
  std::string nameSpace;
  std::string distance;  ///< empty: not chosen
  bool isPublishers = false;
  bool isSubscribers = false;
  bool isAllRoles = false;
  bool isWide = false;
};

qorevent::EventFilter FilterOf(const ListOptions& options) {
  qorevent::EventFilter filter;
  const bool isChosen = !options.distance.empty();
  if (options.isSubscribers) {
    filter.roleType = RoleType::kSubscriber;
  } else if (options.isPublishers || (isChosen && !options.isAllRoles)) {
    filter.roleType = RoleType::kPublisher;
  }
  if (isChosen) {
    filter.communicableType = kDistances.at(options.distance);
  }
  return filter;
}

/// Before the daemons are asked, so that a wrong command line is a wrong command line without them, too.
bool IsRefused(const ListOptions& options, const qorevent::EventFilter& filter) {
  const bool isChosen = !options.distance.empty();
  const bool isRefused = options.nameSpace.empty() ? RefusesQueryAll(filter.roleType, isChosen)
                                                   : RefusesQueryAllWithNamespace(filter.roleType, isChosen);
  if (isRefused) {
    Complain("-c chooses among publishers: leave out -s and -a");
  }
  return isRefused;
}

std::vector<std::string> RowOf(const qorevent::QorEventInfo& event, bool isWide) {
  return {event.displayName,
          event.binding,
          PublisherState(event),
          event.publisher,
          isWide ? Join(event.subscribers, ",") : std::to_string(event.subscribers.size()),
          Join(event.transports, ","),
          event.binding == "DDS" ? std::to_string(event.domainId) : std::string(),
          event.dataTypeName};
}

void Print(Session& session, const qorevent::QorEvent::Entries& events, bool isWide) {
  if (session.IsJson()) {
    for (const auto& event : events) {
      session.Out().WriteJson(EventJson(event));
    }
    return;
  }
  Table table(
      {"EVENT", "BINDING", "STATE", "PUBLISHER", isWide ? "SUBSCRIBERS" : "SUBS", "TRANSPORTS", "DOMAIN", "TYPE"});
  for (const auto& event : events) {
    table.AddRow(RowOf(event, isWide));
  }
  if (!table.IsEmpty()) {
    session.Out().Write(table.ToText(session.Out().Style()));
  }
}

int RunList(const ListOptions& options) {
  Session session(options.common);
  const qorevent::EventFilter filter = FilterOf(options);
  if (IsRefused(options, filter)) {
    return kExitUsage;
  }
  if (!session.Join()) {
    return kExitFailure;
  }
  qorevent::QorEvent::Entries events;
  // A daemon that did not answer is what AllDaemonsAnswered tells, too.
  static_cast<void>(options.nameSpace.empty()
                        ? session.Events().QueryAll(events, filter)
                        : session.Events().QueryAllWithNamespace(options.nameSpace, events, filter));
  std::stable_sort(events.begin(), events.end(),
                   [](const auto& left, const auto& right) { return left.displayName < right.displayName; });
  Print(session, events, options.isWide);
  const ExitCode code = session.Finish();
  if (!events.empty() || code != kExitDone) {
    return code;
  }
  if (options.nameSpace.empty()) {
    Complain("no events");
    return kExitDone;
  }
  // A daemon that is silent may know the namespace.
  return session.Events().AllDaemonsAnswered() ? session.ComplainUnknownNamespace(options.nameSpace) : kExitFailure;
}

}  // namespace

void AddListCommand(CLI::App& app, Task& task) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app.add_subcommand("list", "List events, their publishers and their subscribers");
  command->footer(kExamples);
  command->add_option("--namespace", options->nameSpace, "Only the event of this name and those named below it")
      ->option_text("NAME");
  auto* publishers = command->add_flag("-p,--publishers", options->isPublishers, "Only events with a publisher");
  auto* subscribers = command->add_flag("-s,--subscribers", options->isSubscribers, "Only events with subscribers");
  auto* all = command->add_flag("-a,--all", options->isAllRoles, "Events with either (the default without -c)");
  publishers->excludes(subscribers)->excludes(all);
  subscribers->excludes(all);
  command
      ->add_option("-c,--communicable", options->distance,
                   "Only published events that can be received here: by shared memory (local), by network, across "
                   "host domains (cross), or by any of these (all)")
      ->check(CLI::IsMember(std::vector<std::string>{"local", "network", "cross", "all"}))
      ->option_text("local|network|cross|all");
  command->add_flag("-w,--wide", options->isWide, "Name the subscribers instead of counting them");
  AddCommonOptions(*command, options->common);
  command->callback([options, &task] { task = [options] { return RunList(*options); }; });
}

}  // namespace qor::tools
