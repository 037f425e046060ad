// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_faults.h"

#include <algorithm>
#include <map>
#include <utility>

namespace qor::com {

void DeploymentFaults::Error(std::string pointer, std::string message) {
  ++errorCount_;
  Notice(std::move(pointer), std::move(message));
}

void DeploymentFaults::Notice(std::string pointer, std::string message) {
  if (entries_.size() >= kMaxFaults) {
    isCut_ = true;
    return;
  }
  entries_.push_back(Entry{std::move(pointer), std::move(message)});
}

void DeploymentFaults::Finish(const std::string& file, const JsonLocator& locator,
                              std::vector<DeploymentFault>& result) const {
  std::vector<DeploymentFault> faults;
  for (const JsonProblem& problem : locator.Problems()) {
    faults.push_back(DeploymentFault{file, problem.line, problem.pointer, problem.message});
  }
  std::map<std::string, std::size_t> lines;
  for (const Entry& entry : entries_) {
    lines[entry.pointer] = 0;
  }
  if (!lines.empty()) {
    locator.Locate(lines);
  }
  for (const Entry& entry : entries_) {
    faults.push_back(DeploymentFault{file, lines[entry.pointer], entry.pointer, entry.message});
  }
  std::stable_sort(faults.begin(), faults.end(),
                   [](const DeploymentFault& left, const DeploymentFault& right) { return left.line < right.line; });
  if (isCut_) {
    faults.push_back(
        DeploymentFault{file, 0, "", "more than " + std::to_string(kMaxFaults) + " faults, not all shown"});
  }
  result.insert(result.end(), faults.begin(), faults.end());
}

}  // namespace qor::com
