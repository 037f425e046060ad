// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/chunk_search.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <span>

#include "src/qorbag/bag_records.h"
#include "src/qorbag/little_endian.h"
#include "src/qorbag/record_source.h"

namespace qor::qorbag {
namespace {

/// Whether the bytes are those of a record; where the two patterns differ it has values.
bool HasShape(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> zeros,
              std::span<const std::uint8_t> ones) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (zeros[i] == ones[i] && bytes[i] != zeros[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace

ChunkSearch::ChunkSearch(BagInput& input, std::uint32_t version) : input_(input), version_(version) {
  constexpr auto kOnes = std::numeric_limits<std::uint64_t>::max();
  constexpr auto kOnes32 = std::numeric_limits<std::uint32_t>::max();
  ChunkHeader{}.Encode(version, zeros_);
  ChunkHeader{kOnes32, kOnes32, kOnes32, kOnes, kOnes, kOnes32}.Encode(version, ones_);
}

std::optional<std::uint64_t> ChunkSearch::FindFrom(std::uint64_t position) {
  constexpr std::uint64_t kBlock = std::uint64_t{64} << 10U;
  const auto firstValue = std::ranges::mismatch(zeros_.Bytes(), ones_.Bytes()).in1;
  const std::span beginning(zeros_.Bytes().begin(), firstValue);
  const std::boyer_moore_horspool_searcher searcher(beginning.begin(), beginning.end());
  QorBuffer block;
  while (position < input_.Size() && input_.Size() - position >= beginning.size()) {
    block.SetSize(std::min(kBlock, input_.Size() - position));
    if (!input_.Read(position, {block.GetData(), block.GetSize()})) {
      return std::nullopt;
    }
    const auto bytes = block.Bytes();
    for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), searcher)) != bytes.end(); ++at) {
      const std::uint64_t found = position + static_cast<std::uint64_t>(at - bytes.begin());
      if (IsChunk(found)) {
        return found;
      }
    }
    position += block.GetSize() - (beginning.size() - 1);  // it may lie across the end of the block
  }
  return std::nullopt;
}

bool ChunkSearch::IsChunk(std::uint64_t position) {
  RecordSource source(input_, position);
  ChunkHeader header;
  if (!source.ReadData(zeros_.GetSize(), bytes_) || !HasShape(bytes_.Bytes(), zeros_.Bytes(), ones_.Bytes())) {
    return false;
  }
  source.Seek(position);
  return source.ReadHeader(fields_) && header.Decode(fields_, version_) && header.chunkStatus == kChunkComplete &&
         HasChunkInfo(header.chunkInfoRecordPos, position);
}

/// A chunk of a bag that was recorded as a payload names places in that bag.
bool ChunkSearch::HasChunkInfo(std::uint64_t infoPosition, std::uint64_t chunkPosition) {
  QorBuffer empty;
  ChunkInfo{}.Encode(empty);
  RecordSource source(input_, infoPosition);
  std::uint32_t size = 0;
  if (!source.Read(size) || size != LoadLittle<std::uint32_t>(empty.GetData())) {  // the usual answer, without a word
    return false;
  }
  source.Seek(infoPosition);
  ChunkInfo info;
  std::uint32_t count = 0;
  return source.ReadHeader(fields_) && fields_.OptionMatch(OpCode::kChunkInfo) && info.Decode(fields_, count) &&
         info.chunkPos == chunkPosition;
}

}  // namespace qor::qorbag
