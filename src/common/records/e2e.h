// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_E2E_H
#define QOR_COMMON_RECORDS_E2E_H

#include <cstdint>

#include "src/common/records/visit.h"

namespace qor::maintaind {

/// End-to-end protection of one entity, in the terms of the AUTOSAR E2E protocol.
struct E2EConfigInfo {
  bool isProtected = false;
  std::uint8_t profile = 0;  ///< 4, 5 or 7; 0 without protection
  std::uint32_t dataId = 0;
  std::uint32_t offset = 0;           ///< bits from the start of the payload to the E2E header
  std::uint32_t minDataLength = 0;    ///< bits of the sample with its header
  std::uint32_t maxDataLength = 0;    ///< likewise; 0: what the profile's length field can say
  std::uint32_t maxDeltaCounter = 1;  ///< largest step of the counter that is accepted; the samples between are lost

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("isProtected", s.isProtected...);
    visit("profile", s.profile...);
    visit("dataId", s.dataId...);
    visit("offset", s.offset...);
    visit("minDataLength", s.minDataLength...);
    visit("maxDataLength", s.maxDataLength...);
    visit("maxDeltaCounter", s.maxDeltaCounter...);
  }
};

}  // namespace qor::maintaind

#endif
