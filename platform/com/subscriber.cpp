// SPDX-License-Identifier: Apache-2.0
#include "platform/com/subscriber.h"

#include <utility>

#include "platform/com/subscriber_impl.h"

namespace qor::com {

Subscriber::Subscriber() = default;
Subscriber::Subscriber(std::unique_ptr<SubscriberImpl> impl) : impl_(std::move(impl)) {}
Subscriber::Subscriber(Subscriber&&) noexcept = default;
Subscriber& Subscriber::operator=(Subscriber&&) noexcept = default;
Subscriber::~Subscriber() = default;

std::size_t Subscriber::GetPublisherCount() const { return impl_ != nullptr ? impl_->Core().PublisherCount() : 0; }

std::uint64_t Subscriber::GetLostCount() const { return impl_ != nullptr ? impl_->Core().LostCount() : 0; }

}  // namespace qor::com
