// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SUBSCRIBER_CORE_H
#define QOR_COM_SUBSCRIBER_CORE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/com/event_registration.h"
#include "platform/com/node_entity.h"
#include "platform/com/transport.h"
#include "src/common/records/event_info.h"

namespace qor::com {

/// The reader of one event. Any thread.
class SubscriberCore : public NodeEntity {
 public:
  /// Reads over the first binding that can be set up, DDS before others, and registers the event with it. Null, with a
  /// line in the log for each binding, when none can.
  static std::shared_ptr<SubscriberCore> Create(const std::string& nodeName, const maintaind::EventRegisterInfo& config,
                                                const ReaderOptions& options, const RecvHandler& handler);

  std::size_t PublisherCount() const;
  std::uint64_t LostCount() const;
  /// Waits for a handler that is running; after the return there is none, whoever else is stopping it.
  void Stop() override;

 private:
  SubscriberCore(std::unique_ptr<EventReader> reader, std::unique_ptr<EventRegistration> registration);

  std::mutex stopMutex_;  // held until the reader is gone; taken before mutex_
  mutable std::mutex mutex_;
  std::unique_ptr<EventReader> reader_;              // guarded by mutex_; null after Stop
  std::unique_ptr<EventRegistration> registration_;  // guarded by mutex_
  std::uint64_t lostAtStop_ = 0;                     // guarded by mutex_
};

}  // namespace qor::com

#endif
