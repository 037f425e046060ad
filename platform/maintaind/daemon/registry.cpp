// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/registry.h"

#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/someip/message.h"

namespace qor::maintaind {
namespace {

using VoidResult = ara::core::Result<void>;

constexpr std::size_t kMaxNameLength = 5000;

ara::core::ErrorCode Refuse(std::string reason) {
  return {static_cast<std::int32_t>(someip::ReturnCode::kNotOk), std::move(reason)};
}

ara::core::ErrorCode NotReady() {
  return {static_cast<std::int32_t>(someip::ReturnCode::kNotReady), "Hello must come first"};
}

VoidResult CheckName(std::string_view what, const std::string& name) {
  if (name.empty() || name.size() > kMaxNameLength) {
    return Refuse("the name of " + std::string(what) + " must have 1 to " + std::to_string(kMaxNameLength) +
                  " characters, this one has " + std::to_string(name.size()));
  }
  return {};
}

/// The flag is for what discovery alone has seen.
void ClearForeign(EventRegisterInfo& info) {
  for (auto& [driver, binding] : info.bindings) {
    binding.dds.isForeign = false;
  }
}

template <class Info>
void ClearForeign(Info& /*info*/) {}

void TellDomain(RegistryListener& listener, const EventRegisterInfo& info) {
  if (const auto binding = info.bindings.find(DriverType::kDds); binding != info.bindings.end()) {
    listener.OnDomain(binding->second.dds.domainId);
  }
}

template <class Info>
void TellDomain(RegistryListener& /*listener*/, const Info& /*info*/) {}

}  // namespace

Registry::Registry(RegistryOptions options) : options_(std::move(options)), tables_(options_.maxOffline) {}

void Registry::SetDeployment(const com::Deployment& deployment) {
  const auto here = [this](auto infos) {
    for (auto& info : infos) {
      info.maintaindInstance = options_.instance;
      info.hostDomainName = options_.hostDomainName;
    }
    return infos;
  };
  tables_.Of<MethodRegisterInfo>().SetDeployed(here(deployment.methods));
  tables_.Of<FieldRegisterInfo>().SetDeployed(here(deployment.fields));
  tables_.Of<ServiceRegisterInfo>().SetDeployed(here(deployment.services));
  deployedByTopic_.clear();
  for (const EventRegisterInfo& event : deployment.events) {
    if (const EntityKeys keys = KeysOf(event); !keys.topic.empty()) {
      deployedByTopic_.emplace(keys.topic, event);
    }
  }
  ++revision_;
}

void Registry::SetNetwork(const std::string& ip, const std::string& subnetMask) {
  tables_.ForEach([network = HostNetwork{ip, subnetMask}](auto& table) { table.SetNetwork(network); });
  ++revision_;
}

VoidResult Registry::Open(ConnectionId connection, const PeerInfo& peer, const std::string& applicationName) {
  if (VoidResult named = CheckName("an application", applicationName); !named) {
    return named;
  }
  const auto [application, isNew] = applications_.try_emplace(connection);
  if (!isNew) {
    return Refuse("the application has said Hello already");
  }
  application->second.peer = peer;
  application->second.name = applicationName;
  return {};
}

void Registry::Close(ConnectionId connection) {
  if (applications_.erase(connection) == 0) {
    return;
  }
  std::erase_if(nodes_, [connection](const RegisteredNode& node) { return node.connection == connection; });
  tables_.ForEach([connection](auto& table) { table.Close(connection); });
  ++revision_;
}

VoidResult Registry::RegisterNode(ConnectionId connection, const std::string& name) {
  const auto application = applications_.find(connection);
  if (application == applications_.end()) {
    return NotReady();
  }
  if (VoidResult named = CheckName("a node", name); !named) {
    return named;
  }
  auto& nodes = application->second.nodes;
  if (nodes.contains(name)) {
    return Refuse("the application has a node '" + name + "' already");
  }
  if (nodes.size() >= options_.maxNodes) {
    return Refuse("an application can have " + std::to_string(options_.maxNodes) + " nodes at most");
  }
  NodeInfoWithAppName info;
  info.nodeName = name;
  info.processId = application->second.peer.processId;
  info.identity = application->second.peer.identity;
  info.selinuxLabel = application->second.peer.selinuxLabel;
  info.maintaindInstance = options_.instance;
  info.applicationName = application->second.name;
  const auto node = std::make_shared<const NodeInfoWithAppName>(std::move(info));
  nodes.emplace(name, node);
  nodes_.push_back({connection, node});
  ++revision_;
  return {};
}

VoidResult Registry::UnregisterNode(ConnectionId connection, const std::string& name) {
  const auto application = applications_.find(connection);
  if (application == applications_.end()) {
    return NotReady();
  }
  if (application->second.nodes.erase(name) == 0) {
    return Refuse("the application has no node '" + name + "'");
  }
  std::erase_if(application->second.entities, [&](const auto& entity) {
    if (entity.second.nodeName != name) {
      return false;
    }
    application->second.size -= entity.second.size;
    Remove(connection, entity.first);
    return true;
  });
  std::erase_if(nodes_, [&](const RegisteredNode& online) {
    return online.connection == connection && online.node->nodeName == name;
  });
  ++revision_;
  return {};
}

template <class Info>
VoidResult Registry::Register(ConnectionId connection, EntityRegistration<Info> registration, std::size_t size) {
  using Family = EntityFamily<Info>;
  const auto application = applications_.find(connection);
  if (application == applications_.end()) {
    return NotReady();
  }
  Info& info = registration.info;
  if (VoidResult named = CheckName(std::string("a ") + Family::kText, info.*Family::kName); !named) {
    return named;
  }
  const auto node = application->second.nodes.find(info.nodeName);
  if (node == application->second.nodes.end()) {
    return Refuse(std::string("the node '") + info.nodeName + "' of the " + Family::kText + " '" + info.*Family::kName +
                  "' is not registered");
  }
  if (registration.role > EntityRole::kConsumer) {
    return Refuse("the role must be 0 or 1, not " + std::to_string(static_cast<unsigned>(registration.role)));
  }
  if (application->second.entities.size() >= options_.maxEntities) {
    return Refuse("an application can register " + std::to_string(options_.maxEntities) + " entities at most");
  }
  if (application->second.size + size > options_.maxBytes) {
    return Refuse("the registrations of an application can have " + std::to_string(options_.maxBytes) +
                  " bytes at most");
  }
  if (!application->second.entities.emplace(registration.id, Entity{info.nodeName, size}).second) {
    return Refuse("the id " + std::to_string(registration.id) + " is in use already");
  }
  application->second.size += size;
  info.applicationName = application->second.name;
  info.maintaindInstance = options_.instance;
  if (info.hostDomainName.empty()) {
    info.hostDomainName = options_.hostDomainName;
  }
  ClearForeign(info);
  if (listener_ != nullptr) {
    TellDomain(*listener_, info);
  }
  tables_.Of<Info>().Add(connection, registration.id, registration.role, node->second, std::move(info));
  ++revision_;
  return {};
}

VoidResult Registry::UnregisterEntity(ConnectionId connection, std::uint32_t id) {
  const auto application = applications_.find(connection);
  if (application == applications_.end()) {
    return NotReady();
  }
  const auto entity = application->second.entities.find(id);
  if (entity == application->second.entities.end()) {
    return Refuse("nothing is registered under the id " + std::to_string(id));
  }
  application->second.size -= entity->second.size;
  application->second.entities.erase(entity);
  Remove(connection, id);
  ++revision_;
  return {};
}

void Registry::Remove(ConnectionId connection, std::uint64_t id) {
  tables_.ForEach([&](auto& table) { table.Remove(connection, id); });
}

template <class Info>
void Registry::SetForeign(const std::string& id, EntityRole role, const std::string& nodeName, Info info) {
  Node node = DescribeForeign(nodeName, info);
  tables_.Of<Info>().Add(kForeign, RenewForeign(id), role, std::move(node), std::move(info));
}

template <class Info>
void Registry::SetForeignOffline(const std::string& id, const std::string& nodeName, Info info) {
  Node node = DescribeForeign(nodeName, info);
  tables_.Of<Info>().AddOffline(RenewForeign(id), std::move(node), std::move(info));
}

void Registry::RemoveForeign(const std::string& id) {
  if (const auto found = foreignIds_.find(id); found != foreignIds_.end()) {
    Remove(kForeign, found->second);
    foreignIds_.erase(found);
    ++revision_;
  }
}

/// Makes room for what the id names from now on.
std::uint64_t Registry::RenewForeign(const std::string& id) {
  RemoveForeign(id);
  foreignIds_[id] = ++lastForeignId_;
  ++revision_;
  return lastForeignId_;
}

/// Adds to the record what the registry knows.
template <class Info>
Registry::Node Registry::DescribeForeign(const std::string& nodeName, Info& info) const {
  NodeInfoWithAppName node;
  node.nodeName = nodeName;
  node.applicationName = info.applicationName;
  node.maintaindInstance = options_.instance;
  info.nodeName = nodeName;
  info.maintaindInstance = options_.instance;
  info.hostDomainName = options_.hostDomainName;
  if constexpr (std::is_same_v<Info, EventRegisterInfo>) {
    if (const auto deployed = deployedByTopic_.find(KeysOf(info).topic); deployed != deployedByTopic_.end()) {
      info.dataTypeName = deployed->second.dataTypeName;
      info.serializeConfig = deployed->second.serializeConfig;
    }
  }
  return std::make_shared<const NodeInfoWithAppName>(std::move(node));
}

std::vector<NodeInfoWithAppName> Registry::Nodes(const std::string& name) const {
  std::vector<NodeInfoWithAppName> nodes = ListNodes(nodes_, tables_);
  if (name != "ALL") {
    std::erase_if(nodes, [&name](const NodeInfoWithAppName& node) { return node.nodeName != name; });
  }
  return nodes;
}

template VoidResult Registry::Register(ConnectionId, EventRegistration, std::size_t);
template VoidResult Registry::Register(ConnectionId, MethodRegistration, std::size_t);
template VoidResult Registry::Register(ConnectionId, FieldRegistration, std::size_t);
template VoidResult Registry::Register(ConnectionId, ServiceRegistration, std::size_t);
template void Registry::SetForeign(const std::string&, EntityRole, const std::string&, EventRegisterInfo);
template void Registry::SetForeign(const std::string&, EntityRole, const std::string&, ServiceRegisterInfo);
template void Registry::SetForeignOffline(const std::string&, const std::string&, EventRegisterInfo);
template void Registry::SetForeignOffline(const std::string&, const std::string&, ServiceRegisterInfo);

}  // namespace qor::maintaind
