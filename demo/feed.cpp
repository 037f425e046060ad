// SPDX-License-Identifier: Apache-2.0
#include "demo/feed.h"

#include <chrono>
#include <cstdio>
#include <utility>

namespace qor::demo {

Feed::Feed(com::NodeHandle& node, const std::string& name, std::endian order)
    : publisher_(node.Advertise(name)), payload_(order) {
  if (!publisher_) {
    std::fprintf(stderr, "cannot publish %s; is QOR_DEPLOYMENT_DIR set to demo/deployment?\n", name.c_str());
  }
}

void Feed::Send() {
  // A sample that the transport refused has its line in the log, and the next one is due soon.
  static_cast<void>(publisher_.Publish(payload_.Bytes()));
  payload_.Clear();
}

void Feed::SendWith(std::vector<OutMbufData> chain) {
  static_cast<void>(publisher_.Publish(dp::MbufSample{payload_.Bytes(), std::move(chain)}));
  payload_.Clear();
}

std::uint64_t Now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count());
}

}  // namespace qor::demo
