// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DISCOVERED_ENDPOINT_H
#define QOR_DDS_DISCOVERED_ENDPOINT_H

#include <fastdds/rtps/builtin/data/ReaderProxyData.h>
#include <fastdds/rtps/builtin/data/WriterProxyData.h>
#include <fastdds/rtps/common/RemoteLocators.hpp>

#include <string>
#include <vector>

#include "platform/dds/discovery_watcher.h"

namespace qor::dds {

/// What the locators of an endpoint or participant say.
struct ReachableBy {
  std::vector<maintaind::TransportQos> transports;  ///< each once
  std::string address;                              ///< the first IPv4 address; empty: none
};
ReachableBy ReadLocators(const eprosima::fastrtps::rtps::RemoteLocatorList& locators);

/// The announced data of an endpoint in the terms of our records. Name, domain and, for an endpoint without locators of
/// its own, how it is reached are its participant's and left to the caller.
DiscoveredEndpoint ReadEndpoint(const eprosima::fastrtps::rtps::WriterProxyData& writer);
DiscoveredEndpoint ReadEndpoint(const eprosima::fastrtps::rtps::ReaderProxyData& reader);

}  // namespace qor::dds

#endif
