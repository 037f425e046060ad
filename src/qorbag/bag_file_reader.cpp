// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_file_reader.h"

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
  chunkDataSize_ = 0;
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
  return decompressor_->Init() == 0 || Failed("Compressor init failed, so the chunks cannot be read.");
}

BagFileReader::Result BagFileReader::ReadMsgDataIntoStream(const MessageIndex& index,
                                                           std::optional<std::uint32_t> connectionId, QorBuffer& out,
                                                           std::uint32_t offset) {
  std::array<std::uint8_t, kMessagePayloadAt> bytes{};
  const std::uint8_t* head = bytes.data();
  if (decompressor_ != nullptr) {
    if (!DecompressChunkToStream(index.chunk)) {
      return Result::kDecompressionFailed;
    }
    head = chunkData_.data() + index.msgPos;
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

bool BagFileReader::DecompressChunkToStream(std::uint32_t chunk) {
  if (chunkDataSize_ != 0 && chunk == currentChunk_) {
    return true;
  }
  const BagContent::ChunkPlace& place = content_->chunks[chunk];
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
