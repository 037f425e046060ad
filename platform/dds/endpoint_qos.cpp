// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/endpoint_qos.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include "platform/dds/dds_duration.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

/// Fast DDS keeps this many at most for KEEP_ALL, and more only when a depth asks for it.
constexpr std::int32_t kDefaultMaxSamples = 5000;
constexpr std::uint32_t kMaxDepth = 100'000;
/// Instances of a keyed topic that a reader can tell apart; with the largest depth their samples still can be counted.
constexpr std::int32_t kMaxInstances = 20'000;
static_assert(kMaxInstances <= std::numeric_limits<std::int32_t>::max() / static_cast<std::int32_t>(kMaxDepth));
/// A writer tells every so often what it has sent until all readers have it; a lost last fragment waits that long.
constexpr std::chrono::milliseconds kHeartbeatPeriod{20};
/// How long a Write may wait for slow readers of a KEEP_ALL event.
constexpr std::chrono::milliseconds kMaxBlockingTime{1000};

fdds::DurabilityQosPolicyKind DurabilityOf(maintaind::DurabilityQos durability) {
  return durability == maintaind::DurabilityQos::kVolatile ? fdds::VOLATILE_DURABILITY_QOS
                                                           : fdds::TRANSIENT_LOCAL_DURABILITY_QOS;
}

fdds::DataRepresentationId_t RepresentationOf(maintaind::DataRepresentation representation) {
  switch (representation) {
    case maintaind::DataRepresentation::kXml:
      return fdds::XML_DATA_REPRESENTATION;
    case maintaind::DataRepresentation::kXcdr2:
      return fdds::XCDR2_DATA_REPRESENTATION;
    default:
      return fdds::XCDR_DATA_REPRESENTATION;
  }
}

/// What writers and readers have in common.
template <class Qos>
void SetCommon(Qos& qos, const maintaind::QosInfo& record, std::uint32_t queueSize, std::int32_t maxInstances) {
  const auto depth = static_cast<std::int32_t>(
      std::clamp<std::uint32_t>(queueSize != 0 ? queueSize : record.history.depth, 1, kMaxDepth));
  const bool keepsAll = record.history.kind == maintaind::HistoryKind::kKeepAll && queueSize == 0;
  qos.history().kind = keepsAll ? fdds::KEEP_ALL_HISTORY_QOS : fdds::KEEP_LAST_HISTORY_QOS;
  qos.history().depth = depth;
  qos.durability().kind = DurabilityOf(record.durability);
  qos.reliability().kind = record.reliability == maintaind::ReliabilityKind::kReliable
                               ? fdds::RELIABLE_RELIABILITY_QOS
                               : fdds::BEST_EFFORT_RELIABILITY_QOS;
  qos.reliability().max_blocking_time = DdsDuration(kMaxBlockingTime);
  const std::int32_t perInstance = std::max(kDefaultMaxSamples, depth);
  qos.resource_limits().max_instances = maxInstances;
  qos.resource_limits().max_samples_per_instance = perInstance;
  qos.resource_limits().max_samples = perInstance * maxInstances;
  qos.resource_limits().allocated_samples = std::min(depth, kDefaultMaxSamples);
  qos.endpoint().history_memory_policy = rtps::DYNAMIC_REUSABLE_MEMORY_MODE;
}

}  // namespace

fdds::DataWriterQos MakeWriterQos(const maintaind::DDSEventInfo& event) {
  fdds::DataWriterQos qos = fdds::DATAWRITER_QOS_DEFAULT;
  SetCommon(qos, event.qos, 0, 1);
  qos.publish_mode().kind = event.publishMode == maintaind::PublishMode::kAsynchronous ? fdds::ASYNCHRONOUS_PUBLISH_MODE
                                                                                       : fdds::SYNCHRONOUS_PUBLISH_MODE;
  qos.reliable_writer_qos().times.heartbeatPeriod = DdsDuration(kHeartbeatPeriod);
  qos.representation().m_value = {RepresentationOf(event.dataRepresentation)};
  qos.transport_priority().value = event.transportPriority;
  qos.data_sharing().off();
  return qos;
}

fdds::DataReaderQos MakeReaderQos(const maintaind::DDSEventInfo& event, std::uint32_t queueSize) {
  fdds::DataReaderQos qos = fdds::DATAREADER_QOS_DEFAULT;
  SetCommon(qos, event.qos, queueSize, event.isKeyed ? kMaxInstances : 1);
  qos.data_sharing().off();
  // A reader of raw bytes takes every representation, the record's first.
  auto& accepted = qos.type_consistency().representation.m_value;
  accepted = {RepresentationOf(event.dataRepresentation)};
  for (const auto other :
       {fdds::XCDR_DATA_REPRESENTATION, fdds::XCDR2_DATA_REPRESENTATION, fdds::XML_DATA_REPRESENTATION}) {
    if (other != accepted.front()) {
      accepted.push_back(other);
    }
  }
  return qos;
}

fdds::PublisherQos MakePublisherQos(const maintaind::DDSEventInfo& event) {
  fdds::PublisherQos qos = fdds::PUBLISHER_QOS_DEFAULT;
  std::vector<std::string> names = SplitPartition(event.partition);
  qos.partition().names(names);
  return qos;
}

fdds::SubscriberQos MakeSubscriberQos(const maintaind::DDSEventInfo& event) {
  fdds::SubscriberQos qos = fdds::SUBSCRIBER_QOS_DEFAULT;
  std::vector<std::string> names = SplitPartition(event.partition);
  qos.partition().names(names);
  return qos;
}

std::vector<std::string> SplitPartition(const std::string& partition) {
  std::vector<std::string> names;
  std::size_t start = 0;
  while (start <= partition.size()) {
    const std::size_t end = std::min(partition.find(',', start), partition.size());
    std::string name = partition.substr(start, end - start);
    name.erase(0, std::min(name.find_first_not_of(' '), name.size()));
    name.erase(name.find_last_not_of(' ') + 1);
    if (!name.empty()) {
      names.push_back(std::move(name));
    }
    start = end + 1;
  }
  return names;
}

std::uint16_t EncapsulationOf(maintaind::DataRepresentation representation) {
  constexpr std::uint16_t kCdrLittleEndian = 0x0001;
  constexpr std::uint16_t kXml = 0x0004;
  constexpr std::uint16_t kCdr2LittleEndian = 0x0007;
  switch (representation) {
    case maintaind::DataRepresentation::kXml:
      return kXml;
    case maintaind::DataRepresentation::kXcdr2:
      return kCdr2LittleEndian;
    default:
      return kCdrLittleEndian;
  }
}

}  // namespace qor::dds
