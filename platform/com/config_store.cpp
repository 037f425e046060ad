// SPDX-License-Identifier: Apache-2.0
#include "platform/com/config_store.h"

#include "platform/log/qor_log.h"

namespace qor::com {
namespace {

constexpr QorLog kLog("Com");

Deployment LoadProcessDeployment() {
  const std::string directory = DeploymentDirectory();
  return directory.empty() ? Deployment() : LoadDeployment(directory);
}

}  // namespace

ConfigStore& ConfigStore::Instance() {
  static auto* const store = new ConfigStore(LoadProcessDeployment);
  return *store;
}

void ConfigStore::Add(maintaind::EntityRole role, const std::string& entityName, maintaind::EventRegisterInfo event) {
  const std::lock_guard lock(mutex_);
  added_.insert_or_assign({role, entityName}, std::move(event));
}

std::optional<maintaind::EventRegisterInfo> ConfigStore::Find(maintaind::EntityRole role,
                                                              const std::string& entityName) {
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = added_.find({role, entityName}); found != added_.end()) {
      return found->second;
    }
  }
  LoadOnce();
  const auto found = deployed_.find(entityName);
  return found != deployed_.end() ? std::optional(found->second) : std::nullopt;
}

void ConfigStore::LoadOnce() {
  std::call_once(isLoaded_, [this] {
    Deployment deployment = loadDeployment_();
    for (const DeploymentFault& fault : deployment.faults) {
      kLog.Warn() << FaultText(fault);
    }
    for (maintaind::EventRegisterInfo& event : deployment.events) {
      std::string name = event.eventName;
      if (!event.uuid.empty()) {
        deployed_.try_emplace(name + "[" + event.uuid + "]", event);
      }
      deployed_.try_emplace(std::move(name), std::move(event));
    }
  });
}

}  // namespace qor::com
