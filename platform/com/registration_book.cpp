// SPDX-License-Identifier: Apache-2.0
#include "platform/com/registration_book.h"

#include <algorithm>
#include <utility>

namespace qor::com {

const Registration* RegistrationBook::Add(Registration registration) {
  if (Registration* known = Find(registration.key); known != nullptr) {
    ++known->users;
    return nullptr;
  }
  return &entries_.emplace_back(std::move(registration));
}

std::optional<Registration> RegistrationBook::Remove(const std::string& key) {
  const auto found = std::ranges::find(entries_, key, &Registration::key);
  if (found == entries_.end() || --found->users > 0) {
    return std::nullopt;
  }
  Registration removed = std::move(*found);
  entries_.erase(found);
  return removed;
}

Registration* RegistrationBook::Find(const std::string& key) {
  const auto found = std::ranges::find(entries_, key, &Registration::key);
  return found != entries_.end() ? &*found : nullptr;
}

}  // namespace qor::com
