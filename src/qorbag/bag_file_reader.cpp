// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_file_reader.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/log/qor_log.h"

namespace qor::qorbag {
namespace {

constexpr QorLog kLog("QorBagFile");

bool Failed(std::string_view text) {
  kLog.Error() << text;
  return false;
}

/// Reserves memory in large pages where there are any: an index is filled once, and then looked into anywhere.
void Reserve(BagFileReader::Index& index, std::uint64_t count) {
  constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20U;
  index.reserve(count);
  const auto begin = reinterpret_cast<std::uintptr_t>(index.data());
  const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
  const std::uintptr_t end = (begin + index.capacity() * sizeof(MessageIndex)) / kLargePage * kLargePage;
  if (first < end) {
    ::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);  // no harm when it is refused
  }
}

}  // namespace

void BagFileReader::Close() {
  input_ = nullptr;
  decompressor_ = nullptr;
  connections_.clear();
  chunkInfos_.clear();
  indexes_.clear();
  expectedCounts_.clear();
  chunks_.clear();
  chunkDataSize_ = 0;
  chunksEnd_ = 0;
}

bool BagFileReader::Open(std::unique_ptr<BagInput> input) {
  if (!Begin(std::move(input)) || !StartReading()) {
    Close();
    return false;
  }
  kLog.Info() << "Start reading bag file success!";
  return true;
}

bool BagFileReader::OpenActive(std::unique_ptr<BagInput> input) {
  if (!Begin(std::move(input)) || !StartReadingActiveFile()) {
    Close();
    return false;
  }
  kLog.Info() << "Start reading active file success!";
  return true;
}

bool BagFileReader::Begin(std::unique_ptr<BagInput> input) {
  Close();
  input_ = std::move(input);
  if (!ReadVersion()) {
    return Failed("StartReading ReadVersion failed!");
  }
  if (!ReadFileHeaderRecord()) {
    return Failed("ReadFileHeaderRecord failed!");
  }
  return SetUpDecompressor();
}

bool BagFileReader::ReadVersion() {
  constexpr std::uint64_t kLongestLine = 24;
  constexpr std::string_view kMark = "#QORBAG";
  std::array<char, kLongestLine> bytes{};
  const std::uint64_t size = std::min(kLongestLine - 1, input_->Size());
  if (size == 0 || !input_->Read(0, {reinterpret_cast<std::uint8_t*>(bytes.data()), size})) {
    return Failed("Read First line of file failed!");
  }
  const std::string_view beginning(bytes.data(), size);
  const std::string_view line = beginning.substr(0, beginning.find('\n'));
  if (line.starts_with(kMark)) {
    fileHeaderPos_ = std::min<std::uint64_t>(line.size() + 1, size);
    return ReadVersionLine(std::string(line));  // sscanf wants an end
  }
  kLog.Info() << "The version of the file is: QORBAG V1.0";
  version_ = kOldestBagVersion;
  fileHeaderPos_ = 0;
  return true;
}

bool BagFileReader::ReadVersionLine(const std::string& line) {
  constexpr unsigned kLargest = 1000;
  unsigned major = 0;
  unsigned minor = 0;
  if (std::sscanf(line.c_str(), "#QORBAG V%u.%u", &major, &minor) != 2 || major > kLargest || minor > kLargest) {
    return Failed("ReadVersion get version failed!");
  }
  version_ = major * 100 + minor * 10;
  kLog.Info() << "The version of the file is: QORBAG V" << major << "." << minor;
  return true;
}

bool BagFileReader::ReadFileHeaderRecord() {
  RecordSource source(*input_, fileHeaderPos_);
  fileHeader_ = {};
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadFileHeaderRecord ReadHeader failed!");
  }
  if (!fields_.OptionMatch(OpCode::kFileHeader)) {
    return Failed("ReadFileHeaderRecord OptionMatch failed!");
  }
  firstChunkPos_ = source.Position();
  return fileHeader_.Decode(fields_, version_);
}

bool BagFileReader::SetUpDecompressor() {
  if (fileHeader_.compression == FileCompressionType::kNone) {
    return true;
  }
  decompressor_ = std::make_unique<zel::ddt::Compressor>(
      static_cast<zel::ddt::CompressionType>(fileHeader_.compression), zel::ddt::CompressorAction::kDecompress);
  return decompressor_->Init() == 0 || Failed("Compressor init failed, so the chunks cannot be read.");
}

bool BagFileReader::StartReading() {
  RecordSource source(*input_, fileHeader_.connectionPos);
  if (!ReadConnectionRecords(source)) {
    return Failed("ReadConnectionRecord failed!");
  }
  if (!ReadChunkInfoRecords(source)) {
    return Failed("ReadChunkInfoRecord failed!");
  }
  if (!StartReadChunkIndexRecord()) {
    return Failed("StartReadChunkIndexRecord failed!");
  }
  SortIndexes();
  return true;
}

bool BagFileReader::ReadConnectionRecords(RecordSource& source) {
  for (std::uint32_t i = 0; i < fileHeader_.connectionCount; ++i) {
    Connection connection;
    if (!ReadConnectionRecord(source, connection)) {
      return false;
    }
    connections_.insert_or_assign(connection.id, std::move(connection));
  }
  return true;
}

bool BagFileReader::ReadConnectionRecord(RecordSource& source, Connection& connection) {
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadConnectionRecord ReadHeader failed!");
  }
  return fields_.OptionMatch(OpCode::kConnection) ? connection.Decode(fields_, version_)
                                                  : Failed("ReadConnectionRecord OptionMatch failed!");
}

bool BagFileReader::ReadChunkInfoRecords(RecordSource& source) {
  for (std::uint32_t i = 0; i < fileHeader_.chunkCount; ++i) {
    ChunkInfo info;
    if (!ReadChunkInfoRecord(source, info)) {
      return false;
    }
    chunkInfos_.push_back(std::move(info));
  }
  CountExpected();
  return true;
}

/// So that the indexes need not grow; what the file has no room for is not believed.
void BagFileReader::CountExpected() {
  std::uint64_t all = 0;
  for (const ChunkInfo& info : chunkInfos_) {
    for (const auto& [id, count] : info.counts) {
      expectedCounts_[id] += count;
      all += count;
    }
  }
  if (all > input_->Size() / MessageIndex::SizeIn(version_)) {
    expectedCounts_.clear();
  }
}

bool BagFileReader::ReadChunkInfoRecord(RecordSource& source, ChunkInfo& info) {
  constexpr std::uint64_t kPair = 8;
  std::uint32_t count = 0;
  std::uint32_t size = 0;
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadChunkInfoRecord ReadHeader failed");
  }
  if (!fields_.OptionMatch(OpCode::kChunkInfo)) {
    return Failed("ReadChunkInfoRecord option match failed");
  }
  if (!info.Decode(fields_, count)) {
    return false;
  }
  if (!source.Read(size) || size != count * kPair || !source.ReadData(size, data_) ||
      !info.DecodeCounts(data_.Bytes(), count)) {
    return Failed("ReadChunkInfoRecord read data failed");
  }
  return true;
}

bool BagFileReader::StartReadChunkIndexRecord() {
  for (const ChunkInfo& info : chunkInfos_) {
    RecordSource source(*input_, info.chunkPos);
    ChunkHeader header;
    if (info.chunkPos < chunksEnd_) {
      return Failed("StartReadChunkIndexRecord: a chunk begins within another");
    }
    if (!ReadChunkHeader(source, header)) {
      return false;
    }
    const std::uint64_t dataPos = source.Position();
    kLog.Debug() << (decompressor_ != nullptr ? "Compress seek to read chunkindexrecord"
                                              : "Normal seek to read chunkindexrecord");
    const auto counted = static_cast<std::uint32_t>(info.counts.size());
    if (!source.Skip(DataSize(header)) ||
        !ReadChunkIndexes(source, header, dataPos, version_ >= kWithChunkEndInfo ? header.connectionCount : counted)) {
      return false;
    }
    chunksEnd_ = source.Position();
  }
  return true;
}

bool BagFileReader::ReadChunkHeader(RecordSource& source, ChunkHeader& header) {
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadChunkHeader ReadHeader failed");
  }
  return fields_.OptionMatch(OpCode::kChunkHeader) ? header.Decode(fields_, version_)
                                                   : Failed("ReadChunkHeader option match failed");
}

std::uint64_t BagFileReader::DataSize(const ChunkHeader& header) const {
  return decompressor_ != nullptr ? header.chunkCompressedSize : header.chunkSize;
}

bool BagFileReader::ReadChunkIndexes(RecordSource& source, const ChunkHeader& header, std::uint64_t dataPos,
                                     std::uint32_t count) {
  chunkEntries_.clear();
  chunkParts_.clear();
  for (std::uint32_t i = 0; i < count; ++i) {
    ChunkIndexHeader index;
    if (!source.ReadHeader(fields_)) {
      return Failed("ReadChunkIndexRecord ReadHeader failed");
    }
    if (!fields_.OptionMatch(OpCode::kChunkIndex)) {
      return Failed("ReadChunkIndexRecord option match failed");
    }
    if (!index.Decode(fields_)) {
      return false;
    }
    if (!ReadChunkIndexRecord(source, {dataPos, header.chunkSize}, index.indexcount)) {
      return Failed("ReadChunkIndexRecord: the entries do not lead to messages of the chunk");
    }
    chunkParts_.emplace_back(index.id, index.indexcount);
  }
  if (!sizes_.Set(chunkEntries_, decompressor_ != nullptr ? 0 : dataPos, header.chunkSize)) {
    return Failed("ReadChunkIndexRecord: the messages of the chunk overlap");
  }
  chunks_.push_back({dataPos, header.chunkSize});
  auto entries = chunkEntries_.cbegin();
  for (const auto& [id, entryCount] : chunkParts_) {
    Index& all = indexes_[id];
    if (all.empty()) {
      Reserve(all, expectedCounts_[id]);
    }
    all.insert(all.end(), entries, entries + entryCount);
    entries += entryCount;
  }
  return true;
}

/// The entries of one connection, behind their header.
bool BagFileReader::ReadChunkIndexRecord(RecordSource& source, const ChunkPlace& place, std::uint32_t count) {
  const std::uint64_t entrySize = MessageIndex::SizeIn(version_);
  const auto chunk = static_cast<std::uint32_t>(chunks_.size());
  const std::uint64_t begin = decompressor_ != nullptr ? 0 : place.dataPos;
  std::uint32_t size = 0;
  if (!source.Read(size) || size != count * entrySize || !source.ReadData(size, data_)) {
    return false;
  }
  const std::size_t before = chunkEntries_.size();
  chunkEntries_.resize(before + count);
  const std::uint8_t* from = data_.GetData();
  for (MessageIndex& entry : std::span(chunkEntries_).subspan(before)) {
    std::uint64_t chunkDataPos = place.dataPos;
    entry = MessageIndex::Load(from, chunkDataPos, version_);
    entry.chunk = chunk;
    from += entrySize;
    if (chunkDataPos != place.dataPos || entry.msgPos < begin || entry.msgPos - begin >= place.size) {
      return false;
    }
  }
  return true;
}

void BagFileReader::SortIndexes() {
  for (auto& [id, entries] : indexes_) {
    if (!std::ranges::is_sorted(entries, {}, &MessageIndex::time)) {
      std::ranges::stable_sort(entries, {}, &MessageIndex::time);
    }
  }
}

bool BagFileReader::StartReadingActiveFile() {
  constexpr std::uint32_t kLastUnreadable = 140;
  kLog.Info() << "File version parsed.[version=" << version_ << "]";
  if (version_ <= kLastUnreadable) {
    return Failed("An active file of version 1.4 or older cannot be read");
  }
  std::uint64_t position = fileHeader_.nextChunkPos;
  kLog.Info() << "The first chunk pos is " << position;
  while (position != 0) {
    RecordSource source(*input_, position);
    ChunkHeader header;
    if (position < chunksEnd_ || !ReadChunkHeader(source, header)) {
      kLog.Warn() << "ReadChunkHead failed!";
      break;
    }
    if (header.chunkStatus != kChunkComplete || !ReadChunkEndInfo(header, source.Position())) {
      kLog.Warn() << "Chunk is not complete!";
      break;
    }
    chunkInfos_.back().chunkPos = position;
    chunksEnd_ = header.nextChunkPos;
    position = header.nextChunkPos;
  }
  SortIndexes();
  return true;
}

bool BagFileReader::ReadChunkEndInfo(const ChunkHeader& header, std::uint64_t dataPos) {
  RecordSource source(*input_, dataPos);
  RecordSource end(*input_, header.chunkInfoRecordPos);
  ChunkInfo info;
  std::uint32_t count = 0;
  if (!source.Skip(DataSize(header)) || header.chunkInfoRecordPos < source.Position() ||
      !ReadChunkInfoRecord(end, info) || !end.Read(count)) {
    return false;
  }
  std::vector<Connection> connections;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (!ReadConnectionRecord(end, connections.emplace_back())) {
      return false;
    }
  }
  if (header.nextChunkPos < end.Position() || !ReadChunkIndexes(source, header, dataPos, header.connectionCount)) {
    return false;
  }
  chunkInfos_.push_back(std::move(info));
  for (Connection& connection : connections) {
    connections_.insert_or_assign(connection.id, std::move(connection));
  }
  kLog.Debug() << "Read ChunkEndInfo successfully!";
  return true;
}

bool BagFileReader::ReadMsgDataIntoStream(const MessageIndex& index, QorBuffer& out, std::uint32_t offset) {
  std::array<std::uint8_t, kMessagePayloadAt> bytes{};
  const std::uint8_t* head = bytes.data();
  if (decompressor_ != nullptr) {
    if (!DecompressChunkToStream(index.chunk)) {
      return false;
    }
    head = chunkData_.data() + index.msgPos;
  } else if (!input_->Read(index.msgPos, bytes)) {
    return Failed("Read header from buffer fseeko  failed!");
  }
  MessageHead message;
  if (!message.Decode(head) || message.timeStamp != index.time || message.dataSize != index.size) {
    return Failed("ReadMsgDataIntoStream: there is another message than the index says");
  }
  out.SetSize(std::size_t{offset} + index.size);
  const std::span<std::uint8_t> payload(out.GetData() + offset, index.size);
  if (decompressor_ == nullptr) {
    return input_->Read(index.msgPos + kMessagePayloadAt, payload) || Failed("ReadMsgDataIntoStream: read data failed");
  }
  if (!payload.empty()) {
    std::memcpy(payload.data(), head + kMessagePayloadAt, payload.size());
  }
  return true;
}

bool BagFileReader::DecompressChunkToStream(std::uint32_t chunk) {
  if (chunkDataSize_ != 0 && chunk == currentChunk_) {
    return true;
  }
  const ChunkPlace& place = chunks_[chunk];
  RecordSource source(*input_, place.dataPos);
  std::uint32_t size = 0;
  chunkDataSize_ = 0;
  if (!source.Read(size) || !source.ReadData(size, block_)) {
    return Failed("DecompressChunkToStream read block failed!");
  }
  decompressor_->SetMaxOutput(std::size_t{place.size} + 1);  // one that is longer than it claims is seen
  const int result = decompressor_->TransferStream(block_.GetData(), block_.GetSize(), chunkData_, chunkDataSize_);
  if (result != 0 || chunkDataSize_ != place.size) {
    kLog.Error() << "DecompressChunkToStream TransferStream failed![ret=" << result << "]";
    chunkDataSize_ = 0;
    return false;
  }
  currentChunk_ = chunk;
  return true;
}

}  // namespace qor::qorbag
