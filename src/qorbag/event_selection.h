// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_EVENT_SELECTION_H
#define QOR_QORBAG_EVENT_SELECTION_H

#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/qorbag/recorder_options.h"

namespace qor::qorbag {

/// Which of the events that the daemons report a recorder wants. Used by one thread.
class EventSelection {
 public:
  using Records = std::vector<maintaind::EventInfoWithPubSub>;

  /// Must outlive it.
  explicit EventSelection(const RecorderOptions& options) : options_(options) {}

  /// The bindings that are wanted, each as a record of its own; the order stays.
  Records Select(const Records& merged) const;

  /// The listed names that no record has.
  std::vector<std::string> UnknownNames(const Records& merged) const;

  /// By name alone. A listed name may end in an instance in square brackets.
  bool IsWanted(const maintaind::EventInfoWithPubSub& record) const;

 private:
  /// By instance, domain and address; the record has one binding.
  bool FilterPreSubscribeEvent(const maintaind::EventInfoWithPubSub& record) const;

  const RecorderOptions& options_;
};

}  // namespace qor::qorbag

#endif
