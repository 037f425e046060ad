// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DAEMON_LINK_H
#define QOR_COM_DAEMON_LINK_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "src/common/records/node_info.h"
#include "src/common/records/registration.h"

namespace qor::com {

/// This process's connection to the daemon of its host: QOR_MAINTAIND_INSTANCE, else the one with the lowest instance
/// number that accepts. Any thread; no call waits. What is added stays registered until removed: it is registered when
/// a daemon is there, and again with every daemon that comes after. What a daemon refuses is logged once.
class DaemonLink {
 public:
  /// The one of the process; never destroyed, because its parts live on the io thread.
  static DaemonLink& Instance();

  explicit DaemonLink(std::string applicationName);
  /// Closes the connection soon after.
  ~DaemonLink();
  DaemonLink(const DaemonLink&) = delete;
  DaemonLink& operator=(const DaemonLink&) = delete;

  /// A node may be added several times; the daemon hears of the first and of the last removal.
  void AddNode(const std::string& name);
  void RemoveNode(const std::string& name);

  /// Returns the id for RemoveEntity.
  [[nodiscard]] std::uint32_t AddEvent(maintaind::EntityRole role, maintaind::EventRegisterInfo event);
  void RemoveEntity(std::uint32_t id);

 private:
  class Impl;
  std::shared_ptr<Impl> impl_;  // shared with the handlers that the io thread still holds
  std::atomic<std::uint32_t> lastId_{0};
};

}  // namespace qor::com

#endif
