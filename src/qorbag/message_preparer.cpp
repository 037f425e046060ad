// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/message_preparer.h"

#include <cstddef>

#include "src/qorbag/bag_format.h"
#include "src/qorbag/player_log.h"
#include "src/qorbag/recorded_mbuf.h"

namespace qor::qorbag {
namespace {

constexpr std::uint32_t kLogIntervalMs = 1000;

std::size_t ChainSize(const dp::MbufSample& sample) {
  std::size_t size = 0;
  for (const OutMbufData& buffer : sample.chain) {
    size += buffer.size;
  }
  return size;
}

}  // namespace

bool MessagePreparer::PreparePubMsg(Kind kind, std::uint32_t bagVersion, std::span<const std::uint8_t> recorded) {
  payload_ = recorded;
  if (kind == Kind::kNormal) {
    kPlayerLog.Verbose() << "PreparePubMsg: The target msg is normal";
    return true;
  }
  if (!Decode(bagVersion, recorded)) {
    return false;
  }
  kPlayerLog.Verbose() << "PreparePubMsg: rawbuffer[Pvt=" << sample_.privateData.size()
                       << ", mbuf=" << ChainSize(sample_) << "]";
  if (kind == Kind::kFlattened) {
    ChangePubMsgForNormal();
  } else if (bagVersion < kWithMbufLengths) {
    ChangePubMsgBeforeBagV200();
  }
  return true;
}

bool MessagePreparer::Decode(std::uint32_t bagVersion, std::span<const std::uint8_t> recorded) {
  switch (DecodeRecordedMbuf(bagVersion, recorded, sample_)) {
    case MbufFault::kNone:
      return true;
    case MbufFault::kPrivateData:
      kPlayerLog.Error("PreparePubMsg private data", kLogIntervalMs)
          << "PreparePubMsg: private data length > the buffer size when using rawdata!";
      return false;
    case MbufFault::kChain:
      kPlayerLog.Error("PreparePubMsg chain", kLogIntervalMs) << "PreparePubMsg: Writting mbuf failed!";
      return false;
  }
  return false;
}

void MessagePreparer::ChangePubMsgBeforeBagV200() {
  dp::EncodeMbufSample(sample_, bytes_);
  payload_ = bytes_;
}

void MessagePreparer::ChangePubMsgForNormal() {
  bytes_.assign(sample_.privateData.begin(), sample_.privateData.end());
  for (const OutMbufData& buffer : sample_.chain) {
    bytes_.insert(bytes_.end(), buffer.data, buffer.data + buffer.size);
  }
  payload_ = bytes_;
}

}  // namespace qor::qorbag
