// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_content_reader.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "src/qorbag/bag_log.h"
#include "src/qorbag/chunk_search.h"

namespace qor::qorbag {
namespace {

bool IsBefore(const MessageIndex& one, const MessageIndex& other) { return one.Order() < other.Order(); }

}  // namespace

bool BagContentReader::Begin() {
  std::uint64_t headerPos = 0;
  if (!ReadVersion(input_, content_.version, headerPos)) {
    return Failed("StartReading ReadVersion failed!");
  }
  records_ = BagRecordReader(content_.version);
  RecordSource source(input_, headerPos);
  if (!records_.ReadFileHeader(source, content_.header)) {
    return Failed("ReadFileHeaderRecord failed!");
  }
  headerEnd_ = source.Position();
  if (content_.header.compression > FileCompressionType::kZstd) {
    kLog.Error() << "Compressor init failed, so use none compression.";
    content_.header.compression = FileCompressionType::kNone;
  }
  return true;
}

bool BagContentReader::StartReading(bool hasIndexes) {
  if (content_.header.connectionPos == 0) {
    return Failed("StartReading: the bag was not closed, so it has no closing index");
  }
  RecordSource source(input_, content_.header.connectionPos);
  content_.isClosed = true;
  content_.hasIndexes = hasIndexes;
  if (!ReadConnectionRecords(source)) {
    return Failed("ReadConnectionRecord failed!");
  }
  if (!ReadChunkInfoRecords(source)) {
    return Failed("ReadChunkInfoRecord failed!");
  }
  if (!hasIndexes) {
    return true;
  }
  CountExpected();
  if (!StartReadChunkIndexRecord()) {
    return Failed("StartReadChunkIndexRecord failed!");
  }
  SortIndexes();
  return true;
}

bool BagContentReader::ReadConnectionRecords(RecordSource& source) {
  for (std::uint32_t i = 0; i < content_.header.connectionCount; ++i) {
    Connection connection;
    if (!records_.ReadConnection(source, connection)) {
      return false;
    }
    content_.connections.insert_or_assign(connection.id, std::move(connection));
  }
  return true;
}

bool BagContentReader::ReadChunkInfoRecords(RecordSource& source) {
  for (std::uint32_t i = 0; i < content_.header.chunkCount; ++i) {
    ChunkInfo info;
    if (!records_.ReadChunkInfo(source, info)) {
      return false;
    }
    content_.chunkInfos.push_back(std::move(info));
  }
  return true;
}

/// So that the indexes need not grow; what the file has no room for is not believed.
void BagContentReader::CountExpected() {
  std::uint64_t all = 0;
  for (const ChunkInfo& info : content_.chunkInfos) {
    for (const auto& [id, count] : info.counts) {
      expectedCounts_[id] += count;
      all += count;
    }
  }
  if (all > input_.Size() / MessageIndex::SizeIn(content_.version)) {
    expectedCounts_.clear();
  }
}

bool BagContentReader::StartReadChunkIndexRecord() {
  for (const ChunkInfo& info : content_.chunkInfos) {
    RecordSource source(input_, info.chunkPos);
    ChunkHeader header;
    if (info.chunkPos < chunksEnd_) {
      return Failed("StartReadChunkIndexRecord: a chunk begins within another");
    }
    if (!records_.ReadChunkHeader(source, header)) {
      return false;
    }
    const std::uint64_t dataPos = source.Position();
    kLog.Debug() << (IsCompressed() ? "Compress seek to read chunkindexrecord"
                                    : "Normal seek to read chunkindexrecord");
    const auto counted = static_cast<std::uint32_t>(info.counts.size());
    const std::uint32_t count = content_.version >= kWithChunkEndInfo ? header.connectionCount : counted;
    if (!source.Skip(DataSize(header)) || !ReadChunkIndexes(source, header, dataPos, count)) {
      return false;
    }
    chunksEnd_ = source.Position();
  }
  return true;
}

bool BagContentReader::ReadChunkIndexes(RecordSource& source, const ChunkHeader& header, std::uint64_t dataPos,
                                        std::uint32_t count) {
  chunkEntries_.clear();
  chunkParts_.clear();
  for (std::uint32_t i = 0; i < count; ++i) {
    ChunkIndexHeader index;
    if (!records_.ReadChunkIndex(source, index)) {
      return false;
    }
    if (!ReadChunkIndexRecord(source, {dataPos, header.chunkSize}, index.indexcount)) {
      return Failed("ReadChunkIndexRecord: the entries do not lead to messages of the chunk");
    }
    chunkParts_.emplace_back(index.id, index.indexcount);
  }
  if (!sizes_.Set(chunkEntries_, IsCompressed() ? 0 : dataPos, header.chunkSize)) {
    return Failed("ReadChunkIndexRecord: the messages of the chunk overlap");
  }
  content_.chunks.push_back({dataPos, header.chunkSize});
  auto entries = chunkEntries_.cbegin();
  for (const auto& [id, entryCount] : chunkParts_) {
    BagContent::Index& all = content_.indexes[id];
    if (all.empty()) {
      all.reserve(expectedCounts_[id]);
    }
    all.insert(all.end(), entries, entries + entryCount);
    entries += entryCount;
  }
  return true;
}

/// The entries of one connection, behind their header.
bool BagContentReader::ReadChunkIndexRecord(RecordSource& source, const BagContent::ChunkPlace& place,
                                            std::uint32_t count) {
  const std::uint64_t entrySize = MessageIndex::SizeIn(content_.version);
  const auto chunk = static_cast<std::uint32_t>(content_.chunks.size());
  const std::uint64_t begin = IsCompressed() ? 0 : place.dataPos;
  std::uint32_t size = 0;
  if (!source.Read(size) || size != count * entrySize || !source.ReadData(size, data_)) {
    return false;
  }
  const std::size_t before = chunkEntries_.size();
  chunkEntries_.resize(before + count);
  const std::uint8_t* from = data_.GetData();
  for (MessageIndex& entry : std::span(chunkEntries_).subspan(before)) {
    std::uint64_t chunkDataPos = place.dataPos;
    entry = MessageIndex::Load(from, chunkDataPos, content_.version);
    entry.chunk = chunk;
    from += entrySize;
    if ((IsCompressed() && chunkDataPos != place.dataPos) || entry.msgPos < begin ||
        entry.msgPos - begin >= place.size) {
      return false;
    }
  }
  return true;
}

void BagContentReader::SortIndexes() {
  for (auto& [id, entries] : content_.indexes) {
    if (!std::ranges::is_sorted(entries, IsBefore)) {
      std::ranges::sort(entries, IsBefore);
    }
  }
}

bool BagContentReader::StartReadingActiveFile(bool isDamaged) {
  constexpr std::uint32_t kLastUnreadable = 140;
  kLog.Info() << "File version parsed.[version=" << content_.version << "]";
  if (content_.version <= kLastUnreadable) {
    return Failed("An active file of version 1.4 or older cannot be read");
  }
  content_.hasIndexes = true;
  chunksEnd_ = headerEnd_;
  kLog.Info() << "The first chunk pos is " << content_.header.nextChunkPos;
  std::uint64_t position = content_.header.nextChunkPos;
  while (position != 0) {
    const std::uint64_t begin = position;
    const std::uint64_t endBefore = chunksEnd_;
    if (ReadActiveChunk(position)) {
      CountGap(endBefore, begin);
    } else if (!isDamaged || !FindNextChunk(position)) {
      break;
    }
  }
  RecordSource behind(input_, chunksEnd_);
  if (!records_.IsNext(behind, OpCode::kConnection)) {  // otherwise that is a closing index
    CountGap(chunksEnd_, input_.Size());
  }
  SortIndexes();
  return true;
}

/// What lies between chunks that can be read held at least one that cannot.
void BagContentReader::CountGap(std::uint64_t begin, std::uint64_t end) {
  if (begin < end) {
    content_.damage.chunkCount += std::max<std::uint64_t>(1, failedCount_);
    content_.damage.bytes += end - begin;
  }
  failedCount_ = 0;
}

/// Goes on to the next chunk, or stays where it is.
bool BagContentReader::ReadActiveChunk(std::uint64_t& position) {
  RecordSource source(input_, position);
  ChunkHeader header;
  if (position < chunksEnd_ || position >= input_.Size() || !records_.ReadChunkHeader(source, header)) {
    kLog.Warn() << "ReadChunkHead failed!";
    return false;
  }
  if (header.chunkStatus != kChunkComplete || !ReadChunkEndInfo(header, position, source.Position())) {
    kLog.Warn() << "Chunk is not complete!";
    return false;
  }
  position = header.nextChunkPos;
  return true;
}

bool BagContentReader::ReadChunkEndInfo(const ChunkHeader& header, std::uint64_t position, std::uint64_t dataPos) {
  RecordSource source(input_, dataPos);
  RecordSource end(input_, header.chunkInfoRecordPos);
  ChunkInfo info;
  if (!source.Skip(DataSize(header)) || header.chunkInfoRecordPos < source.Position() ||
      !records_.ReadChunkInfo(end, info) || !ReadNewConnections(end) || header.nextChunkPos < end.Position() ||
      !ReadChunkIndexes(source, header, dataPos, header.connectionCount)) {
    vainBytes_ += source.Position() - dataPos + end.Position() - header.chunkInfoRecordPos;
    return false;
  }
  info.chunkPos = position;
  content_.chunkInfos.push_back(std::move(info));
  chunksEnd_ = end.Position();
  kLog.Debug() << "Read ChunkEndInfo successfully!";
  return true;
}

/// Later chunks need them, also when this one cannot be read.
bool BagContentReader::ReadNewConnections(RecordSource& source) {
  std::uint32_t count = 0;
  if (!source.Read(count)) {
    return false;
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    Connection connection;
    if (!records_.ReadConnection(source, connection)) {
      return false;
    }
    content_.connections.insert_or_assign(connection.id, std::move(connection));
  }
  return true;
}

/// The one at this position cannot be read: goes on to the next that looks like one. False when there is none.
bool BagContentReader::FindNextChunk(std::uint64_t& position) {
  if (vainBytes_ / kMostVain > input_.Size()) {
    return false;
  }
  const bool wasFound = position == foundPos_;
  failedCount_ += wasFound ? 1 : 0;
  const auto next = ChunkSearch(input_, content_.version).FindFrom(wasFound ? position + 1 : chunksEnd_);
  position = foundPos_ = next.value_or(0);
  return next.has_value();
}

}  // namespace qor::qorbag
