// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DEMO_FEED_H
#define QOR_DEMO_FEED_H

#include <string>
#include <vector>

#include "demo/payload_writer.h"
#include "platform/com/node_handle.h"

namespace qor::demo {

/// One published event of the demo with the memory of its payload. The node must outlive it.
class Feed {
 public:
  /// Not Ok, with a line on stderr, when the event cannot be published. `order` is that of the payload's numbers.
  Feed(com::NodeHandle& node, const std::string& name, std::endian order = std::endian::little);

  bool Ok() const { return static_cast<bool>(publisher_); }
  /// The payload of the next sample; empty after a Send.
  PayloadWriter& Payload() { return payload_; }
  /// Publishes the payload and begins a new one.
  void Send();
  /// The same for an event of mbuf chains: the payload is the private data in front of the chain.
  void SendWith(std::vector<OutMbufData> chain);

 private:
  com::Publisher publisher_;
  PayloadWriter payload_;
};

/// Nanoseconds of the realtime clock.
std::uint64_t Now();

}  // namespace qor::demo

#endif
