// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SUBSCRIBER_IMPL_H
#define QOR_COM_SUBSCRIBER_IMPL_H

#include <memory>
#include <utility>

#include "platform/com/subscriber_core.h"

namespace qor::com {

/// A subscriber's hold on its core: the user's end, which ends it.
class SubscriberImpl {
 public:
  explicit SubscriberImpl(std::shared_ptr<SubscriberCore> core) : core_(std::move(core)) {}
  ~SubscriberImpl() { core_->Stop(); }
  SubscriberImpl(const SubscriberImpl&) = delete;
  SubscriberImpl& operator=(const SubscriberImpl&) = delete;

  SubscriberCore& Core() const { return *core_; }

 private:
  std::shared_ptr<SubscriberCore> core_;  // shared with the node's Shutdown
};

}  // namespace qor::com

#endif
