// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_REGISTRY_H
#define QOR_MAINTAIND_DAEMON_REGISTRY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/com/deployment.h"
#include "platform/maintaind/daemon/entity_tables.h"
#include "platform/maintaind/daemon/node_list.h"
#include "platform/maintaind/daemon/peer_info.h"
#include "src/common/records/query.h"
#include "src/common/records/registration.h"

namespace qor::maintaind {

struct RegistryOptions {
  std::uint16_t instance = 0;
  std::string hostDomainName;
  std::size_t maxOffline = 4096;      ///< offline providers that are remembered, in each family
  std::size_t maxNodes = 1024;        ///< of one connection
  std::size_t maxEntities = 16384;    ///< of one connection
  std::size_t maxBytes = 64U << 20U;  ///< of the registrations of one connection, as they were sent
};

/// What the registry tells whoever watches DDS.
class RegistryListener {
 public:
  virtual ~RegistryListener() = default;
  /// An application uses this DDS domain. Called again for each use.
  virtual void OnDomain(std::uint16_t domainId) = 0;
};

/// What the applications of this daemon registered, by connection, and what discovery showed besides. One thread; no
/// sockets, no clocks.
///
/// When a connection closes, its subscribers and clients are forgotten and its publishers and servers stay listed as
/// offline, until the same one comes back or too many are remembered. What an application unregisters itself is
/// forgotten at once. An event that is deployed and not registered is not listed: it would stand in the tools' lists as
/// an event of nobody; methods, fields and services are, because they tell what can be called once a server runs.
class Registry {
 public:
  explicit Registry(RegistryOptions options);

  void SetListener(RegistryListener* listener) { listener_ = listener; }
  void SetDeployment(const com::Deployment& deployment);
  /// The network over which other hosts see this one; without texts while none is known. SOME/IP bindings of this host
  /// that name no network are listed with it, or with the loopback while none is known.
  void SetNetwork(const std::string& ip, const std::string& subnetMask);

  /// Changes with every change of what the lists hold.
  std::uint64_t Revision() const { return revision_; }

  // --- Applications. The errors are SOME/IP return codes with the reason. ---

  ara::core::Result<void> Open(ConnectionId connection, const PeerInfo& peer, const std::string& applicationName);
  bool IsOpen(ConnectionId connection) const { return applications_.contains(connection); }
  /// Without effect for a connection that is not open.
  void Close(ConnectionId connection);

  ara::core::Result<void> RegisterNode(ConnectionId connection, const std::string& name);
  /// Forgets the node and its entities.
  ara::core::Result<void> UnregisterNode(ConnectionId connection, const std::string& name);
  /// The node must be registered, the id new in the connection. `size` is what the registration counts of maxBytes.
  template <class Info>
  ara::core::Result<void> Register(ConnectionId connection, EntityRegistration<Info> registration,
                                   std::size_t size = 0);
  ara::core::Result<void> UnregisterEntity(ConnectionId connection, std::uint32_t id);

  // --- What discovery shows of programs that know no daemon, by ids that are unique over all families ---

  /// Something new, or something that has changed. `nodeName` stands for its program. A deployed event of the same DDS
  /// domain and topic lends its data type.
  template <class Info>
  void SetForeign(const std::string& id, EntityRole role, const std::string& nodeName, Info info);
  /// A provider that has gone and stays listed as offline, unless too many are.
  template <class Info>
  void SetForeignOffline(const std::string& id, const std::string& nodeName, Info info);
  void RemoveForeign(const std::string& id);

  // --- Lists for the tools: by exact name, or "ALL" ---

  std::vector<EventInfoWithPubSub> Events(const std::string& name) {
    return tables_.Of<EventRegisterInfo>().Named(name);
  }
  std::vector<MethodInfoWithPubSub> Methods(const std::string& name) {
    return tables_.Of<MethodRegisterInfo>().Named(name);
  }
  std::vector<FieldInfoWithPubSub> Fields(const std::string& name) {
    return tables_.Of<FieldRegisterInfo>().Named(name);
  }
  std::vector<ServiceInfoWithPubSub> Services(const std::string& name) {
    return tables_.Of<ServiceRegisterInfo>().Named(name);
  }
  std::vector<NodeInfoWithAppName> Nodes(const std::string& name) const;
  /// The nodes that subscribe to one event.
  SubNodeEventInfo SubscriberNodes(const QuerySubEventInfoIndex& index) const {
    return ListSubscribers(tables_.Of<EventRegisterInfo>(), index);
  }

 private:
  using Node = std::shared_ptr<const NodeInfoWithAppName>;

  struct Entity {
    std::string nodeName;
    std::size_t size = 0;
  };
  struct Application {
    PeerInfo peer;
    std::string name;
    std::map<std::string, Node> nodes;
    std::unordered_map<std::uint32_t, Entity> entities;  ///< by id
    std::size_t size = 0;                                ///< of all entities
  };

  void Remove(ConnectionId connection, std::uint64_t id);
  std::uint64_t RenewForeign(const std::string& id);
  template <class Info>
  Node DescribeForeign(const std::string& nodeName, Info& info) const;

  const RegistryOptions options_;
  RegistryListener* listener_ = nullptr;
  std::uint64_t revision_ = 1;
  std::unordered_map<ConnectionId, Application> applications_;
  RegisteredNodes nodes_;
  std::unordered_map<std::string, EventRegisterInfo> deployedByTopic_;
  std::unordered_map<std::string, std::uint64_t> foreignIds_;
  std::uint64_t lastForeignId_ = 0;  ///< too wide to come round, however often others renew what is foreign
  EntityTables tables_;
};

extern template ara::core::Result<void> Registry::Register(ConnectionId, EventRegistration, std::size_t);
extern template ara::core::Result<void> Registry::Register(ConnectionId, MethodRegistration, std::size_t);
extern template ara::core::Result<void> Registry::Register(ConnectionId, FieldRegistration, std::size_t);
extern template ara::core::Result<void> Registry::Register(ConnectionId, ServiceRegistration, std::size_t);
extern template void Registry::SetForeign(const std::string&, EntityRole, const std::string&, EventRegisterInfo);
extern template void Registry::SetForeign(const std::string&, EntityRole, const std::string&, ServiceRegisterInfo);
extern template void Registry::SetForeignOffline(const std::string&, const std::string&, EventRegisterInfo);
extern template void Registry::SetForeignOffline(const std::string&, const std::string&, ServiceRegisterInfo);

}  // namespace qor::maintaind

#endif
