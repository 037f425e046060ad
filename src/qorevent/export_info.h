// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EXPORT_INFO_H
#define QOR_QOREVENT_EXPORT_INFO_H

#include <cstdint>
#include <string>
#include <vector>

namespace qor::qorevent {

/// One node of an exported event.
struct ExportNodeInfo {
  std::string node;
  std::string identity;      ///< "user:group"; empty: the daemons know nothing about the node
  std::string selinuxLabel;  ///< empty without SELinux
  std::string resource;      ///< publishers only: name of the access-control resource
};

/// The subscriber side of an exported event.
struct ExportSubscribeInfo {
  std::string resource;
  std::vector<ExportNodeInfo> nodeInfo;
};

/// What only DDS events have.
struct ExportDdsInfo {
  std::string topicName;
  std::uint16_t domain = 0;
  std::vector<std::string> transportPlugin;
  bool isFSHMMulticast = false;
  std::vector<std::string> fshmMulticastAddr;
};

/// One event of the export.
struct ExportInfo {
  std::string name;
  std::uint16_t serviceId = 0;
  std::string instanceId;      ///< decimal
  std::string networkBinding;  ///< "DDS" or "SOMEIP"
  bool isMbuf = false;
  ExportSubscribeInfo subscribe;
  ExportNodeInfo publish;
  ExportDdsInfo dds;  ///< written only when the binding is "DDS"
};

}  // namespace qor::qorevent

#endif
