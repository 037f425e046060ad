// SPDX-License-Identifier: Apache-2.0
#include "src/common/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstddef>
#include <vector>

#include "platform/log/qor_log.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};
constexpr std::size_t kFirstBuffer = 1024;
constexpr std::size_t kLargestBuffer = 1U << 20U;  // a group can have many members

/// Calls one of the getXXid_r functions with a buffer that grows until the entry fits.
template <class Entry, class Id>
std::string NameOf(int (*look)(Id, Entry*, char*, std::size_t, Entry**), Id id, char* Entry::*name) {
  std::vector<char> buffer(kFirstBuffer);
  Entry entry{};
  Entry* found = nullptr;
  int error = look(id, &entry, buffer.data(), buffer.size(), &found);
  while ((error == ERANGE && buffer.size() < kLargestBuffer) || error == EINTR) {
    buffer.resize(error == ERANGE ? buffer.size() * 2 : buffer.size());
    error = look(id, &entry, buffer.data(), buffer.size(), &found);
  }
  return error == 0 && found != nullptr ? found->*name : std::to_string(id);
}

}  // namespace

std::string Uid2Name(uid_t uid) { return NameOf(::getpwuid_r, uid, &passwd::pw_name); }

std::string Gid2Name(gid_t gid) { return NameOf(::getgrgid_r, gid, &group::gr_name); }

std::string OwnerFor(uid_t uid, gid_t gid, const std::string& fileOwner) {
  if (uid != 0) {
    const std::string user = Uid2Name(uid);
    const std::string group = Gid2Name(gid);
    kLog.Verbose() << "User is not root. Change to user:" << user << " group:" << group;
    return user + ":" + group;
  }
  if (fileOwner.empty()) {
    kLog.Warn() << "FileOwner is set to null.";
    return {};
  }
  const std::size_t colon = fileOwner.find(':');
  kLog.Verbose() << "User is is root. Change to user:" << fileOwner.substr(0, colon)
                 << " group:" << fileOwner.substr(colon + 1);
  return fileOwner;
}

}  // namespace qor::common
