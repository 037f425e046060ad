// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_PARTICIPANT_POOL_H
#define QOR_DDS_PARTICIPANT_POOL_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/ara/core/result.h"
#include "platform/dds/participant.h"

namespace qor::dds {

/// The participants of this process: one per domain and interface, made for the first endpoint that needs it and gone
/// with the last. Any thread.
class ParticipantPool {
 public:
  /// `name` is the entity name that the participants announce.
  explicit ParticipantPool(std::string name);

  /// The participant on the interface with the address `ip`; empty or in 127.0.0.0/8: this host only.
  ara::core::Result<std::shared_ptr<Participant>> Get(std::uint16_t domainId, const std::string& ip);

 private:
  /// One key's place. Its mutex is held while its participant is made, so that two threads do not make two.
  struct Slot {
    std::mutex mutex;
    std::weak_ptr<Participant> participant;  // guarded by mutex
  };
  std::shared_ptr<Slot> SlotOf(std::uint16_t domainId, const std::string& address);

  std::string name_;
  std::mutex mutex_;
  // Guarded by mutex_. Shared, so that a slot can be used while the map is not locked.
  std::map<std::pair<std::uint16_t, std::string>, std::shared_ptr<Slot>> slots_;
};

}  // namespace qor::dds

#endif
