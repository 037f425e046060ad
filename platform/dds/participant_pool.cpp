// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/participant_pool.h"

#include "platform/dds/host_interfaces.h"

namespace qor::dds {
ParticipantPool::ParticipantPool(std::string name) : name_(std::move(name)) {}

ara::core::Result<std::shared_ptr<Participant>> ParticipantPool::Get(std::uint16_t domainId, const std::string& ip) {
  // The record of another host's event has that host's address.
  const std::string address = IsLoopback(ip) ? kLoopbackAddress : OwnAddressTowards(ip).value_or(ip);
  const std::shared_ptr<Slot> slot = SlotOf(domainId, address);
  const std::lock_guard lock(slot->mutex);
  if (auto existing = slot->participant.lock()) {
    return existing;
  }
  auto made = Participant::Create(domainId, address, name_);
  if (made) {
    slot->participant = made.Value();
  }
  return made;
}

std::shared_ptr<ParticipantPool::Slot> ParticipantPool::SlotOf(std::uint16_t domainId, const std::string& address) {
  const std::lock_guard lock(mutex_);
  auto& slot = slots_[{domainId, address}];
  if (slot == nullptr) {
    slot = std::make_shared<Slot>();
  }
  return slot;
}

}  // namespace qor::dds
