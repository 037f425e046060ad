// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/qorbag/connection.h"

namespace qor::qorbag {
namespace {

constexpr std::uint32_t kVersion = CURRENT_BAG_VERSION;

bool Decode(FileHeader& record, const HeaderFields& fields) { return record.Decode(fields, kVersion); }
bool Decode(ChunkHeader& record, const HeaderFields& fields) { return record.Decode(fields, kVersion); }
bool Decode(Connection& record, const HeaderFields& fields) { return record.Decode(fields, kVersion); }
bool Decode(ChunkIndexHeader& record, const HeaderFields& fields) { return record.Decode(fields); }
bool Decode(ChunkInfo& record, const HeaderFields& fields) {
  std::uint32_t count = 0;
  return record.Decode(fields, count);
}

/// Decodes the record after the field was given another name.
template <class Record>
bool DecodeWithout(std::string field, const QorBuffer& whole) {
  field += '=';
  const auto header = whole.Bytes().subspan(sizeof(std::uint32_t));
  std::vector<std::uint8_t> bytes(header.begin(), header.end());
  const auto found = std::search(bytes.begin(), bytes.end(), field.begin(), field.end());
  EXPECT_NE(found, bytes.end()) << field;
  *found = 'X';
  HeaderFields fields;
  EXPECT_TRUE(fields.Parse(bytes));
  Record record;
  return Decode(record, fields);
}

template <class Record>
void ExpectLine(const std::string& field, const std::string& line, const QorBuffer& whole) {
  const log::LogCapture log;
  EXPECT_FALSE(DecodeWithout<Record>(field, whole)) << field;
  EXPECT_EQ(log.CountContaining(line), 1U) << line;
  EXPECT_EQ(log.CountContaining("ReadMap find field failed"), 1U) << "the first that is missing ends the reading";
}

TEST(BagRecordsTest, AFieldThatIsMissingIsNamed) {
  QorBuffer file;
  FileHeader().Encode(kVersion, file);
  for (const std::string field : {"startRecordRealTime", "stopRecordVirtualTime", "connectionPos", "nextChunkPos",
                                  "connectionCount", "chunkCount", "compression"}) {
    ExpectLine<FileHeader>(field, "ReadFileHeaderRecord ReadField " + field + " failed!", file);
  }
  QorBuffer chunk;
  ChunkHeader().Encode(kVersion, chunk);
  for (const std::string field :
       {"chunkSize", "chunkCompressedSize", "connectionCount", "chunkInfoRecordPos", "nextChunkPos", "chunkStatus"}) {
    ExpectLine<ChunkHeader>(field, "ReadChunkHeader ReadField " + field + " failed", chunk);
  }
  QorBuffer index;
  ChunkIndexHeader().Encode(index);
  for (const std::string field : {"id", "indexcount"}) {
    ExpectLine<ChunkIndexHeader>(field, "ReadChunkIndexRecord ReadField " + field + " failed", index);
  }
  QorBuffer info;
  ChunkInfo().Encode(info);
  info.SetSize(info.GetSize() - sizeof(std::uint32_t));  // without its data
  ExpectLine<ChunkInfo>("startTime", "ReadChunkInfoRecord ReadField startTime or endTime failed", info);
  ExpectLine<ChunkInfo>("endTime", "ReadChunkInfoRecord ReadField startTime or endTime failed", info);
  ExpectLine<ChunkInfo>("chunkPos", "ReadChunkInfoRecord ReadField chunkPos failed", info);
  QorBuffer connection;
  ASSERT_TRUE(Connection().Encode(kVersion, connection));
  for (const std::string field : {"id", "event", "type", "msgDef", "driverType", "serializationType", "startTime",
                                  "endTime", "msgCount", "serializationConfig"}) {
    ExpectLine<Connection>(field, "ReadConnectionFeild ReadField " + field + " failed!", connection);
  }
  ExpectLine<Connection>("eventInfo", "ReadConnection ReadField eventInfo failed!", connection);
}

}  // namespace
}  // namespace qor::qorbag
