// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DAEMON_LINK_H
#define QOR_COM_DAEMON_LINK_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "platform/com/registration_book.h"

#include "src/common/records/node_info.h"
#include "src/common/records/registration.h"

namespace qor::com {

/// This process's connection to the daemon of its host: QOR_MAINTAIND_INSTANCE, else the one with the lowest instance
/// number that accepts. Any thread; no call waits. What is added stays registered until removed: it is registered when
/// a daemon is there, and again with every daemon that comes after. What a daemon refuses is logged once and
/// tried again from time to time.
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

  /// Anything else that a daemon is to know. Put again under its key, it replaces what was registered.
  void Put(Registration registration);
  void Remove(const std::string& key);

  /// Handlers run on the io thread and must not block. They stay, so that they must own what they touch.
  using NotificationHandler = std::function<void(std::span<const std::uint8_t> payload)>;
  /// For what the daemon sends unasked with this id (maintaind::node_event).
  void Listen(std::uint16_t eventId, NotificationHandler handler);
  /// Called for every daemon that has accepted this application, before it hears what is registered.
  void OnConnected(std::function<void()> handler);

  /// For SOME/IP requests of this process; 0 before the first daemon has accepted it.
  std::uint16_t SomeipClientId() const { return someipClientId_->load(); }

 private:
  class Impl;
  std::shared_ptr<Impl> impl_;  // shared with the handlers that the io thread still holds
  std::atomic<std::uint32_t> lastId_{0};
  std::shared_ptr<std::atomic<std::uint16_t>> someipClientId_;  // shared with impl_
};

}  // namespace qor::com

#endif
