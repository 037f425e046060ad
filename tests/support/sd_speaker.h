// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_SD_SPEAKER_H
#define QOR_TESTS_SUPPORT_SD_SPEAKER_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/ipc/unique_fd.h"
#include "platform/someip/sd/sd_message.h"
#include "tests/support/test_hosts.h"

namespace qor::test {

/// Says whatever a test wants on the service discovery port of a test host; listens to nobody.
class SdSpeaker {
 public:
  SdSpeaker(const TestHosts& hosts, std::size_t host);

  /// To the multicast group, in as many messages as the entries need.
  void Say(const std::vector<someip::sd::Entry>& entries);
  /// To the group, or to one host.
  void SendBytes(std::span<const std::uint8_t> bytes, someip::Ipv4Address to = kGroup) const;
  /// A datagram that came by unicast; empty when there is none.
  std::vector<std::uint8_t> Take() const;

  static constexpr someip::Ipv4Address kGroup{0xE0E0E0F5};

 private:
  ipc::UniqueFd socket_;
  std::uint16_t session_ = 0;
};

}  // namespace qor::test

#endif
