// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_INCOMPATIBLE_QOS_H
#define QOR_DDS_INCOMPATIBLE_QOS_H

#include <cstdint>
#include <string>

namespace qor::dds {

/// The line that says why an endpoint of a topic does not match one of ours. `otherSide` is "publisher" or
/// "subscriber", `policyId` the DDS QosPolicyId_t that keeps them apart. Any thread; at most once a second for each
/// topic.
void LogIncompatibleQos(const std::string& topicName, const char* otherSide, std::uint32_t policyId);

}  // namespace qor::dds

#endif
