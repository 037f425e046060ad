// SPDX-License-Identifier: Apache-2.0
#include "platform/com/registration_book.h"

#include <iterator>
#include <utility>

namespace qor::com {

const Registration* RegistrationBook::Add(Registration registration) {
  if (Registration* known = Find(registration.key); known != nullptr) {
    ++known->users;
    return nullptr;
  }
  Registration& added = entries_.emplace_back(std::move(registration));
  byKey_.emplace(added.key, std::prev(entries_.end()));
  return &added;
}

const Registration& RegistrationBook::Put(Registration registration) {
  if (Registration* known = Find(registration.key); known != nullptr) {
    *known = std::move(registration);
    return *known;
  }
  return *Add(std::move(registration));
}

std::optional<Registration> RegistrationBook::Remove(const std::string& key) {
  const auto found = byKey_.find(key);
  if (found == byKey_.end() || --found->second->users > 0) {
    return std::nullopt;
  }
  const auto entry = found->second;
  byKey_.erase(found);
  Registration removed = std::move(*entry);
  entries_.erase(entry);
  return removed;
}

Registration* RegistrationBook::Find(const std::string& key) {
  const auto found = byKey_.find(key);
  return found != byKey_.end() ? &*found->second : nullptr;
}

}  // namespace qor::com
