// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SUBSCRIBER_H
#define QOR_COM_SUBSCRIBER_H

#include <cstddef>
#include <cstdint>
#include <memory>

namespace qor::com {

class SubscriberImpl;

/// Receives one event; made by NodeHandle::Subscribe. Movable; empty when it could not be made. Destruction ends the
/// subscription: after it the handler is not called any more. Must not be destroyed from its own handler.
class Subscriber {
 public:
  Subscriber();
  explicit Subscriber(std::unique_ptr<SubscriberImpl> impl);
  Subscriber(Subscriber&&) noexcept;
  Subscriber& operator=(Subscriber&&) noexcept;
  ~Subscriber();

  explicit operator bool() const noexcept { return impl_ != nullptr; }

  /// Publishers that are connected now.
  std::size_t GetPublisherCount() const;

  /// Samples that the transport knows were lost before they reached the handler.
  std::uint64_t GetLostCount() const;

 private:
  std::unique_ptr<SubscriberImpl> impl_;
};

}  // namespace qor::com

#endif
