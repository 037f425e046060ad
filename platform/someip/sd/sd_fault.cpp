// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_fault.h"

namespace qor::someip::sd {

const char* Text(SdFault fault) {
  switch (fault) {
    case SdFault::kNotServiceDiscovery:
      return "not a service discovery message";
    case SdFault::kCutShort:
      return "a length exceeds the message";
    case SdFault::kEntriesLength:
      return "the entries are not whole";
    case SdFault::kTooManyEntries:
      return "too many entries";
    case SdFault::kTooManyOptions:
      return "too many options";
    case SdFault::kInvalidEntry:
      return "an invalid entry";
    case SdFault::kSenderAddress:
      return "the sender has no host's address";
    case SdFault::kTooManyServices:
      return "more services than can be remembered";
  }
  return "unknown";
}

}  // namespace qor::someip::sd
