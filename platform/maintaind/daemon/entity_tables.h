// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_ENTITY_TABLES_H
#define QOR_MAINTAIND_DAEMON_ENTITY_TABLES_H

#include <cstddef>
#include <tuple>

#include "platform/maintaind/daemon/entity_table.h"

namespace qor::maintaind {

/// The tables of the four families. One thread.
class EntityTables {
 public:
  /// Each table remembers at most `maxOffline` offline providers.
  explicit EntityTables(std::size_t maxOffline)
      : tables_(EntityTable<EventRegisterInfo>(maxOffline), EntityTable<MethodRegisterInfo>(maxOffline),
                EntityTable<FieldRegisterInfo>(maxOffline), EntityTable<ServiceRegisterInfo>(maxOffline)) {}

  template <class Info>
  EntityTable<Info>& Of() {
    return std::get<EntityTable<Info>>(tables_);
  }
  template <class Info>
  const EntityTable<Info>& Of() const {
    return std::get<EntityTable<Info>>(tables_);
  }
  template <class Function>
  void ForEach(Function function) {
    std::apply([&function](auto&... table) { (function(table), ...); }, tables_);
  }
  template <class Function>
  void ForEach(Function function) const {
    std::apply([&function](const auto&... table) { (function(table), ...); }, tables_);
  }

 private:
  std::tuple<EntityTable<EventRegisterInfo>, EntityTable<MethodRegisterInfo>, EntityTable<FieldRegisterInfo>,
             EntityTable<ServiceRegisterInfo>>
      tables_;
};

}  // namespace qor::maintaind

#endif
