// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_check.h"

#include <algorithm>
#include <string>

#include "src/qorbag/chunk_search.h"
#include "src/qorbag/serialization_config.h"

namespace qor::qorbag {
namespace {

bool IsSame(const ChunkInfo& left, const ChunkInfo& right) {
  auto counts = left.counts;
  std::ranges::sort(counts);
  return left.startTime == right.startTime && left.endTime == right.endTime && counts == right.counts;
}

/// Whether payloads of the connection can be printed by its configuration; it need not have one.
bool IsConfigReadable(const Connection& connection) {
  if (connection.serializationConfig.empty()) {
    return true;
  }
  if (connection.serializationType == maintaind::SerializationType::kPdu) {
    return QorPduConfigInfoSerialize().SetSerializeData(connection.serializationConfig);
  }
  return QorSOMEIPConfigSerialize().SetSerializeData(connection.serializationConfig);
}

}  // namespace

double BagCheck::Progress() const {
  return input_.Size() == 0 ? 0.0 : static_cast<double>(position_) / static_cast<double>(input_.Size());
}

BagCheckReport BagCheck::Run(const std::atomic<bool>& stop) {
  if (ReadBeginning()) {
    ReadClosingIndex();
    WalkChunks(stop);
    if (!stop && report_.isClosed) {
      CompareChunkInfos();
      CompareStatistics();
    }
    report_.connectionCount = connections_.size();
  }
  return report_;
}

bool BagCheck::ReadBeginning() {
  std::uint64_t headerPos = 0;
  if (!ReadVersion(input_, report_.version, headerPos)) {
    report_.faults.Add(0, report_.version > CURRENT_BAG_VERSION ? TooNewText(report_.version)
                                                                : "this is no bag: its first line cannot be read");
    return false;
  }
  records_ = BagRecordReader(report_.version);
  RecordSource source(input_, headerPos);
  if (!records_.ReadFileHeader(source, header_)) {
    report_.faults.Add(headerPos, "here should be the file header: nothing behind it can be checked");
    return false;
  }
  headerEnd_ = source.Position();
  if (header_.compression > FileCompressionType::kZstd) {
    report_.faults.Add(headerPos, "the file header names a compression that is not known, " +
                                      std::to_string(static_cast<std::uint32_t>(header_.compression)));
    return false;
  }
  return true;
}

void BagCheck::ReadClosingIndex() {
  chunksEnd_ = input_.Size();
  if (header_.connectionPos == 0) {
    report_.faults.Add(0, "the bag was not closed");
    return;
  }
  RecordSource source(input_, header_.connectionPos);
  for (std::uint32_t i = 0; i < header_.connectionCount; ++i) {
    Connection connection;
    const std::uint64_t position = source.Position();
    if (!records_.ReadConnection(source, connection)) {
      report_.faults.Add(position, "here should be the record of an event, number " + std::to_string(i) + " of " +
                                       std::to_string(header_.connectionCount) + " of the closing index");
      return;
    }
    AddConnection(connection, position);
  }
  for (std::uint32_t i = 0; i < header_.chunkCount; ++i) {
    const std::uint64_t position = source.Position();
    if (!records_.ReadChunkInfo(source, closingInfos_.emplace_back())) {
      closingInfos_.pop_back();
      report_.faults.Add(position, "here should be the record of a chunk, number " + std::to_string(i) + " of " +
                                       std::to_string(header_.chunkCount) + " of the closing index");
      return;
    }
  }
  report_.isClosed = true;
  chunksEnd_ = header_.connectionPos;
  if (source.Position() != input_.Size()) {
    report_.faults.Add(source.Position(), "behind the closing index stand " +
                                              std::to_string(input_.Size() - source.Position()) + " bytes too many");
  }
}

void BagCheck::AddConnection(const Connection& connection, std::uint64_t position) {
  const std::uint32_t id = connection.id;
  if (!IsConfigReadable(connection)) {
    report_.faults.Add(position,
                       "the serialization configuration of the event '" + connection.eventName + "' cannot be read");
  }
  if (!connections_.try_emplace(id, connection).second) {
    report_.faults.Add(position, "a second event has the id " + std::to_string(id));
  }
}

void BagCheck::WalkChunks(const std::atomic<bool>& stop) {
  ChunkCheck check(input_, report_.version, header_.compression, report_.faults);
  std::uint64_t position = headerEnd_;
  if (report_.version >= kWithChunkEndInfo && header_.nextChunkPos != position && position < chunksEnd_) {
    report_.faults.Add(0, "the file header says that the first chunk is at " + std::to_string(header_.nextChunkPos) +
                              ", and the header ends at " + std::to_string(position));
  }
  while (position < chunksEnd_ && !stop) {
    ChunkFacts facts;
    position_ = position;
    if (check.Check(position, facts)) {
      Take(facts, position);
      position = facts.end;
      continue;
    }
    areAllKnown_ = false;
    const auto next = IsInVain(position, facts.end) ? std::nullopt : NextChunk(position);
    if (!next.has_value()) {
      return;
    }
    position = *next;
  }
}

/// Whether too much was read already of what only looks like chunks, as in a file that was made for it.
bool BagCheck::IsInVain(std::uint64_t position, std::uint64_t end) {
  vainBytes_ += end - position;
  if (vainBytes_ / kMostVain <= input_.Size()) {
    return false;
  }
  report_.faults.Add(position, "too much of the file only looks like chunks: nothing behind this was checked");
  return true;
}

/// Behind one whose end cannot be told.
std::optional<std::uint64_t> BagCheck::NextChunk(std::uint64_t position) {
  if (report_.version >= kWithChunkEndInfo) {
    return ChunkSearch(input_, report_.version).FindFrom(position + 1);
  }
  const auto next = std::ranges::upper_bound(closingInfos_, position, {}, &ChunkInfo::chunkPos);
  return next != closingInfos_.end() ? std::optional(next->chunkPos) : std::nullopt;
}

void BagCheck::Take(const ChunkFacts& facts, std::uint64_t position) {
  ++report_.chunkCount;
  report_.messageCount += facts.messageCount;
  foundInfos_[position] = facts.isKnown ? std::optional(facts.info) : std::nullopt;
  areAllKnown_ = areAllKnown_ && facts.isKnown;
  for (const Connection& connection : facts.newConnections) {
    if (!report_.isClosed) {
      AddConnection(connection, position);
    }
  }
  for (const auto& [id, count] : facts.info.counts) {
    const auto& times = facts.times.at(id);
    Extent& extent = extents_[id];
    extent = {extent.count + count, std::min(extent.begin, times.begin), std::max(extent.end, times.end)};
    if (!connections_.contains(id)) {
      report_.faults.Add(position,
                         "the chunk has messages of an event that the bag does not describe, id " + std::to_string(id));
    }
  }
}

void BagCheck::CompareChunkInfos() {
  std::uint64_t before = 0;
  for (const ChunkInfo& info : closingInfos_) {
    if (info.chunkPos <= before) {
      report_.faults.Add(header_.connectionPos, "the closing index names the chunk at " +
                                                    std::to_string(info.chunkPos) +
                                                    " twice, or behind a later one: no reader takes that");
    }
    before = info.chunkPos;
    const auto found = foundInfos_.find(info.chunkPos);
    if (found == foundInfos_.end()) {
      report_.faults.Add(header_.connectionPos,
                         "the closing index names a chunk at " + std::to_string(info.chunkPos) + " that is not there");
    } else if (found->second.has_value() && !IsSame(info, *found->second)) {
      report_.faults.Add(info.chunkPos, "the closing index does not say what is in the chunk");
    }
  }
  if (closingInfos_.size() < foundInfos_.size()) {
    report_.faults.Add(header_.connectionPos, "the closing index names " + std::to_string(closingInfos_.size()) +
                                                  " of the " + std::to_string(foundInfos_.size()) + " chunks");
  }
}

/// The first message that was recorded need not be the earliest, so times may lie between these.
void BagCheck::CompareStatistics() {
  if (report_.version < kWithStatistics || !areAllKnown_) {
    return;
  }
  for (const auto& [id, connection] : connections_) {
    const auto found = extents_.find(id);
    const Extent extent = found != extents_.end() ? found->second : Extent();
    const bool areTimesRight =
        extent.count == 0 || (connection.startTime >= extent.begin && connection.startTime <= extent.end &&
                              connection.endTime >= extent.begin && connection.endTime <= extent.end);
    if (connection.msgCount != extent.count || !areTimesRight) {
      report_.faults.Add(header_.connectionPos, "the closing index does not say how much there is of the event '" +
                                                    connection.eventName + "'");
    }
  }
}

}  // namespace qor::qorbag
