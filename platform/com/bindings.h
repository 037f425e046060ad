// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_BINDINGS_H
#define QOR_COM_BINDINGS_H

#include <string>

#include "platform/ara/core/result.h"
#include "platform/com/transport.h"
#include "src/common/records/event_info.h"

/// What advertising and subscribing have in common: taking one binding of an event to its wire.
namespace qor::com {

/// The record of one binding, ready for its wire. A DDS binding without a type name gets the payload type's.
maintaind::EventInfo BindingOf(const maintaind::EventRegisterInfo& config, maintaind::DriverType driver);

/// The E2E protection of one binding.
const maintaind::E2EConfigInfo& E2eOf(const maintaind::EventInfo& binding, maintaind::DriverType driver);

/// The wire of a binding, or null with a line in the log.
EventTransport* WireOf(const maintaind::EventRegisterInfo& config, maintaind::DriverType driver);

/// The line for a binding that could not be set up. `what` is "published" or "subscribed".
void LogBindingFailure(const maintaind::EventRegisterInfo& config, const char* what, const ara::core::ErrorCode& error);

}  // namespace qor::com

#endif
