// SPDX-License-Identifier: Apache-2.0
#include "platform/com/transport.h"

namespace qor::com {

EventTransport* TransportFor(maintaind::DriverType driver) {
  switch (driver) {
    case maintaind::DriverType::kDds:
      return &DdsEventTransport();
    case maintaind::DriverType::kSomeip:
      return &SomeipEventTransport();
    default:
      return nullptr;
  }
}

}  // namespace qor::com
