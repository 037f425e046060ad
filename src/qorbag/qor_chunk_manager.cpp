// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_chunk_manager.h"

#include <algorithm>

namespace qor::qorbag {

void QorChunkManager::Begin(std::uint64_t dataPos, bool isCompressed) {
  records_.SetSize(0);
  lastPayload_ = {};
  messageCount_ = 0;
  dataPos_ = dataPos;
  isCompressed_ = isCompressed;
  for (const std::uint32_t id : connections_) {
    Entries& entries = entries_[id];
    entries.list.clear();
    entries.earliest = UINT64_MAX;
    entries.latest = 0;
    entries.isSorted = true;
  }
  connections_.clear();
  info_.counts.clear();
  info_.startTime = UINT64_MAX;
  info_.endTime = 0;
}

void QorChunkManager::SetMessageRecord(std::uint32_t connectionId, std::uint64_t time,
                                       std::span<const std::uint8_t> payload, bool isLast) {
  if (connectionId >= entries_.size()) {
    entries_.resize(std::size_t{connectionId} + 1);
  }
  Entries& entries = entries_[connectionId];
  if (entries.list.empty()) {
    connections_.push_back(connectionId);
  }
  ++messageCount_;
  entries.isSorted = entries.isSorted && time >= entries.latest;
  entries.earliest = std::min(entries.earliest, time);
  entries.latest = std::max(entries.latest, time);
  entries.list.push_back(
      {time, (isCompressed_ ? 0 : dataPos_) + records_.GetSize(), 0, static_cast<std::uint32_t>(payload.size())});
  info_.startTime = std::min(info_.startTime, time);
  info_.endTime = std::max(info_.endTime, time);
  EncodeMessageHead(connectionId, time, static_cast<std::uint32_t>(payload.size()), records_);
  if (isLast) {
    lastPayload_ = payload;
  } else {
    records_.Append(payload);
  }
}

std::span<const std::uint8_t> QorChunkManager::AllRecords() {
  records_.Append(lastPayload_);
  lastPayload_ = {};
  return records_.Bytes();
}

const ChunkInfo& QorChunkManager::Info() {
  std::ranges::sort(connections_);
  info_.counts.clear();
  for (const std::uint32_t id : connections_) {
    info_.counts.emplace_back(id, static_cast<std::uint32_t>(entries_[id].list.size()));
  }
  return info_;
}

void QorChunkManager::AddStatistics(Connection& connection) const {
  if (connection.id >= entries_.size() || entries_[connection.id].list.empty()) {
    return;
  }
  const Entries& entries = entries_[connection.id];
  const bool isFirst = connection.msgCount == 0;
  connection.startTime = isFirst ? entries.earliest : std::min(connection.startTime, entries.earliest);
  connection.endTime = isFirst ? entries.latest : std::max(connection.endTime, entries.latest);
  connection.msgCount += entries.list.size();
}

void QorChunkManager::EncodeIndex(std::uint32_t version, QorBuffer& out) {
  const std::uint32_t entrySize = MessageIndex::SizeIn(version);
  std::ranges::sort(connections_);
  for (const std::uint32_t id : connections_) {
    Entries& entries = entries_[id];
    if (!entries.isSorted) {
      std::ranges::stable_sort(entries.list, {}, &MessageIndex::time);
    }
    const auto count = static_cast<std::uint32_t>(entries.list.size());
    ChunkIndexHeader{id, count}.Encode(out);
    AppendNumber(out, count * entrySize);
    std::uint8_t* to = out.Extend(std::size_t{count} * entrySize);
    for (const MessageIndex& index : entries.list) {
      to = index.StoreTo(to, dataPos_, version);
    }
  }
}

}  // namespace qor::qorbag
