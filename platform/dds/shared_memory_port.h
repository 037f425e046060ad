// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_SHARED_MEMORY_PORT_H
#define QOR_DDS_SHARED_MEMORY_PORT_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/dds/shared_memory.h"
#include "platform/ipc/unique_fd.h"

namespace qor::dds {

/// The number of the port in shared memory at which one participant receives. By itself, Fast DDS takes the numbers of
/// killed programs again; but the writers that knew the killed one go on filling its queue, which nobody empties, and
/// the new one gets nothing until they are restarted. So participants of this platform take numbers that no killed
/// program had, as long as a program that knew it is alive. A reservation is a locked file "qor_port_<n>" that says
/// whether its last owner ended in good order. Any thread.
class SharedMemoryPort {
 public:
  /// Nothing when all numbers are taken.
  static std::optional<SharedMemoryPort> Reserve(const std::string& folder = kSharedMemoryFolder);

  SharedMemoryPort(SharedMemoryPort&&) noexcept = default;
  SharedMemoryPort& operator=(SharedMemoryPort&&) noexcept = default;
  /// The participant is gone: others may have the number.
  ~SharedMemoryPort();

  std::uint32_t Number() const { return number_; }

 private:
  SharedMemoryPort(ipc::UniqueFd file, std::uint32_t number) : file_(std::move(file)), number_(number) {}

  ipc::UniqueFd file_;  // locked
  std::uint32_t number_;
};

}  // namespace qor::dds

#endif
