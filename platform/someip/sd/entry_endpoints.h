// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_ENTRY_ENDPOINTS_H
#define QOR_SOMEIP_SD_ENTRY_ENDPOINTS_H

#include <optional>
#include <vector>

#include "platform/someip/sd/sd_option.h"

namespace qor::someip::sd {

struct EntryEndpoints {
  Endpoints endpoints;
  /// Among the endpoints is one that no host can have, or that is over an unknown protocol, or a second one over the
  /// same protocol.
  bool isUnfit = false;
};

/// The IPv4 endpoints among an entry's options.
EntryEndpoints EndpointsOf(const std::vector<Option>& options);
std::vector<Option> OptionsFor(const Endpoints& endpoints);

/// The UDP multicast endpoint among an acknowledgement's options.
std::optional<Endpoint> MulticastOf(const std::vector<Option>& options);

Configuration ConfigurationOf(const std::vector<Option>& options);

}  // namespace qor::someip::sd

#endif
