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

/// Calls one of the getpw and getgr functions with a buffer that grows until the entry fits. Nothing when there is no
/// such entry.
template <class Entry, class Key, class Value>
std::optional<Value> LookUp(int (*look)(Key, Entry*, char*, std::size_t, Entry**), Key key, auto Entry::*member) {
  std::vector<char> buffer(kFirstBuffer);
  Entry entry{};
  Entry* found = nullptr;
  int error = look(key, &entry, buffer.data(), buffer.size(), &found);
  while ((error == ERANGE && buffer.size() < kLargestBuffer) || error == EINTR) {
    buffer.resize(error == ERANGE ? buffer.size() * 2 : buffer.size());
    error = look(key, &entry, buffer.data(), buffer.size(), &found);
  }
  return error == 0 && found != nullptr ? std::optional<Value>(found->*member) : std::nullopt;
}

}  // namespace

std::string Uid2Name(uid_t uid) {
  return LookUp<passwd, uid_t, std::string>(::getpwuid_r, uid, &passwd::pw_name).value_or(std::to_string(uid));
}

std::string Gid2Name(gid_t gid) {
  return LookUp<group, gid_t, std::string>(::getgrgid_r, gid, &group::gr_name).value_or(std::to_string(gid));
}

std::optional<uid_t> Name2Uid(const std::string& name) {
  return LookUp<passwd, const char*, uid_t>(::getpwnam_r, name.c_str(), &passwd::pw_uid);
}

std::optional<gid_t> Name2Gid(const std::string& name) {
  return LookUp<group, const char*, gid_t>(::getgrnam_r, name.c_str(), &group::gr_gid);
}

std::string OwnerFor(uid_t uid, gid_t gid, const std::string& fileOwner) {
  if (uid != 0) {
    const std::string user = Uid2Name(uid);
    const std::string group = Gid2Name(gid);
    kLog.Verbose() << "User is not root. Change to user:" << user << " group:" << group;
    return user + ":" + group;
  }
  if (fileOwner.empty()) {
    kLog.Info() << "FileOwner is set to null.";
    return {};
  }
  const std::size_t colon = fileOwner.find(':');
  kLog.Verbose() << "User is is root. Change to user:" << fileOwner.substr(0, colon)
                 << " group:" << fileOwner.substr(colon + 1);
  return fileOwner;
}

}  // namespace qor::common
