// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/chunk_check.h"

#include <algorithm>
#include <span>
#include <utility>

#include "src/qorbag/little_endian.h"

namespace qor::qorbag {
namespace {

/// The pairs in the order of ids.
std::vector<std::pair<std::uint32_t, std::uint32_t>> Sorted(
    std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs) {
  std::ranges::sort(pairs);
  return pairs;
}

}  // namespace

ChunkCheck::ChunkCheck(BagInput& input, std::uint32_t version, FileCompressionType compression, BagFaults& faults)
    : input_(input), version_(version), compression_(compression), faults_(faults), reader_(version) {
  if (compression != FileCompressionType::kNone) {
    decompressor_ = std::make_unique<zel::ddt::Compressor>(static_cast<zel::ddt::CompressionType>(compression),
                                                           zel::ddt::CompressorAction::kDecompress);
    decompressor_ = decompressor_->Init() == 0 ? std::move(decompressor_) : nullptr;
  }
}

bool ChunkCheck::Check(std::uint64_t position, ChunkFacts& facts) {
  RecordSource source(input_, position);
  chunkPos_ = position;
  const bool isWhole = CheckAt(source, facts);
  facts.end = source.Position();
  return isWhole;
}

bool ChunkCheck::CheckAt(RecordSource& source, ChunkFacts& facts) {
  ChunkHeader header;
  if (!reader_.ReadChunkHeader(source, header)) {
    return Fault(chunkPos_, "here should be the header of a chunk");
  }
  dataPos_ = source.Position();
  if (version_ >= kWithChunkEndInfo && header.chunkStatus != kChunkComplete) {
    return Fault(chunkPos_, "the chunk is marked as not complete");
  }
  if (!ReadData(header, source)) {
    return false;
  }
  const bool areRecordsKnown = WalkRecords(facts);
  facts.isKnown = areRecordsKnown;
  return CheckIndexes(header, source, areRecordsKnown) &&
         (version_ < kWithChunkEndInfo || CheckEndInfo(header, source, areRecordsKnown, facts));
}

/// Leaves `data_` empty when it cannot be decompressed.
bool ChunkCheck::ReadData(const ChunkHeader& header, RecordSource& source) {
  const bool isCompressed = compression_ != FileCompressionType::kNone;
  std::uint32_t size = header.chunkSize;
  data_ = {};
  if (isCompressed && (!source.Read(size) || std::uint64_t{size} + sizeof(size) != header.chunkCompressedSize)) {
    return Fault(dataPos_, "the compressed block has another length than the header of its chunk says");
  }
  if (!source.ReadData(size, block_)) {
    return Fault(dataPos_,
                 "the data of the chunk, " + std::to_string(size) + " bytes, ends behind the end of the file");
  }
  if (!isCompressed) {
    data_ = block_.Bytes();
  } else if (!Decompress(header.chunkSize)) {
    Fault(dataPos_, "the compressed block is damaged: the messages of the chunk are lost");
  }
  return true;
}

bool ChunkCheck::Decompress(std::uint32_t chunkSize) {
  if (decompressor_ == nullptr) {
    return false;
  }
  std::size_t size = 0;
  decompressor_->SetMaxOutput(std::size_t{chunkSize} + 1);
  if (decompressor_->TransferStream(block_.GetData(), block_.GetSize(), decompressed_, size) != 0 ||
      size != chunkSize) {
    return false;
  }
  data_ = std::span(decompressed_).first(size);
  return true;
}

bool ChunkCheck::WalkRecords(ChunkFacts& facts) {
  const std::uint64_t begin = compression_ == FileCompressionType::kNone ? dataPos_ : 0;
  std::map<std::uint32_t, std::uint32_t> counts;
  facts.info = {UINT64_MAX, 0, chunkPos_, {}};
  records_.clear();
  std::size_t at = 0;
  while (at < data_.size()) {
    MessageHead head;
    const std::size_t remaining = data_.size() - at;
    if (remaining < kMessagePayloadAt || !head.Decode(data_.data() + at) ||
        head.dataSize > remaining - kMessagePayloadAt) {
      return Fault(dataPos_, "the data of the chunk is damaged: no message begins at its byte " + std::to_string(at) +
                                 " of " + std::to_string(data_.size()));
    }
    records_.push_back({begin + at, head.connectionId, head.timeStamp});
    at += kMessagePayloadAt + head.dataSize;
    ++counts[head.connectionId];
    facts.info.startTime = std::min(facts.info.startTime, head.timeStamp);
    facts.info.endTime = std::max(facts.info.endTime, head.timeStamp);
    auto& times = facts.times[head.connectionId];
    times = {std::min(times.begin, head.timeStamp), std::max(times.end, head.timeStamp)};
  }
  facts.info.counts.assign(counts.begin(), counts.end());
  facts.messageCount = records_.size();
  return !records_.empty();
}

/// Of old versions the chunk does not say how many there are.
bool ChunkCheck::CheckIndexes(const ChunkHeader& header, RecordSource& source, bool areRecordsKnown) {
  if (version_ >= kWithChunkEndInfo) {
    for (std::uint32_t i = 0; i < header.connectionCount; ++i) {
      if (!CheckIndex(source, areRecordsKnown)) {
        return false;
      }
    }
  } else {
    while (reader_.IsNext(source, OpCode::kChunkIndex)) {
      if (!CheckIndex(source, areRecordsKnown)) {
        return false;
      }
    }
  }
  const auto lost = std::ranges::count(records_, false, &Record::isIndexed);
  if (areRecordsKnown && lost != 0) {
    Fault(chunkPos_, "the index does not lead to " + std::to_string(static_cast<std::uint64_t>(lost)) + " of the " +
                         std::to_string(records_.size()) + " messages of the chunk");
  }
  return true;
}

bool ChunkCheck::CheckIndex(RecordSource& source, bool areRecordsKnown) {
  const std::uint64_t position = source.Position();
  const std::uint64_t entrySize = MessageIndex::SizeIn(version_);
  ChunkIndexHeader index;
  std::uint32_t size = 0;
  QorBuffer entries;
  if (!reader_.ReadChunkIndex(source, index) || !source.Read(size) || size != index.indexcount * entrySize ||
      !source.ReadData(size, entries)) {
    return Fault(position, "here should be an index of the chunk that begins at " + std::to_string(chunkPos_));
  }
  std::uint64_t before = 0;
  for (std::uint32_t i = 0; i < index.indexcount && areRecordsKnown; ++i) {
    std::uint64_t chunkDataPos = dataPos_;
    const MessageIndex entry = MessageIndex::Load(entries.GetData() + i * entrySize, chunkDataPos, version_);
    const std::uint64_t at = source.Position() - size + i * entrySize;
    CheckEntry(entry, chunkDataPos, index.id, at);
    if (entry.time < before) {
      Fault(at, "an entry of the index is earlier than the one before it");
    }
    before = entry.time;
  }
  return true;
}

void ChunkCheck::CheckEntry(const MessageIndex& entry, std::uint64_t chunkDataPos, std::uint32_t id,
                            std::uint64_t position) {
  const auto record = std::ranges::lower_bound(records_, entry.msgPos, {}, &Record::offset);
  if (record == records_.end() || record->offset != entry.msgPos ||
      (compression_ != FileCompressionType::kNone && chunkDataPos != dataPos_)) {
    Fault(position, "an entry of the index leads to no message");
  } else if (record->connectionId != id || record->time != entry.time) {
    Fault(position, "an entry of the index leads to a message of another event or time");
  } else if (std::exchange(record->isIndexed, true)) {
    Fault(position, "a second entry of the index leads to the same message");
  }
}

bool ChunkCheck::CheckEndInfo(const ChunkHeader& header, RecordSource& source, bool areRecordsKnown,
                              ChunkFacts& facts) {
  const std::uint64_t position = source.Position();
  ChunkInfo info;
  std::uint32_t count = 0;
  if (header.chunkInfoRecordPos != position) {
    Fault(chunkPos_, "the header of the chunk says that its end information is at " +
                         std::to_string(header.chunkInfoRecordPos) + ", and its indexes end at " +
                         std::to_string(position));
  }
  if (!reader_.ReadChunkInfo(source, info) || !source.Read(count)) {
    return Fault(position,
                 "here should be the end information of the chunk that begins at " + std::to_string(chunkPos_));
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t begin = source.Position();
    if (!reader_.ReadConnection(source, facts.newConnections.emplace_back())) {
      return Fault(begin,
                   "here should be the record of an event that is new in the chunk at " + std::to_string(chunkPos_));
    }
  }
  if (areRecordsKnown && (info.startTime != facts.info.startTime || info.endTime != facts.info.endTime ||
                          info.chunkPos != chunkPos_ || Sorted(info.counts) != facts.info.counts)) {
    Fault(position, "the end information of the chunk does not say what is in it");
  }
  if (header.nextChunkPos != source.Position()) {
    Fault(chunkPos_, "the header of the chunk says that it ends at " + std::to_string(header.nextChunkPos) +
                         ", and it ends at " + std::to_string(source.Position()));
  }
  return true;
}

bool ChunkCheck::Fault(std::uint64_t position, std::string text) {
  faults_.Add(position, std::move(text));
  return false;
}

}  // namespace qor::qorbag
