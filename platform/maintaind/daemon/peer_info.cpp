// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/peer_info.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace qor::maintaind {
namespace {

std::string UserName(uid_t user) {
  std::array<char, 4096> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  const int error = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
  return error == 0 && found != nullptr ? found->pw_name : std::to_string(user);
}

std::string GroupName(gid_t group) {
  std::array<char, 4096> buffer{};
  ::group entry{};
  ::group* found = nullptr;
  const int error = ::getgrgid_r(group, &entry, buffer.data(), buffer.size(), &found);
  return error == 0 && found != nullptr ? found->gr_name : std::to_string(group);
}

/// The label that the kernel kept when the peer connected: unlike /proc/<pid>/attr/current, it cannot be that of
/// another process which got the same id since.
std::string SelinuxLabel(int socket) {
  if (::access("/sys/fs/selinux/enforce", F_OK) != 0) {
    return {};
  }
  std::array<char, 1024> label{};
  socklen_t size = label.size();
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERSEC, label.data(), &size) != 0) {
    return {};
  }
  std::string text(label.data(), size);
  while (!text.empty() && text.back() == '\0') {
    text.pop_back();
  }
  return text;
}

/// "user:group". Looking names up can take its time (a directory server), and most peers are of one account.
std::string Identity(uid_t user, gid_t group) {
  thread_local uid_t lastUser = 0;
  thread_local gid_t lastGroup = 0;
  thread_local std::string lastIdentity;
  if (lastIdentity.empty() || user != lastUser || group != lastGroup) {
    lastUser = user;
    lastGroup = group;
    lastIdentity = UserName(user) + ":" + GroupName(group);
  }
  return lastIdentity;
}

}  // namespace

PeerInfo PeerOfSocket(int socket) {
  ucred credentials{};
  socklen_t size = sizeof(credentials);
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    return {};
  }
  return {static_cast<std::uint32_t>(credentials.pid), Identity(credentials.uid, credentials.gid),
          SelinuxLabel(socket)};
}

}  // namespace qor::maintaind
