// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/entity_table.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace qor::maintaind {
namespace {

std::string ForeignIdentity(std::uint64_t id) { return '\n' + std::to_string(id); }

template <class Entry>
std::string IdentityOf(const Entry& entry) {
  if (entry.connection == kForeign) {
    return ForeignIdentity(entry.id);
  }
  std::string identity =
      entry.node->nodeName + '\n' + entry.info.*EntityFamily<std::decay_t<decltype(entry.info)>>::kName;
  for (const std::string& key : entry.keys.exact) {
    identity += '\n';
    identity += key;
  }
  return identity;
}

/// The consumers among the entries, found by what they consume.
template <class Entry>
class ConsumerIndex {
 public:
  struct Consumer {
    const Entry* entry;
    bool isListed = false;
  };

  explicit ConsumerIndex(const std::list<Entry>& entries) {
    for (const Entry& entry : entries) {
      if (entry.role == EntityRole::kConsumer) {
        Add(entry);
      }
    }
  }

  std::vector<Consumer>& All() { return consumers_; }

  /// The consumers of the entity with these keys, in the order of registration.
  std::vector<Consumer*> Find(const EntityKeys& keys) {
    std::set<std::size_t> found;
    for (const std::string& key : keys.exact) {
      if (const auto same = byKey_.find(key); same != byKey_.end()) {
        found.insert(same->second.begin(), same->second.end());
      }
    }
    if (const auto same = byTopic_.find(keys.topic); same != byTopic_.end()) {
      std::copy_if(same->second.begin(), same->second.end(), std::inserter(found, found.end()),
                   [&](std::size_t i) { return keys.isForeign || consumers_[i].entry->keys.isForeign; });
    }
    std::vector<Consumer*> result;
    for (const std::size_t i : found) {
      result.push_back(&consumers_[i]);
    }
    return result;
  }

  /// The same without those that stand in the list already.
  std::vector<Consumer*> FindUnlisted(const EntityKeys& keys) {
    std::vector<Consumer*> found = Find(keys);
    std::erase_if(found, [](const Consumer* consumer) { return consumer->isListed; });
    return found;
  }

 private:
  void Add(const Entry& entry) {
    const std::size_t i = consumers_.size();
    consumers_.push_back({&entry});
    for (const std::string& key : entry.keys.exact) {
      byKey_[key].push_back(i);
    }
    if (!entry.keys.topic.empty()) {
      byTopic_[entry.keys.topic].push_back(i);
    }
  }

  std::vector<Consumer> consumers_;
  std::unordered_map<std::string_view, std::vector<std::size_t>> byKey_;
  std::unordered_map<std::string_view, std::vector<std::size_t>> byTopic_;
};

/// Writes the node names of consumers, a node once however many of its registrations there are.
template <class Consumers>
void ListConsumers(const Consumers& consumers, std::vector<std::string>& names) {
  std::set<std::pair<ConnectionId, std::string_view>> seen;
  for (auto* consumer : consumers) {
    consumer->isListed = true;
    if (seen.emplace(consumer->entry->connection, consumer->entry->node->nodeName).second) {
      names.push_back(consumer->entry->node->nodeName);
    }
  }
}

template <class Info>
typename EntityFamily<Info>::Listed MakeListed(const Info& info, const HostNetwork& network) {
  typename EntityFamily<Info>::Listed listed;
  static_cast<Info&>(listed) = info;
  listed.instanceShortName = InstanceShortNameOf(info);
  NameNetwork(network, listed);
  return listed;
}

template <class Entry>
auto MakeListedEntry(const Entry& entry, const HostNetwork& network) {
  return MakeListed(entry.info, entry.connection == kForeign ? HostNetwork{} : network);
}

template <class Entry>
auto MakeListedProvider(const Entry& entry, const HostNetwork& network, bool isOnline) {
  auto listed = MakeListedEntry(entry, network);
  using Family = EntityFamily<std::decay_t<decltype(entry.info)>>;
  listed.*Family::kProvider = entry.node->nodeName;
  listed.*Family::kIsOnline = isOnline;
  return listed;
}

}  // namespace

template <class Info>
void EntityTable<Info>::SetDeployed(std::vector<Info> deployed) {
  deployed_ = std::move(deployed);
  isListValid_ = false;
}

template <class Info>
void EntityTable<Info>::SetNetwork(const HostNetwork& network) {
  network_ = network;
  isListValid_ = false;
}

template <class Info>
typename EntityTable<Info>::Entry EntityTable<Info>::MakeEntry(ConnectionId connection, std::uint64_t id,
                                                               EntityRole role, Node node, Info info) {
  Entry entry{connection, id, role, std::move(node), std::move(info), {}, {}};
  entry.keys = KeysOf(entry.info);
  if (role == EntityRole::kProvider) {
    entry.identity = IdentityOf(entry);
  }
  return entry;
}

template <class Info>
void EntityTable<Info>::Add(ConnectionId connection, std::uint64_t id, EntityRole role, Node node, Info info) {
  Entry entry = MakeEntry(connection, id, role, std::move(node), std::move(info));
  if (role == EntityRole::kProvider) {
    ForgetOffline(entry.identity);
    onlineIdentities_.insert(entry.identity);
  }
  onlineById_.emplace(std::pair(connection, id), online_.insert(online_.end(), std::move(entry)));
  isListValid_ = false;
}

template <class Info>
void EntityTable<Info>::AddOffline(std::uint64_t id, Node node, Info info) {
  GoOffline(MakeEntry(kForeign, id, EntityRole::kProvider, std::move(node), std::move(info)));
  isListValid_ = false;
}

template <class Info>
void EntityTable<Info>::Remove(ConnectionId connection, std::uint64_t id) {
  if (const auto found = onlineById_.find({connection, id}); found != onlineById_.end()) {
    Extract(found);
  } else if (connection == kForeign) {
    ForgetOffline(ForeignIdentity(id));
  }
}

template <class Info>
void EntityTable<Info>::Close(ConnectionId connection) {
  for (auto next = onlineById_.lower_bound({connection, 0});
       next != onlineById_.end() && next->first.first == connection;) {
    Entry entry = Extract(next++);
    if (entry.role == EntityRole::kProvider) {
      GoOffline(std::move(entry));
    }
  }
}

/// Takes an entry out of all that refers to it.
template <class Info>
typename EntityTable<Info>::Entry EntityTable<Info>::Extract(typename OnlineById::iterator place) {
  Entry entry = std::move(*place->second);
  if (entry.role == EntityRole::kProvider) {
    onlineIdentities_.erase(onlineIdentities_.find(entry.identity));
  }
  online_.erase(place->second);
  onlineById_.erase(place);
  isListValid_ = false;
  return entry;
}

/// Not remembered when the same provider is there already: it was started again before its old connection ended.
template <class Info>
void EntityTable<Info>::GoOffline(Entry entry) {
  if (onlineIdentities_.contains(entry.identity)) {
    return;
  }
  ForgetOffline(entry.identity);
  const auto place = offline_.insert(offline_.end(), std::move(entry));
  offlineByIdentity_.emplace(place->identity, place);
  if (offline_.size() > maxOffline_) {
    ForgetOffline(std::string(offline_.front().identity));
  }
}

template <class Info>
void EntityTable<Info>::ForgetOffline(const std::string& identity) {
  if (const auto found = offlineByIdentity_.find(identity); found != offlineByIdentity_.end()) {
    offline_.erase(found->second);
    offlineByIdentity_.erase(found);
    isListValid_ = false;
  }
}

template <class Info>
const std::vector<typename EntityTable<Info>::Listed>& EntityTable<Info>::All() {
  if (!isListValid_) {
    Rebuild();
    isListValid_ = true;
  }
  return list_;
}

template <class Info>
std::vector<typename EntityTable<Info>::Listed> EntityTable<Info>::Named(const std::string& name) {
  const std::vector<Listed>& all = All();
  if (name == "ALL") {
    return all;
  }
  std::vector<Listed> named;
  std::copy_if(all.begin(), all.end(), std::back_inserter(named),
               [&name](const Listed& listed) { return listed.*Family::kName == name; });
  return named;
}

template <class Info>
void EntityTable<Info>::Rebuild() {
  list_.clear();
  ConsumerIndex<Entry> consumers(online_);
  for (const Entry& entry : online_) {
    if (entry.role == EntityRole::kProvider) {
      list_.push_back(MakeListedProvider(entry, network_, true));
      ListConsumers(consumers.Find(entry.keys), list_.back().*Family::kConsumers);
    }
  }
  for (const Entry& entry : offline_) {
    list_.push_back(MakeListedProvider(entry, network_, false));
    ListConsumers(consumers.FindUnlisted(entry.keys), list_.back().*Family::kConsumers);
  }
  for (const auto& consumer : consumers.All()) {
    if (!consumer.isListed) {
      list_.push_back(MakeListedEntry(*consumer.entry, network_));
      ListConsumers(consumers.FindUnlisted(consumer.entry->keys), list_.back().*Family::kConsumers);
    }
  }
  ListDeployed();
}

template <class Info>
void EntityTable<Info>::ListDeployed() {
  std::unordered_set<std::string> registered;
  const auto note = [&registered](const Entry& entry) {
    registered.insert(entry.keys.exact.begin(), entry.keys.exact.end());
    registered.insert(entry.info.*Family::kName);
  };
  std::for_each(online_.begin(), online_.end(), note);
  std::for_each(offline_.begin(), offline_.end(), note);
  for (const Info& info : deployed_) {
    EntityKeys keys = KeysOf(info);
    keys.exact.push_back(info.*Family::kName);
    if (std::none_of(keys.exact.begin(), keys.exact.end(), [&](const auto& key) { return registered.contains(key); })) {
      list_.push_back(MakeListed(info, network_));
    }
  }
}

template class EntityTable<EventRegisterInfo>;
template class EntityTable<MethodRegisterInfo>;
template class EntityTable<FieldRegisterInfo>;
template class EntityTable<ServiceRegisterInfo>;

}  // namespace qor::maintaind
