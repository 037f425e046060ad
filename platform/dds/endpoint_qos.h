// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_ENDPOINT_QOS_H
#define QOR_DDS_ENDPOINT_QOS_H

#include <cstdint>
#include <fastdds/dds/publisher/qos/DataWriterQos.hpp>
#include <fastdds/dds/publisher/qos/PublisherQos.hpp>
#include <fastdds/dds/subscriber/qos/DataReaderQos.hpp>
#include <fastdds/dds/subscriber/qos/SubscriberQos.hpp>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"

/// The QoS of an event's record in Fast DDS's terms. TRANSIENT and PERSISTENT durability become TRANSIENT_LOCAL:
/// nothing stores samples beyond the life of a writer.
namespace qor::dds {

eprosima::fastdds::dds::DataWriterQos MakeWriterQos(const maintaind::DDSEventInfo& event);
/// `queueSize`: samples to keep, instead of the record's history; 0: as the record says.
eprosima::fastdds::dds::DataReaderQos MakeReaderQos(const maintaind::DDSEventInfo& event, std::uint32_t queueSize);
eprosima::fastdds::dds::PublisherQos MakePublisherQos(const maintaind::DDSEventInfo& event);
eprosima::fastdds::dds::SubscriberQos MakeSubscriberQos(const maintaind::DDSEventInfo& event);

/// The names in a comma-separated list, without the blanks around them; empty names are left out.
std::vector<std::string> SplitPartition(const std::string& partition);

/// The RTPS encapsulation identifier of a representation, little-endian.
std::uint16_t EncapsulationOf(maintaind::DataRepresentation representation);

}  // namespace qor::dds

#endif
