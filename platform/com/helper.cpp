// SPDX-License-Identifier: Apache-2.0
#include "platform/com/helper.h"

#include "platform/com/config_store.h"
#include "platform/log/qor_log.h"

namespace qor {
namespace {

constexpr QorLog kLog("Com");

}  // namespace

bool Helper::AddConfig(bool isPublisher, const RegisterOptions& options, const maintaind::EventRegisterInfo& event) {
  if (event.eventName.empty() || event.bindings.size() != 1) {
    kLog.Error() << "The configuration of event '" << event.eventName << "' under '" << options.nodePath
                 << "' is refused: it needs a name and exactly one binding, and has " << event.bindings.size() << ".";
    return false;
  }
  maintaind::EventRegisterInfo config = event;
  for (auto& [driver, binding] : config.bindings) {
    if (driver == maintaind::DriverType::kDds && !options.ddsNetwork.empty()) {
      binding.dds.networkIp = options.ddsNetwork;
    }
    if (driver == maintaind::DriverType::kSomeip && !options.someipNetwork.empty()) {
      binding.someip.networkName = options.someipNetwork;
    }
  }
  const auto role = isPublisher ? maintaind::EntityRole::kProvider : maintaind::EntityRole::kConsumer;
  const std::string& entityName = options.entityName.empty() ? event.eventName : options.entityName;
  com::ConfigStore::Instance().Add(role, options.nodePath + entityName, std::move(config));
  return true;
}

}  // namespace qor
