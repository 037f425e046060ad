// SPDX-License-Identifier: Apache-2.0
#include "platform/com/transport.h"

namespace qor::com {

EventTransport* TransportFor(maintaind::DriverType driver) {
  return driver == maintaind::DriverType::kDds ? &DdsEventTransport() : nullptr;
}

}  // namespace qor::com
