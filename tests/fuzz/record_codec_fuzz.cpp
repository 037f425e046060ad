// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <span>
#include <tuple>

#include "platform/maintaind/service/tools_service.h"
#include "src/common/records/codec.h"
#include "src/common/records/pdu_description.h"
#include "src/common/records/registration.h"
#include "src/common/records/remote_daemon.h"
#include "src/common/records/serialization_node.h"
#include "src/common/records/someip_link.h"
#include "tests/fuzz/require.h"

namespace qor::maintaind {
namespace {

/// Everything that travels as one payload.
using Payloads =
    std::tuple<std::string, std::uint32_t, std::vector<EventInfoWithPubSub>, std::vector<MethodInfoWithPubSub>,
               std::vector<FieldInfoWithPubSub>, std::vector<ServiceInfoWithPubSub>, std::vector<NodeInfoWithAppName>,
               QueryDataTypeIndex, QuerySubEventInfoIndex, SubNodeEventInfo, EventShowTexts, MethodTypeTexts,
               std::vector<DataTypeInfo>, std::vector<DataTypeRef>, LatencyIndex, LatencySwitch, LatencyQueryInfo,
               LatencyStatus, LatencyResult, ReturnCode, ApplicationHello, DaemonHello, EventRegistration,
               MethodRegistration, FieldRegistration, ServiceRegistration, ServiceIndex, ServiceOffer, ServiceState,
               EventgroupSubscription, SubscriberChange, std::vector<RemoteDaemon>, SerializationNode, PduDescription>;

/// What can be read is written and read again as the same value.
template <class T>
void Check(std::span<const std::uint8_t> bytes) {
  T value{};
  RecordReader reader(bytes);
  reader.Read(value);
  Require(reader.Position() <= bytes.size());
  if (reader.IsComplete()) {
    T again{};
    Require(Decode(Encode(value), again) && again == value);
  }
}

template <std::size_t... I>
void CheckOne(std::size_t type, std::span<const std::uint8_t> bytes, std::index_sequence<I...> /*types*/) {
  ((type == I ? Check<std::tuple_element_t<I, Payloads>>(bytes) : void()), ...);
}

}  // namespace
}  // namespace qor::maintaind

/// The first byte chooses the record, the others are its payload.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using qor::maintaind::Payloads;
  constexpr std::size_t kTypes = std::tuple_size_v<Payloads>;
  if (size > 0) {
    qor::maintaind::CheckOne(data[0] % kTypes, std::span(data, size).subspan(1), std::make_index_sequence<kTypes>());
  }
  return 0;
}
