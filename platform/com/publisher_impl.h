// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_PUBLISHER_IMPL_H
#define QOR_COM_PUBLISHER_IMPL_H

#include <memory>
#include <utility>

#include "platform/com/publisher_core.h"

namespace qor::com {

/// A publisher's hold on its core: the user's end, which ends it.
class PublisherImpl {
 public:
  explicit PublisherImpl(std::shared_ptr<PublisherCore> core) : core_(std::move(core)) {}
  ~PublisherImpl() { core_->Stop(); }
  PublisherImpl(const PublisherImpl&) = delete;
  PublisherImpl& operator=(const PublisherImpl&) = delete;

  PublisherCore& Core() const { return *core_; }

 private:
  std::shared_ptr<PublisherCore> core_;  // shared with the node's Shutdown
};

}  // namespace qor::com

#endif
