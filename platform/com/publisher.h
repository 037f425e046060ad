// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_PUBLISHER_H
#define QOR_COM_PUBLISHER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/dp/mbuf.h"

namespace qor::com {

class PublisherImpl;

/// Publishes one event; made by NodeHandle::Advertise. Movable; empty when it could not be made. Publish may be called
/// from any thread, one at a time.
class Publisher {
 public:
  Publisher();
  explicit Publisher(std::unique_ptr<PublisherImpl> impl);
  Publisher(Publisher&&) noexcept;
  Publisher& operator=(Publisher&&) noexcept;
  ~Publisher();

  explicit operator bool() const noexcept { return impl_ != nullptr; }

  /// Sends one sample over every binding of the event. False when a transport refused it; a line in the log says why.
  [[nodiscard]] bool Publish(std::span<const std::uint8_t> payload);
  /// The same for mbuf events.
  [[nodiscard]] bool Publish(const dp::MbufSample& sample);

  /// Subscribers that are connected now, over all bindings.
  std::size_t GetSubscriberCount() const;

  /// Waits until every reliable subscriber has what was published, at most `limit`. False when the limit passed.
  [[nodiscard]] bool WaitForFlush(std::chrono::milliseconds limit);

 private:
  std::unique_ptr<PublisherImpl> impl_;
};

}  // namespace qor::com

#endif
