// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_SHARED_MEMORY_H
#define QOR_DDS_SHARED_MEMORY_H

#include <cstdint>

namespace qor::dds {

/// How large, in bytes, the shared memory segment of a new participant may be: `wanted`, or less when /dev/shm has
/// little room, as in a container. 0, with one warning a process, when shared memory cannot be used at all. Fast DDS
/// touches every page of its segment, so a segment that does not fit would end the process.
std::uint32_t UsableSegmentSize(std::uint32_t wanted);

/// Removes the segments of programs that were killed: nothing else ever would. A segment belongs to a living program as
/// long as its lock file, "<segment>_el", is locked.
void RemoveAbandonedSegments();

}  // namespace qor::dds

#endif
