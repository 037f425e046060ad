// SPDX-License-Identifier: Apache-2.0
#include "platform/com/bindings.h"

#include "platform/log/qor_log.h"

namespace qor::com {
namespace {

constexpr QorLog kLog("Com");

}  // namespace

maintaind::EventInfo BindingOf(const maintaind::EventRegisterInfo& config, maintaind::DriverType driver) {
  maintaind::EventInfo binding = config.bindings.at(driver);
  if (driver == maintaind::DriverType::kDds && binding.dds.typeName.empty()) {
    binding.dds.typeName = config.dataTypeName;
  }
  return binding;
}

const maintaind::E2EConfigInfo& E2eOf(const maintaind::EventInfo& binding, maintaind::DriverType driver) {
  return driver == maintaind::DriverType::kSomeip ? binding.someip.e2e : binding.dds.e2e;
}

EventTransport* WireOf(const maintaind::EventRegisterInfo& config, maintaind::DriverType driver) {
  EventTransport* const wire = TransportFor(driver);
  if (wire == nullptr) {
    kLog.Error() << "Event '" << config.eventName << "' has a binding of an unknown kind, "
                 << static_cast<std::uint32_t>(driver);
  }
  return wire;
}

void LogBindingFailure(const maintaind::EventRegisterInfo& config, const char* what,
                       const ara::core::ErrorCode& error) {
  kLog.Error() << "Event '" << config.eventName << "' cannot be " << what << ": " << error.Message();
}

}  // namespace qor::com
