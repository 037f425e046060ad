// SPDX-License-Identifier: Apache-2.0
#include "src/common/records/binding.h"

namespace qor::maintaind {

std::string_view TransportQosText(TransportQos transport) {
  switch (transport) {
    case TransportQos::kUdp:
      return "UDP";
    case TransportQos::kIcc:
      return "ICC";
    case TransportQos::kDshm:
      return "DSHM";
    case TransportQos::kShm:
      return "SHM";
    case TransportQos::kDshmMbuf:
      return "DSHM(MBUF)";
    case TransportQos::kFshm:
      return "FSHM";
    case TransportQos::kPcie:
      return "PCIE";
  }
  return "UNKNOWN";
}

}  // namespace qor::maintaind
