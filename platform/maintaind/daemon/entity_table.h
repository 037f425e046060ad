// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_ENTITY_TABLE_H
#define QOR_MAINTAIND_DAEMON_ENTITY_TABLE_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/maintaind/daemon/entity_family.h"
#include "platform/maintaind/daemon/host_network.h"
#include "platform/maintaind/daemon/peer_info.h"
#include "src/common/records/node_info.h"

namespace qor::maintaind {

/// The connection of what discovery shows of programs that know no daemon.
inline constexpr ConnectionId kForeign = 0;

/// The registrations of one family (events, methods, fields or services) and the list that tools get of them. One
/// thread.
///
/// The list has one record for each provider with the consumers of its entity, then one for each entity that has only
/// consumers, then the deployed entities that nobody registered. Consumers of an entity whose providers are all offline
/// stand with the one that has been offline longest; no consumer stands with an offline and an online provider both.
/// All but what is foreign is listed with this host's network.
template <class Info>
class EntityTable {
 public:
  using Family = EntityFamily<Info>;
  using Listed = typename Family::Listed;
  /// Shared by the entries of one node.
  using Node = std::shared_ptr<const NodeInfoWithAppName>;

  struct Entry {
    ConnectionId connection = 0;
    std::uint64_t id = 0;
    EntityRole role = EntityRole::kProvider;
    Node node;
    Info info;
    EntityKeys keys;
    std::string identity;  ///< providers only: the same after the program was started again
  };
  using Entries = std::list<Entry>;

  /// Remembers at most `maxOffline` offline providers; the oldest go first.
  explicit EntityTable(std::size_t maxOffline) : maxOffline_(maxOffline) {}

  void SetDeployed(std::vector<Info> deployed);
  void SetNetwork(const HostNetwork& network);

  /// The pair of connection and id must be new. A provider takes the place of its offline entry.
  void Add(ConnectionId connection, std::uint64_t id, EntityRole role, Node node, Info info);
  /// Adds a foreign provider that is remembered as offline. The id must be new.
  void AddOffline(std::uint64_t id, Node node, Info info);
  /// Forgets a registration altogether; a foreign one also when it is offline.
  void Remove(ConnectionId connection, std::uint64_t id);
  /// Forgets the consumers of a connection and remembers its providers as offline.
  void Close(ConnectionId connection);

  const std::vector<Listed>& All();
  /// The records of the list with this name; all for "ALL".
  std::vector<Listed> Named(const std::string& name);

  /// In the order of registration.
  const Entries& Online() const { return online_; }
  /// The oldest first.
  const Entries& Offline() const { return offline_; }

 private:
  using OnlineById = std::map<std::pair<ConnectionId, std::uint64_t>, typename Entries::iterator>;

  static Entry MakeEntry(ConnectionId connection, std::uint64_t id, EntityRole role, Node node, Info info);
  Entry Extract(typename OnlineById::iterator place);
  void GoOffline(Entry entry);
  void ForgetOffline(const std::string& identity);
  void Rebuild();
  void ListDeployed();

  const std::size_t maxOffline_;
  std::vector<Info> deployed_;
  HostNetwork network_;
  Entries online_;
  OnlineById onlineById_;
  std::unordered_multiset<std::string> onlineIdentities_;
  Entries offline_;
  std::unordered_map<std::string, typename Entries::iterator> offlineByIdentity_;
  std::vector<Listed> list_;
  bool isListValid_ = false;
};

extern template class EntityTable<EventRegisterInfo>;
extern template class EntityTable<MethodRegisterInfo>;
extern template class EntityTable<FieldRegisterInfo>;
extern template class EntityTable<ServiceRegisterInfo>;

}  // namespace qor::maintaind

#endif
