// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_records.h"

#include <array>
#include <cstring>
#include <string_view>

#include "src/qorbag/bag_log.h"

namespace qor::qorbag {
namespace {

/// Reads the fields of one kind of record; each that is missing has its line, and ends the reading.
class FieldReader {
 public:
  FieldReader(const HeaderFields& fields, std::string_view operation, std::string_view ending)
      : fields_(fields), operation_(operation), ending_(ending) {}

  template <class T>
  FieldReader& Read(std::string_view name, T& value, bool isPresent = true) {
    if (isOk_ && isPresent && !fields_.ReadField(name, value)) {
      kLog.Error() << operation_ << " ReadField " << name << ending_;
      isOk_ = false;
    }
    return *this;
  }
  bool IsOk() const { return isOk_; }

 private:
  const HeaderFields& fields_;
  const std::string_view operation_;
  const std::string_view ending_;
  bool isOk_ = true;
};

// The header of a message record; the values lie where the zeros are.
constexpr char kHead[] =
    "\x33\0\0\0"
    "\x04\0\0\0op=\x02"
    "\x11\0\0\0connectionId=\0\0\0\0"
    "\x12\0\0\0timeStamp=\0\0\0\0\0\0\0\0";
constexpr std::size_t kConnectionAt = 29;
constexpr std::size_t kTimeNameAt = 33;
constexpr std::size_t kTimeAt = 47;
static_assert(sizeof(kHead) - 1 == kMessageLengthAt);

}  // namespace

void FileHeader::Encode(std::uint32_t version, QorBuffer& out) const {
  HeaderWriter header(out, OpCode::kFileHeader);
  if (version >= kWithRecordTimes) {
    header.Field("startRecordRealTime", startRecordRealTime);
    header.Field("startRecordVirtualTime", startRecordVirtualTime);
    header.Field("stopRecordRealTime", stopRecordRealTime);
    header.Field("stopRecordVirtualTime", stopRecordVirtualTime);
  }
  header.Field("connectionPos", connectionPos);
  if (version >= kWithChunkEndInfo) {
    header.Field("nextChunkPos", nextChunkPos);
  }
  header.Field("connectionCount", connectionCount);
  header.Field("chunkCount", chunkCount);
  if (version >= kWithCompression) {
    header.Field("compression", static_cast<std::uint32_t>(compression));
  }
  header.End();
}

bool FileHeader::Decode(const HeaderFields& fields, std::uint32_t version) {
  const bool hasTimes = version >= kWithRecordTimes;
  std::uint32_t type = 0;
  const bool isOk = FieldReader(fields, "ReadFileHeaderRecord", " failed!")
                        .Read("startRecordRealTime", startRecordRealTime, hasTimes)
                        .Read("startRecordVirtualTime", startRecordVirtualTime, hasTimes)
                        .Read("stopRecordRealTime", stopRecordRealTime, hasTimes)
                        .Read("stopRecordVirtualTime", stopRecordVirtualTime, hasTimes)
                        .Read("connectionPos", connectionPos)
                        .Read("nextChunkPos", nextChunkPos, version >= kWithChunkEndInfo)
                        .Read("connectionCount", connectionCount)
                        .Read("chunkCount", chunkCount)
                        .Read("compression", type, version >= kWithCompression)
                        .IsOk();
  compression = static_cast<FileCompressionType>(type);
  return isOk;
}

void ChunkHeader::Encode(std::uint32_t version, QorBuffer& out) const {
  HeaderWriter header(out, OpCode::kChunkHeader);
  header.Field("chunkSize", chunkSize);
  if (version >= kWithCompression) {
    header.Field("chunkCompressedSize", chunkCompressedSize);
  }
  if (version >= kWithChunkEndInfo) {
    header.Field("connectionCount", connectionCount);
    header.Field("chunkInfoRecordPos", chunkInfoRecordPos);
    header.Field("nextChunkPos", nextChunkPos);
    header.Field("chunkStatus", chunkStatus);
  }
  header.End();
}

bool ChunkHeader::Decode(const HeaderFields& fields, std::uint32_t version) {
  const bool hasEndInfo = version >= kWithChunkEndInfo;
  return FieldReader(fields, "ReadChunkHeader", " failed")
      .Read("chunkSize", chunkSize)
      .Read("chunkCompressedSize", chunkCompressedSize, version >= kWithCompression)
      .Read("connectionCount", connectionCount, hasEndInfo)
      .Read("chunkInfoRecordPos", chunkInfoRecordPos, hasEndInfo)
      .Read("nextChunkPos", nextChunkPos, hasEndInfo)
      .Read("chunkStatus", chunkStatus, hasEndInfo)
      .IsOk();
}

std::uint8_t* MessageIndex::StoreTo(std::uint8_t* to, std::uint64_t chunkDataPos, std::uint32_t version) const {
  to = Store(Store(to, time), msgPos);
  return version >= kWithCompression ? Store(to, chunkDataPos) : to;
}

void ChunkIndexHeader::Encode(QorBuffer& out) const {
  HeaderWriter header(out, OpCode::kChunkIndex);
  header.Field("id", id);
  header.Field("indexcount", indexcount);
  header.End();
}

bool ChunkIndexHeader::Decode(const HeaderFields& fields) {
  return FieldReader(fields, "ReadChunkIndexRecord", " failed").Read("id", id).Read("indexcount", indexcount).IsOk();
}

void ChunkInfo::Encode(QorBuffer& out) const {
  HeaderWriter header(out, OpCode::kChunkInfo);
  header.Field("startTime", startTime);
  header.Field("endTime", endTime);
  header.Field("connectionCount", static_cast<std::uint32_t>(counts.size()));
  header.Field("chunkPos", chunkPos);
  header.End();
  AppendNumber(out, static_cast<std::uint32_t>(counts.size() * 2 * sizeof(std::uint32_t)));
  for (const auto& [id, count] : counts) {
    AppendNumber(out, id);
    AppendNumber(out, count);
  }
}

bool ChunkInfo::Decode(const HeaderFields& fields, std::uint32_t& connectionCount) {
  if (!fields.ReadField("startTime", startTime) || !fields.ReadField("endTime", endTime)) {
    kLog.Error() << "ReadChunkInfoRecord ReadField startTime or endTime failed";
    return false;
  }
  return FieldReader(fields, "ReadChunkInfoRecord", " failed")
      .Read("connectionCount", connectionCount)
      .Read("chunkPos", chunkPos)
      .IsOk();
}

bool ChunkInfo::DecodeCounts(std::span<const std::uint8_t> data, std::uint32_t connectionCount) {
  counts.clear();
  ByteReader reader(data);
  for (std::uint32_t i = 0; i < connectionCount; ++i) {
    auto& [id, count] = counts.emplace_back();
    if (!reader.Read(id) || !reader.Read(count)) {
      return false;
    }
  }
  return true;
}

void EncodeMessageHead(std::uint32_t connectionId, std::uint64_t timeStamp, std::uint32_t dataSize, QorBuffer& out) {
  std::uint8_t* const to = out.Extend(kMessagePayloadAt);
  std::memcpy(to, kHead, kMessageLengthAt);
  Store(to + kConnectionAt, connectionId);
  Store(to + kTimeAt, timeStamp);
  Store(to + kMessageLengthAt, dataSize);
}

bool MessageHead::Decode(const std::uint8_t* from) {
  if (std::memcmp(from, kHead, kConnectionAt) != 0 ||
      std::memcmp(from + kTimeNameAt, kHead + kTimeNameAt, kTimeAt - kTimeNameAt) != 0) {
    return false;
  }
  connectionId = LoadLittle<std::uint32_t>(from + kConnectionAt);
  timeStamp = LoadLittle<std::uint64_t>(from + kTimeAt);
  dataSize = LoadLittle<std::uint32_t>(from + kMessageLengthAt);
  return true;
}

}  // namespace qor::qorbag
