// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_RECORDS_H
#define QOR_QORBAG_BAG_RECORDS_H

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "src/qorbag/bag_format.h"
#include "src/qorbag/little_endian.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_header.h"

/// The records of a bag file but that of a connection. Encode appends what the version has, header and all; Decode
/// takes what the version has from a header whose op code matches, with a line in the log for the field that is not
/// there.
namespace qor::qorbag {

struct FileHeader {
  std::uint64_t startRecordRealTime = 0;     ///< milliseconds since 1970
  std::uint64_t startRecordVirtualTime = 0;  ///< milliseconds of the platform's virtual clock
  std::uint64_t stopRecordRealTime = 0;
  std::uint64_t stopRecordVirtualTime = 0;
  std::uint64_t connectionPos = 0;  ///< of the closing index; 0: the file was not closed
  std::uint64_t nextChunkPos = 0;   ///< of the first chunk; 0: none
  std::uint32_t connectionCount = 0;
  std::uint32_t chunkCount = 0;
  FileCompressionType compression = FileCompressionType::kNone;

  void Encode(std::uint32_t version, QorBuffer& out) const;
  [[nodiscard]] bool Decode(const HeaderFields& fields, std::uint32_t version);
};

struct ChunkHeader {
  std::uint32_t chunkSize = 0;            ///< bytes of the message records, before compression
  std::uint32_t chunkCompressedSize = 0;  ///< bytes of the block with the length in front of it; 0: not compressed
  std::uint32_t connectionCount = 0;      ///< index records behind the data
  std::uint64_t chunkInfoRecordPos = 0;
  std::uint64_t nextChunkPos = 0;
  std::uint32_t chunkStatus = 0;  ///< kChunkComplete, or the chunk is not

  void Encode(std::uint32_t version, QorBuffer& out) const;
  [[nodiscard]] bool Decode(const HeaderFields& fields, std::uint32_t version);
};

/// Where one message is.
struct MessageIndex {
  std::uint64_t time = 0;
  std::uint64_t msgPos = 0;  ///< in the file; of a compressed chunk, in its data
  std::uint32_t chunk = 0;   ///< number of the chunk; it knows where its data is
  std::uint32_t size = 0;    ///< bytes of the payload

  /// Grows from each message of a bag to the next: chunks lie one behind the other, and of compressed ones the number
  /// comes first.
  std::uint64_t Place() const { return (std::uint64_t{chunk} << 32U) + msgPos; }
  /// Messages come in the order of their times; those of one time as they stand in the bag.
  std::pair<std::uint64_t, std::uint64_t> Order() const { return {time, Place()}; }

  /// Bytes of one entry in a file.
  static std::uint32_t SizeIn(std::uint32_t version) { return version >= kWithCompression ? 24 : 16; }
  /// Stores an entry; where the next one goes. `chunkDataPos` is where the data of the chunk begins in the file.
  std::uint8_t* StoreTo(std::uint8_t* to, std::uint64_t chunkDataPos, std::uint32_t version) const;
  /// Time and place, from SizeIn(version) bytes; `chunkDataPos` only from version 180.
  static MessageIndex Load(const std::uint8_t* from, std::uint64_t& chunkDataPos, std::uint32_t version) {
    if (version >= kWithCompression) {
      chunkDataPos = LoadLittle<std::uint64_t>(from + 16);
    }
    return {LoadLittle<std::uint64_t>(from), LoadLittle<std::uint64_t>(from + 8), 0, 0};
  }
};

/// The header of the index of one connection in a chunk.
struct ChunkIndexHeader {
  std::uint32_t id = 0;
  std::uint32_t indexcount = 0;

  void Encode(QorBuffer& out) const;
  [[nodiscard]] bool Decode(const HeaderFields& fields);
};

struct ChunkInfo {
  std::uint64_t startTime = 0;
  std::uint64_t endTime = 0;
  std::uint64_t chunkPos = 0;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> counts;  ///< connection id and messages

  /// With its data part.
  void Encode(QorBuffer& out) const;
  /// Of the header alone; `connectionCount` pairs follow.
  [[nodiscard]] bool Decode(const HeaderFields& fields, std::uint32_t& connectionCount);
  [[nodiscard]] bool DecodeCounts(std::span<const std::uint8_t> data, std::uint32_t connectionCount);
};

/// What a message record says before its payload.
struct MessageHead {
  std::uint32_t connectionId = 0;
  std::uint64_t timeStamp = 0;
  std::uint32_t dataSize = 0;

  /// From kMessagePayloadAt bytes; false when they are none.
  [[nodiscard]] bool Decode(const std::uint8_t* from);
};

/// Appends a message record up to its payload, which follows.
void EncodeMessageHead(std::uint32_t connectionId, std::uint64_t timeStamp, std::uint32_t dataSize, QorBuffer& out);

}  // namespace qor::qorbag

#endif
