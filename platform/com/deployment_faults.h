// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_FAULTS_H
#define QOR_COM_DEPLOYMENT_FAULTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "platform/com/deployment.h"
#include "platform/com/json_locator.h"

namespace qor::com {

/// Collects the faults of one file; the lines are found once, at the end. One thread.
class DeploymentFaults {
 public:
  /// Faults of one file that are kept; a file with more is no deployment file.
  static constexpr std::size_t kMaxFaults = 200;

  /// The entry at `pointer` cannot be used.
  void Error(std::string pointer, std::string message);
  /// Something is wrong at `pointer`, but what it belongs to can be used.
  void Notice(std::string pointer, std::string message);

  /// Errors so far: an entry is good when reading it did not change this.
  std::size_t ErrorCount() const { return errorCount_; }

  /// Appends all faults to `result` in the order of their lines.
  void Finish(const std::string& file, const JsonLocator& locator, std::vector<DeploymentFault>& result) const;

 private:
  struct Entry {
    std::string pointer;
    std::string message;
  };

  std::vector<Entry> entries_;
  std::size_t errorCount_ = 0;
  bool isCut_ = false;
};

}  // namespace qor::com

#endif
