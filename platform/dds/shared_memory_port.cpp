// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/shared_memory_port.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>

namespace qor::dds {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kFirst = 0x514F0000;  ///< far from the numbers that follow from domains
constexpr std::uint32_t kCount = 256;
constexpr char kOpen = 'O';
constexpr char kClosed = 'C';

/// The queues in shared memory that living programs have open.
struct OpenQueues {
  std::set<std::string> files;
  bool isComplete = true;  ///< every program let itself be looked at
};

void AddQueuesOf(const fs::path& process, const std::string& prefix, OpenQueues& queues) {
  std::ifstream maps(process / "maps");
  if (!maps) {
    std::error_code error;
    queues.isComplete = queues.isComplete && !fs::exists(process, error);
    return;
  }
  for (std::string line; std::getline(maps, line);) {
    if (const std::size_t file = line.find(prefix); file != std::string::npos) {
      queues.files.insert(line.substr(file));
    }
  }
}

OpenQueues FindOpenQueues(const std::string& prefix) {
  std::error_code error;
  OpenQueues queues;
  for (fs::directory_iterator entry("/proc", error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (std::ranges::all_of(name, [](unsigned char c) { return std::isdigit(c) != 0; })) {
      AddQueuesOf(entry->path(), prefix, queues);
    }
  }
  return queues;
}

std::string QueueLock(const std::string& queue) { return queue + "_el"; }

/// Fast DDS closes the queue of a participant a moment after it was deleted; who opens it before gets another one.
bool IsStillOpen(const std::string& queue) {
  const ipc::UniqueFd lock(::open(QueueLock(queue).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  return lock && ::flock(lock.Get(), LOCK_EX | LOCK_NB) != 0;
}

/// One attempt to find a number.
class Reservation {
 public:
  explicit Reservation(const std::string& folder) : folder_(folder) {}

  /// Locks the file of a number; nothing when somebody else has it, or when a killed program left it in use. What is
  /// not known of that counts only before the last resort.
  ipc::UniqueFd Take(std::uint32_t index, bool isLastResort);

 private:
  bool Clear(const std::string& queue, bool isLastResort);

  const std::string folder_;
  const std::string prefix_ = folder_ + "/fastrtps_port";  ///< of the queues' names
  std::optional<OpenQueues> open_;                         ///< once it was needed
};

bool Reservation::Clear(const std::string& queue, bool isLastResort) {
  if (!open_.has_value()) {
    open_ = FindOpenQueues(prefix_);
  }
  if (open_->files.contains(queue) || (!open_->isComplete && !isLastResort)) {
    return false;
  }
  std::error_code error;
  fs::remove(queue, error);
  fs::remove(QueueLock(queue), error);
  return true;
}

ipc::UniqueFd Reservation::Take(std::uint32_t index, bool isLastResort) {
  constexpr mode_t kOwnerOnly = 0600;
  const std::string name = folder_ + "/qor_port_" + std::to_string(index);
  ipc::UniqueFd file(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
  if (!file || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    return {};
  }
  const std::string queue = prefix_ + std::to_string(kFirst + index);
  char state = kClosed;
  const bool wasKilled = ::pread(file.Get(), &state, 1, 0) == 1 && state == kOpen;
  if (wasKilled ? !Clear(queue, isLastResort) : IsStillOpen(queue)) {
    return {};
  }
  return ::pwrite(file.Get(), &kOpen, 1, 0) == 1 ? std::move(file) : ipc::UniqueFd();
}

}  // namespace

std::optional<SharedMemoryPort> SharedMemoryPort::Reserve(const std::string& folder) {
  Reservation reservation(folder);
  for (const bool isLastResort : {false, true}) {
    for (std::uint32_t i = 0; i < kCount; ++i) {
      if (auto file = reservation.Take(i, isLastResort)) {
        return SharedMemoryPort(std::move(file), kFirst + i);
      }
    }
  }
  return std::nullopt;
}

SharedMemoryPort::~SharedMemoryPort() {
  if (file_) {
    static_cast<void>(::pwrite(file_.Get(), &kClosed, 1, 0) == 1);  // otherwise the number is not used again for now
  }
}

}  // namespace qor::dds
