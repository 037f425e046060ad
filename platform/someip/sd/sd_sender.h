// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_SENDER_H
#define QOR_SOMEIP_SD_SD_SENDER_H

#include <cstdint>
#include <span>

#include "platform/someip/endpoint.h"

namespace qor::someip::sd {

/// Sends datagrams from and to the port of service discovery. What cannot be sent is lost: the agent repeats itself.
class SdSender {
 public:
  virtual ~SdSender() = default;
  virtual void SendMulticast(std::span<const std::uint8_t> message) = 0;
  virtual void SendUnicast(Ipv4Address destination, std::span<const std::uint8_t> message) = 0;
};

}  // namespace qor::someip::sd

#endif
