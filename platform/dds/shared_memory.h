// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_SHARED_MEMORY_H
#define QOR_DDS_SHARED_MEMORY_H

#include <cstdint>
#include <string>

namespace qor::dds {

inline constexpr const char* kSharedMemoryFolder = "/dev/shm";

/// How large, in bytes, the shared memory segment of a new participant may be: `wanted`, or less when /dev/shm has
/// little room, as in a container. 0, with one warning a process, when shared memory cannot be used at all. Fast DDS
/// touches every page of its segment, so a segment that does not fit would end the process.
std::uint32_t UsableSegmentSize(std::uint32_t wanted, const std::string& folder = kSharedMemoryFolder);

/// Removes the segments of programs that were killed: nothing else ever would. A segment belongs to a living program as
/// long as its lock file, "<segment>_el", is locked.
void RemoveAbandonedSegments(const std::string& folder = kSharedMemoryFolder);

}  // namespace qor::dds

#endif
