// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_REGISTRATION_BOOK_H
#define QOR_COM_REGISTRATION_BOOK_H

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qor::com {

/// One thing that the daemon is to know, as the requests that tell it.
struct Registration {
  std::string key{};          ///< unique in its book
  std::string description{};  ///< for a person, such as "event 'x'"
  std::uint16_t registerMethod = 0;
  std::vector<std::uint8_t> registerPayload{};
  std::uint16_t unregisterMethod = 0;
  std::vector<std::uint8_t> unregisterPayload{};
  std::uint32_t users = 1;
  bool isRefusalLogged = false;
};

/// What a process has registered, in the order in which a daemon must hear it. Not synchronised.
class RegistrationBook {
 public:
  /// The entry, if its key is new; null when it was there and has one user more now.
  const Registration* Add(Registration registration);
  /// The entry, new or with what it says replaced. It has one user.
  const Registration& Put(Registration registration);
  /// The entry, if that was its last user.
  std::optional<Registration> Remove(const std::string& key);
  /// Null when there is none.
  Registration* Find(const std::string& key);
  const std::list<Registration>& Entries() const { return entries_; }

 private:
  std::list<Registration> entries_;
  std::unordered_map<std::string, std::list<Registration>::iterator> byKey_;
};

}  // namespace qor::com

#endif
