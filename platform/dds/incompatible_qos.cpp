// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/incompatible_qos.h"

#include <fastdds/dds/core/policy/QosPolicies.hpp>

#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;

constexpr QorLog kLog("DDS");
constexpr std::uint32_t kLogIntervalMs = 1000;

std::string PolicyName(std::uint32_t id) {
  switch (id) {
    case fdds::DURABILITY_QOS_POLICY_ID:
      return "durability";
    case fdds::RELIABILITY_QOS_POLICY_ID:
      return "reliability";
    case fdds::OWNERSHIP_QOS_POLICY_ID:
      return "ownership";
    case fdds::DEADLINE_QOS_POLICY_ID:
      return "deadline";
    case fdds::LIVELINESS_QOS_POLICY_ID:
      return "liveliness";
    case fdds::LATENCYBUDGET_QOS_POLICY_ID:
      return "latency budget";
    case fdds::DESTINATIONORDER_QOS_POLICY_ID:
      return "destination order";
    case fdds::PRESENTATION_QOS_POLICY_ID:
      return "presentation";
    case fdds::PARTITION_QOS_POLICY_ID:
      return "partition";
    case fdds::DATAREPRESENTATION_QOS_POLICY_ID:
      return "data representation";
    default:
      return "number " + std::to_string(id);
  }
}

}  // namespace

void LogIncompatibleQos(const std::string& topicName, const char* otherSide, std::uint32_t policyId) {
  kLog.Warn("DDS_IncompatibleQos_" + topicName, kLogIntervalMs)
      << "A " << otherSide << " of topic '" << topicName
      << "' cannot be connected: its QoS policy is incompatible: " << PolicyName(policyId) << ".";
}

}  // namespace qor::dds
