// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_NAMES_H
#define QOR_COM_DEPLOYMENT_NAMES_H

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "src/common/records/binding.h"
#include "src/common/records/event_info.h"
#include "src/common/records/qos.h"
#include "src/common/records/serialization_node.h"
#include "src/common/records/serialize_config.h"

/// The words of the deployment files.
namespace qor::com {

/// The key of a record's field: its name without "is", and some shorter. Empty for a field that the running system
/// fills and a file may not set.
std::string DeploymentKey(std::string_view fieldName);

/// The texts of an enumeration's values, in the order in which they are offered to a person.
template <class E>
inline constexpr std::array<std::pair<std::string_view, E>, 0> kDeploymentTexts{};

template <>
inline constexpr auto kDeploymentTexts<maintaind::TransportQos> =
    std::to_array<std::pair<std::string_view, maintaind::TransportQos>>({
        {"UDP", maintaind::TransportQos::kUdp},
        {"SHM", maintaind::TransportQos::kShm},
        {"DSHM", maintaind::TransportQos::kDshm},
        {"DSHM(MBUF)", maintaind::TransportQos::kDshmMbuf},
        {"FSHM", maintaind::TransportQos::kFshm},
        {"ICC", maintaind::TransportQos::kIcc},
        {"PCIE", maintaind::TransportQos::kPcie},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::DurabilityQos> =
    std::to_array<std::pair<std::string_view, maintaind::DurabilityQos>>({
        {"VOLATILE", maintaind::DurabilityQos::kVolatile},
        {"TRANSIENT_LOCAL", maintaind::DurabilityQos::kTransientLocal},
        {"TRANSIENT", maintaind::DurabilityQos::kTransient},
        {"PERSISTENT", maintaind::DurabilityQos::kPersistent},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::ReliabilityKind> =
    std::to_array<std::pair<std::string_view, maintaind::ReliabilityKind>>({
        {"RELIABLE", maintaind::ReliabilityKind::kReliable},
        {"BEST_EFFORT", maintaind::ReliabilityKind::kBestEffort},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::HistoryKind> =
    std::to_array<std::pair<std::string_view, maintaind::HistoryKind>>({
        {"KEEP_LAST", maintaind::HistoryKind::kKeepLast},
        {"KEEP_ALL", maintaind::HistoryKind::kKeepAll},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::DataRepresentation> =
    std::to_array<std::pair<std::string_view, maintaind::DataRepresentation>>({
        {"XCDR1", maintaind::DataRepresentation::kXcdr1},
        {"XCDR2", maintaind::DataRepresentation::kXcdr2},
        {"XML", maintaind::DataRepresentation::kXml},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::PublishMode> =
    std::to_array<std::pair<std::string_view, maintaind::PublishMode>>({
        {"SYNCHRONOUS", maintaind::PublishMode::kSynchronous},
        {"ASYNCHRONOUS", maintaind::PublishMode::kAsynchronous},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::DataMode> =
    std::to_array<std::pair<std::string_view, maintaind::DataMode>>({
        {"NORMAL", maintaind::DataMode::kNormal},
        {"RAWBUFFER", maintaind::DataMode::kRawBuffer},
        {"MBUF", maintaind::DataMode::kMbuf},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::SerializationType> =
    std::to_array<std::pair<std::string_view, maintaind::SerializationType>>({
        {"CM", maintaind::SerializationType::kCm},
        {"ROS", maintaind::SerializationType::kRos},
        {"SOMEIP", maintaind::SerializationType::kSomeip},
        {"PDU", maintaind::SerializationType::kPdu},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::StringEncoding> =
    std::to_array<std::pair<std::string_view, maintaind::StringEncoding>>({
        {"UTF-8", maintaind::StringEncoding::kUtf8},
        {"UTF-16LE", maintaind::StringEncoding::kUtf16Le},
        {"UTF-16BE", maintaind::StringEncoding::kUtf16Be},
    });
template <>
inline constexpr auto kDeploymentTexts<maintaind::StructSerializationPolicy> =
    std::to_array<std::pair<std::string_view, maintaind::StructSerializationPolicy>>({
        {"ALIGN_OUTER_LAYER", maintaind::StructSerializationPolicy::kAlignOuterLayer},
        {"DISABLE_OUTER_LAYER_ALIGNMENT", maintaind::StructSerializationPolicy::kDisableOuterLayerAlignment},
    });

}  // namespace qor::com

#endif
