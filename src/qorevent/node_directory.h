// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_NODE_DIRECTORY_H
#define QOR_QOREVENT_NODE_DIRECTORY_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "src/common/records/node_info.h"

namespace qor::qorevent {

/// The nodes that the daemons know, by name and by what they do. Several nodes can have one name. A plain value.
class NodeDirectory {
 public:
  explicit NodeDirectory(std::vector<maintaind::NodeInfoWithAppName> nodes);

  /// The nodes of that name which publish or subscribe to the event, online ones first; without any, the nodes of that
  /// name. Valid as long as the directory.
  std::vector<const maintaind::NodeInfoWithAppName*> Find(const std::string& nodeName, const std::string& eventName,
                                                          maintaind::EntityRole role) const;

 private:
  std::multimap<std::string, maintaind::NodeInfoWithAppName> nodes_;
};

}  // namespace qor::qorevent

#endif
