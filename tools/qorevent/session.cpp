// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/session.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <set>

#include "src/common/qor_common.h"
#include "tools/common/log_setup.h"
#include "tools/common/near_names.h"
#include "tools/common/printable.h"
#include "tools/common/run_end.h"

namespace qor::tools {
namespace {

/// The names and everything above them: of "/a/b" also "/a".
std::vector<std::string> Namespaces(const std::vector<std::string>& names) {
  std::set<std::string> namespaces;
  for (const std::string& name : names) {
    for (std::size_t end = name.size(); end != std::string::npos && end > 0; end = name.rfind('/', end - 1)) {
      namespaces.insert(name.substr(0, end));
    }
  }
  return {namespaces.begin(), namespaces.end()};
}

}  // namespace

Session::Session(const CommonOptions& options) : options_(options), out_(STDOUT_FILENO) { SetUpLog(options.verbosity); }

bool Session::Join() {
  if (events_.Init() == 0) {
    return true;
  }
  ComplainNoDaemon();
  return false;
}

ExitCode Session::ComplainUnknown(const std::string& name) {
  std::string pureName;
  std::string uuid;
  if (!QorCommon::GetInstance().GetSubEventName(name, pureName, uuid)) {
    return kExitUsage;
  }
  const auto& names = EventNames();
  if (std::find(names.begin(), names.end(), pureName) != names.end()) {
    Complain("there is an event '" + Printable(pureName) +
             "', but not with the uuid, instance, domain or address given");
  } else {
    Complain("no event is named '" + Printable(name) + "'." + DidYouMean(pureName, names));
  }
  return kExitNoMatch;
}

ExitCode Session::ComplainUnknownNamespace(const std::string& name) {
  Complain("no events in '" + Printable(name) + "'." + DidYouMean(name, Namespaces(EventNames())));
  return kExitNoMatch;
}

const std::vector<std::string>& Session::EventNames() {
  if (!eventNames_.has_value()) {
    const auto proxies = qortools::common::ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
    QorCommon::EventList records;
    // Suggestions are as good as the answers there are.
    static_cast<void>(QorCommon::GetInstance().QueryAllRecords(proxies, records));
    auto& names = eventNames_.emplace();
    for (const auto& record : records) {
      names.push_back(record.eventName);
    }
  }
  return *eventNames_;
}

ExitCode Session::Finish(bool anyAnswered, const common::DaemonSet& missing) {
  if (!anyAnswered) {
    Complain("error: no daemon answered");
    return kExitFailure;
  }
  ComplainMissing(missing, options_.isStrict ? "error" : "warning");
  return out_.HasFailed() || (options_.isStrict && !missing.empty()) ? kExitFailure : kExitDone;
}

}  // namespace qor::tools
