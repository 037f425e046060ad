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

EventTransport* WireOf(const maintaind::EventRegisterInfo& config, maintaind::DriverType driver) {
  EventTransport* const wire = TransportFor(driver);
  if (wire == nullptr) {
    kLog.Error() << "Event '" << config.eventName << "': this build has no "
                 << (driver == maintaind::DriverType::kSomeip ? "SOME/IP event transport" : "such event transport");
  }
  return wire;
}

void LogBindingFailure(const maintaind::EventRegisterInfo& config, const char* what,
                       const ara::core::ErrorCode& error) {
  kLog.Error() << "Event '" << config.eventName << "' cannot be " << what << ": " << error.Message();
}

}  // namespace qor::com
