// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_SUBSCRIPTION_BOOK_H
#define QOR_QOREVENT_SUBSCRIPTION_BOOK_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/com/subscriber.h"

namespace qor::qorevent {

/// Which of the named events are subscribed, which could not be, and which were given up. Owns the subscriptions:
/// taking one out ends it, and waits for a handler that is running. Used by one thread at a time, never from a receive
/// handler.
class SubscriptionBook {
 public:
  bool IsSubscribed(const std::string& name) const { return subscribers_.count(name) != 0; }
  bool IsFailed(const std::string& name) const { return failed_.count(name) != 0; }
  bool IsGivenUp(const std::string& name) const { return givenUp_.count(name) != 0; }
  bool IsEmpty() const { return subscribers_.empty(); }

  /// An event with two bindings has one subscription for each of them.
  void Add(const std::string& name, std::vector<com::Subscriber> subscribers);
  void SetFailed(const std::string& name) { failed_.insert(name); }
  /// Ends the subscription, if there is one; until the next Add the event is given up.
  void Remove(const std::string& name);

  /// Samples that the transports know were lost.
  std::uint64_t LostCount(const std::string& name) const;

 private:
  std::map<std::string, std::vector<com::Subscriber>> subscribers_;
  std::set<std::string> failed_;
  std::set<std::string> givenUp_;
};

}  // namespace qor::qorevent

#endif
