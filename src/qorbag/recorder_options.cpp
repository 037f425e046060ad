// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recorder_options.h"

#include "platform/log/qor_log.h"

namespace qor::qorbag {
namespace {

constexpr QorLog kLog("QorRecorder");

constexpr std::uint32_t kMost = 65536;             // not included
constexpr std::uint32_t kLargestLimit = 10000000;  // as good as none
constexpr std::uint64_t kLargestSize = std::uint64_t{65535} << 20U;
constexpr std::uint8_t kCompressions = 3;
constexpr std::uint16_t kDomains = 64;

bool CheckSizes(const RecorderOptions& options) {
  bool isOk = true;
  if (options.chunkSize == 0) {
    kLog.Error() << "QorRecorder RecorderOptions.chunkSize is error![RecorderOptions.chunkSize=" << options.chunkSize
                 << "]";
    isOk = false;
  }
  if (options.maxSize > kLargestSize) {
    kLog.Error() << "QorRecorder RecorderOptions.maxSize is error![RecorderOptions.maxSize=" << options.maxSize << "]";
    isOk = false;
  }
  if (options.minSpace == 0) {
    kLog.Error() << "QorRecorder RecorderOptions.minSpace is error![RecorderOptions.minSpace=" << options.minSpace
                 << "]";
    isOk = false;
  }
  return isOk;
}

bool CheckCounts(const RecorderOptions& options) {
  bool isOk = true;
  if (options.limit >= kMost && options.limit != kLargestLimit) {
    kLog.Error() << "QorRecorder RecorderOptions.limit is error![RecorderOptions.limit=" << options.limit << "]";
    isOk = false;
  }
  if (options.skipFrame >= kMost) {
    kLog.Error() << "QorRecorder RecorderOptions.skipFrame is error![RecorderOptions.skipFrame=" << options.skipFrame
                 << "]";
    isOk = false;
  }
  if (options.maxSplits >= kMost) {
    kLog.Error() << "QorRecorder RecorderOptions.maxSplits is error![RecorderOptions.duration=" << options.maxSplits
                 << "]";
    isOk = false;
  }
  if (options.maxDuration >= kMost) {
    kLog.Error() << "QorRecorder RecorderOptions.maxDuration is error![RecorderOptions.maxDuration="
                 << options.maxDuration << "]";
    isOk = false;
  }
  return isOk;
}

}  // namespace

bool CheckTheRecorderOptions(const RecorderOptions& options) {
  bool isOk = CheckSizes(options);
  isOk = CheckCounts(options) && isOk;
  if (options.compressionType >= kCompressions) {
    kLog.Error() << "QorRecorder RecorderOptions.compressionType is error!";
    isOk = false;
  }
  if (options.domainId >= kDomains && options.domainId != CommonFilter::kAnyDomain) {
    kLog.Error() << "QorRecorder RecorderOptions.domainId is error![RecorderOptions.domainId=" << options.domainId
                 << "]";
    isOk = false;
  }
  return isOk;
}

}  // namespace qor::qorbag
