// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/node_directory.h"

#include <algorithm>
#include <utility>

namespace qor::qorevent {
namespace {

using maintaind::NodeInfoWithAppName;

bool TakesPart(const NodeInfoWithAppName& node, const std::string& eventName, maintaind::EntityRole role) {
  return std::any_of(node.entities.begin(), node.entities.end(), [&](const maintaind::NodeEntityInfo& entity) {
    return entity.kind == maintaind::EntityKind::kEvent && entity.role == role && entity.name == eventName;
  });
}

}  // namespace

NodeDirectory::NodeDirectory(std::vector<NodeInfoWithAppName> nodes) {
  for (NodeInfoWithAppName& node : nodes) {
    std::string name = node.nodeName;
    nodes_.emplace(std::move(name), std::move(node));
  }
}

std::vector<const NodeInfoWithAppName*> NodeDirectory::Find(const std::string& nodeName, const std::string& eventName,
                                                            maintaind::EntityRole role) const {
  std::vector<const NodeInfoWithAppName*> named;
  std::vector<const NodeInfoWithAppName*> found;
  const auto [first, last] = nodes_.equal_range(nodeName);
  for (auto node = first; node != last; ++node) {
    named.push_back(&node->second);
    if (TakesPart(node->second, eventName, role)) {
      found.push_back(&node->second);
    }
  }
  auto& result = found.empty() ? named : found;
  std::stable_partition(result.begin(), result.end(), [](const NodeInfoWithAppName* node) { return node->isOnline; });
  return result;
}

}  // namespace qor::qorevent
