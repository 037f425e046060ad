// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recorded_mbuf.h"

#include <algorithm>

#include "src/qorbag/bag_format.h"
#include "src/qorbag/little_endian.h"

namespace qor::qorbag {
namespace {

/// What stands behind the private data; false when that has fewer bytes than its length says.
bool SplitPrivateData(std::span<const std::uint8_t> bytes, dp::MbufSample& sample,
                      std::span<const std::uint8_t>& chain) {
  ByteReader reader(bytes);
  std::uint32_t size = 0;
  return reader.Read(size) && reader.Read(size, sample.privateData) && reader.Read(reader.Remaining(), chain);
}

}  // namespace

bool IsUsingRawData(const EventDescription& event) {
  const maintaind::DDSEventInfo& dds = event.eventInfo.dds;
  return event.driverType == maintaind::DriverType::kDds &&
         (dds.dataMode == maintaind::DataMode::kMbuf ||
          std::ranges::find(dds.transports, maintaind::TransportQos::kDshmMbuf) != dds.transports.end());
}

MbufFault DecodeRecordedMbuf(std::uint32_t bagVersion, std::span<const std::uint8_t> bytes, dp::MbufSample& sample) {
  std::span<const std::uint8_t> chain;
  sample.chain.clear();
  if (!SplitPrivateData(bytes, sample, chain)) {
    return MbufFault::kPrivateData;
  }
  if (bagVersion >= kWithMbufLengths) {
    return dp::DecodeMbufSample(bytes, sample) ? MbufFault::kNone : MbufFault::kChain;
  }
  if (!chain.empty()) {
    sample.chain.push_back({chain.data(), static_cast<std::uint32_t>(chain.size())});
  }
  return MbufFault::kNone;
}

}  // namespace qor::qorbag
