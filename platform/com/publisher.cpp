// SPDX-License-Identifier: Apache-2.0
#include "platform/com/publisher.h"

#include <utility>

#include "platform/com/publisher_impl.h"

namespace qor::com {

Publisher::Publisher() = default;
Publisher::Publisher(std::unique_ptr<PublisherImpl> impl) : impl_(std::move(impl)) {}
Publisher::Publisher(Publisher&&) noexcept = default;
Publisher& Publisher::operator=(Publisher&&) noexcept = default;
Publisher::~Publisher() = default;

bool Publisher::Publish(std::span<const std::uint8_t> payload) {
  return impl_ != nullptr && impl_->Core().Publish(payload);
}

bool Publisher::Publish(const dp::MbufSample& sample) { return impl_ != nullptr && impl_->Core().Publish(sample); }

std::size_t Publisher::GetSubscriberCount() const { return impl_ != nullptr ? impl_->Core().SubscriberCount() : 0; }

bool Publisher::WaitForFlush(std::chrono::milliseconds limit) {
  return impl_ == nullptr || impl_->Core().WaitForFlush(limit);
}

}  // namespace qor::com
