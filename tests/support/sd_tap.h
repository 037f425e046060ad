// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_SD_TAP_H
#define QOR_TESTS_SUPPORT_SD_TAP_H

#include <cstddef>
#include <vector>

#include "platform/ipc/unique_fd.h"
#include "platform/someip/sd/sd_message.h"
#include "tests/support/test_hosts.h"

namespace qor::test {

/// Sees the service discovery messages that come to a test host from others, beside its own speaker.
class SdTap {
 public:
  SdTap(const TestHosts& hosts, std::size_t host);

  /// All entries that came since the last call.
  std::vector<someip::sd::Entry> Take();

 private:
  ipc::UniqueFd socket_;
};

}  // namespace qor::test

#endif
