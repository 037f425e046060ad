// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_NODE_INFO_H
#define QOR_COMMON_RECORDS_NODE_INFO_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/binding.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

enum class EntityKind : std::uint8_t { kEvent = 0, kMethod = 1, kField = 2, kService = 3 };

/// Which side of an entity a node is on: the one that publishes or serves, or the one that subscribes or calls.
enum class EntityRole : std::uint8_t { kProvider = 0, kConsumer = 1 };

/// One entity of a node.
struct NodeEntityInfo {
  EntityKind kind = EntityKind::kEvent;
  EntityRole role = EntityRole::kProvider;
  std::string name;
  DriverType driver = DriverType::kDds;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("kind", s.kind...);
    visit("role", s.role...);
    visit("name", s.name...);
    visit("driver", s.driver...);
  }
};

/// One node: a named group of entities inside one process.
struct NodeInfo {
  std::string nodeName;
  std::uint32_t processId = 0;
  std::string identity;      ///< "user:group" that the process runs as, from the kernel
  std::string selinuxLabel;  ///< security context of the process; empty without SELinux
  bool isOnline = false;
  std::uint16_t maintaindInstance = 0;
  std::vector<NodeEntityInfo> entities;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("nodeName", s.nodeName...);
    visit("processId", s.processId...);
    visit("identity", s.identity...);
    visit("selinuxLabel", s.selinuxLabel...);
    visit("isOnline", s.isOnline...);
    visit("maintaindInstance", s.maintaindInstance...);
    visit("entities", s.entities...);
  }
};

/// The unit that a daemon returns for nodes.
struct NodeInfoWithAppName : NodeInfo {
  std::string applicationName;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    NodeInfo::Visit(visit, s...);
    visit("applicationName", s.applicationName...);
  }
};

}  // namespace qor::maintaind

#endif
