// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_file_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "src/qorbag/bag_content_reader.h"
#include "src/qorbag/bag_log.h"
#include "src/qorbag/record_source.h"

namespace qor::qorbag {
void BagFileReader::Close() {
  input_ = nullptr;
  content_ = std::make_shared<BagContent>();
  decompressor_ = nullptr;
  states_.clear();
  chunks_.clear();
}

bool BagFileReader::Open(std::unique_ptr<BagInput> input, How how) {
  Close();
  input_ = std::move(input);
  const auto content = std::make_shared<BagContent>();
  BagContentReader reader(*input_, *content);
  const bool isRead = reader.Begin() && Read(reader, how, content->version);
  content_ = content;
  if (!isRead || !SetUpDecompressor()) {
    Close();
    return false;
  }
  const bool isClosed = how == How::kClosed || how == How::kHeader;
  kLog.Info() << (isClosed ? "Start reading bag file success!" : "Start reading active file success!");
  return true;
}

/// Records of old versions do not tell how much there is.
bool BagFileReader::Read(BagContentReader& reader, How how, std::uint32_t version) {
  switch (how) {
    case How::kClosed:
      return reader.StartReading(/*hasIndexes=*/true);
    case How::kHeader:
      return reader.StartReading(/*hasIndexes=*/version < kWithStatistics);
    case How::kActive:
      return reader.StartReadingActiveFile(/*isDamaged=*/false);
    case How::kDamaged:
      break;
  }
  return reader.StartReadingActiveFile(/*isDamaged=*/true);
}

bool BagFileReader::Share(std::unique_ptr<BagInput> input, const BagFileReader& other) {
  Close();
  input_ = std::move(input);
  content_ = other.content_;
  if (input_->Size() == other.FileSize() && SetUpDecompressor()) {
    return true;
  }
  Close();
  return false;
}

bool BagFileReader::SetUpDecompressor() {
  if (content_->header.compression == FileCompressionType::kNone) {
    return true;
  }
  decompressor_ = std::make_unique<zel::ddt::Compressor>(
      static_cast<zel::ddt::CompressionType>(content_->header.compression), zel::ddt::CompressorAction::kDecompress);
  states_.assign(content_->chunks.size(), ChunkState::kUnread);
  return decompressor_->Init() == 0 || Failed("Compressor init failed, so the chunks cannot be read.");
}

BagFileReader::Result BagFileReader::ReadMsgDataIntoStream(const MessageIndex& index,
                                                           std::optional<std::uint32_t> connectionId, QorBuffer& out,
                                                           std::uint32_t offset) {
  std::array<std::uint8_t, kMessagePayloadAt> bytes{};
  const std::uint8_t* head = bytes.data();
  if (decompressor_ != nullptr) {
    const Chunk* const chunk = FindChunk(index.chunk);
    if (chunk == nullptr) {
      return Result::kDecompressionFailed;
    }
    head = chunk->data.data() + index.msgPos;
  } else if (!input_->Read(index.msgPos, bytes)) {
    Failed("Read header from buffer fseeko  failed!");
    return Result::kFailed;
  }
  MessageHead message;
  if (!message.Decode(head) || message.timeStamp != index.time || message.dataSize != index.size ||
      connectionId.value_or(message.connectionId) != message.connectionId) {
    Failed("ReadMsgDataIntoStream: there is another message than the index says");
    return Result::kFailed;
  }
  out.SetSize(std::size_t{offset} + index.size);
  return ReadPayload(index, head, {out.GetData() + offset, index.size}) ? Result::kOk : Result::kFailed;
}

/// Of an uncompressed chunk from the file, otherwise from behind the head.
bool BagFileReader::ReadPayload(const MessageIndex& index, const std::uint8_t* head, std::span<std::uint8_t> payload) {
  if (decompressor_ == nullptr) {
    return input_->Read(index.msgPos + kMessagePayloadAt, payload) || Failed("ReadMsgDataIntoStream: read data failed");
  }
  if (!payload.empty()) {
    std::memcpy(payload.data(), head + kMessagePayloadAt, payload.size());
  }
  return true;
}

/// Null when it is damaged.
const BagFileReader::Chunk* BagFileReader::FindChunk(std::uint32_t number) {
  const auto has = [number](const Chunk& chunk) { return chunk.size != 0 && chunk.number == number; };
  if (lastChunk_ < chunks_.size() && has(chunks_[lastChunk_])) {
    return &chunks_[lastChunk_];
  }
  auto found = std::ranges::find_if(chunks_, has);
  if (found == chunks_.end()) {
    if (states_[number] == ChunkState::kDamaged) {
      return nullptr;
    }
    Chunk& chunk = RoomFor(number);
    const bool isSound = DecompressChunkToStream(number, chunk);
    states_[number] = isSound ? ChunkState::kRead : ChunkState::kDamaged;
    if (!isSound) {
      return nullptr;
    }
    found = chunks_.begin() + (&chunk - chunks_.data());
  }
  lastChunk_ = static_cast<std::size_t>(found - chunks_.begin());
  found->usedAt = ++uses_;
  return &*found;
}

/// In place of the chunk that was used longest ago. A chunk that is wanted again gets room of its own.
BagFileReader::Chunk& BagFileReader::RoomFor(std::uint32_t number) {
  constexpr std::size_t kMostChunks = 16;
  constexpr std::size_t kMostBytes = std::size_t{64} << 20U;
  const auto isMuch = [this, size = content_->chunks[number].size] {
    std::size_t bytes = size;
    for (const Chunk& chunk : chunks_) {
      bytes += chunk.data.size();
    }
    return bytes > kMostBytes;
  };
  const bool isAgain = states_[number] == ChunkState::kRead && chunks_.size() < kMostChunks;
  if (chunks_.empty() || (isAgain && !isMuch())) {
    return chunks_.emplace_back();
  }
  const auto oldest = [this] { return std::ranges::min_element(chunks_, {}, &Chunk::usedAt); };
  while (chunks_.size() > 1 && isMuch()) {
    chunks_.erase(oldest());
  }
  return *oldest();
}

bool BagFileReader::DecompressChunkToStream(std::uint32_t number, Chunk& chunk) {
  const BagContent::ChunkPlace& place = content_->chunks[number];
  RecordSource source(*input_, place.dataPos);
  std::uint32_t size = 0;
  chunk.number = number;
  chunk.size = 0;
  if (!source.Read(size) || !source.ReadData(size, block_)) {
    return Failed("DecompressChunkToStream read block failed!");
  }
  decompressor_->SetMaxOutput(std::size_t{place.size} + 1);  // one that is longer than it claims is seen
  std::size_t length = 0;
  const int result = decompressor_->TransferStream(block_.GetData(), block_.GetSize(), chunk.data, length);
  if (result != 0 || length != place.size) {
    kLog.Error() << "DecompressChunkToStream TransferStream failed![ret=" << result << "]";
    return false;
  }
  chunk.size = length;
  return true;
}

}  // namespace qor::qorbag
