// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_PUBLISHER_CORE_H
#define QOR_COM_PUBLISHER_CORE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "platform/com/e2e/e2e_protector.h"
#include "platform/com/event_registration.h"
#include "platform/com/node_entity.h"
#include "platform/com/transport.h"
#include "platform/dp/mbuf.h"
#include "src/common/records/event_info.h"

namespace qor::com {

/// The writers of one event, one for each of its bindings. Any thread; Publish by one at a time. Stop can come at any
/// moment: a Publish that is under way ends with the writers it began with.
class PublisherCore : public NodeEntity {
 public:
  /// Makes the writers and registers the event with those that could be made. Null, with a line in the log for each
  /// binding, when none could.
  static std::shared_ptr<PublisherCore> Create(const std::string& nodeName, const maintaind::EventRegisterInfo& config);

  bool Publish(std::span<const std::uint8_t> payload);
  bool Publish(const dp::MbufSample& sample);
  std::size_t SubscriberCount() const;
  bool WaitForFlush(std::chrono::milliseconds limit);
  void Stop() override;

 private:
  struct ProtectedWriter {
    std::unique_ptr<EventWriter> writer;
    std::unique_ptr<e2e::E2eProtector> protector;  ///< null without E2E protection; touched by Publish only
  };
  using Writers = std::vector<ProtectedWriter>;

  PublisherCore(std::string eventName, Writers writers, std::unique_ptr<EventRegistration> registration);
  /// The writers, which live at least as long as the handle; null after Stop.
  std::shared_ptr<const Writers> GetWriters() const;

  std::string eventName_;
  bool Write(const ProtectedWriter& writer, std::span<const std::uint8_t> payload);

  std::vector<std::uint8_t> mbufBytes_;       // touched by Publish only
  std::vector<std::uint8_t> protectedBytes_;  // touched by Publish only

  mutable std::mutex mutex_;
  std::shared_ptr<const Writers> writers_;           // guarded by mutex_; shared with a Publish under way
  std::unique_ptr<EventRegistration> registration_;  // guarded by mutex_
};

}  // namespace qor::com

#endif
