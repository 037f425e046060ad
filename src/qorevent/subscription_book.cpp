// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/subscription_book.h"

#include <utility>

namespace qor::qorevent {

void SubscriptionBook::Add(const std::string& name, std::vector<com::Subscriber> subscribers) {
  subscribers_.insert_or_assign(name, std::move(subscribers));
  failed_.erase(name);
  givenUp_.erase(name);
}

void SubscriptionBook::Remove(const std::string& name) {
  subscribers_.erase(name);
  givenUp_.insert(name);
}

std::uint64_t SubscriptionBook::LostCount(const std::string& name) const {
  std::uint64_t count = 0;
  if (const auto found = subscribers_.find(name); found != subscribers_.end()) {
    for (const com::Subscriber& subscriber : found->second) {
      count += subscriber.GetLostCount();
    }
  }
  return count;
}

}  // namespace qor::qorevent
