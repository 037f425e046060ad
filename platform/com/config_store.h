// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_CONFIG_STORE_H
#define QOR_COM_CONFIG_STORE_H

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/com/deployment.h"
#include "src/common/records/event_info.h"
#include "src/common/records/node_info.h"

namespace qor::com {

/// The events that this process can publish and subscribe, by entity name: what was registered at run time, then the
/// deployment, which is loaded on the first look-up that needs it. Any thread.
class ConfigStore {
 public:
  using Loader = std::function<Deployment()>;

  /// The one of the process, over the deployment folder; never destroyed.
  static ConfigStore& Instance();

  explicit ConfigStore(Loader loadDeployment) : loadDeployment_(std::move(loadDeployment)) {}

  /// Registers or replaces.
  void Add(maintaind::EntityRole role, const std::string& entityName, maintaind::EventRegisterInfo event);

  std::optional<maintaind::EventRegisterInfo> Find(maintaind::EntityRole role, const std::string& entityName);

 private:
  void LoadOnce();

  Loader loadDeployment_;
  std::once_flag isLoaded_;
  std::map<std::string, maintaind::EventRegisterInfo> deployed_;  // by event name; written once, by LoadOnce

  std::mutex mutex_;
  std::map<std::pair<maintaind::EntityRole, std::string>, maintaind::EventRegisterInfo> added_;  // guarded by mutex_
};

}  // namespace qor::com

#endif
