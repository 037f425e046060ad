// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_record_reader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "src/qorbag/bag_log.h"

namespace qor::qorbag {
namespace {

bool ParseVersionLine(const std::string& line, std::uint32_t& version) {
  constexpr unsigned kLargest = 1000;
  unsigned major = 0;
  unsigned minor = 0;
  if (std::sscanf(line.c_str(), "#QORBAG V%u.%u", &major, &minor) != 2 || major > kLargest || minor > kLargest) {
    return Failed("ReadVersion get version failed!");
  }
  version = major * 100 + minor * 10;
  kLog.Info() << "The version of the file is: QORBAG V" << major << "." << minor;
  if (version > CURRENT_BAG_VERSION) {
    kLog.Error() << "ReadVersion: the newest version that is known here is " << CURRENT_BAG_VERSION_STR;
    return false;
  }
  return true;
}

}  // namespace

bool ReadVersion(BagInput& input, std::uint32_t& version, std::uint64_t& fileHeaderPos) {
  constexpr std::uint64_t kLongestLine = 24;
  constexpr std::string_view kMark = "#QORBAG";
  std::array<char, kLongestLine> bytes{};
  const std::uint64_t size = std::min(kLongestLine - 1, input.Size());
  if (size == 0 || !input.Read(0, {reinterpret_cast<std::uint8_t*>(bytes.data()), size})) {
    return Failed("Read First line of file failed!");
  }
  const std::string_view beginning(bytes.data(), size);
  const std::string_view line = beginning.substr(0, beginning.find('\n'));
  if (line.starts_with(kMark)) {
    fileHeaderPos = std::min<std::uint64_t>(line.size() + 1, size);
    return ParseVersionLine(std::string(line), version);  // sscanf wants an end
  }
  kLog.Info() << "The version of the file is: QORBAG V1.0";
  version = kOldestBagVersion;
  fileHeaderPos = 0;
  return true;
}

bool BagRecordReader::ReadFileHeader(RecordSource& source, FileHeader& header) {
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadFileHeaderRecord ReadHeader failed!");
  }
  return fields_.OptionMatch(OpCode::kFileHeader) ? header.Decode(fields_, version_)
                                                  : Failed("ReadFileHeaderRecord OptionMatch failed!");
}

bool BagRecordReader::ReadChunkHeader(RecordSource& source, ChunkHeader& header) {
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadChunkHeader ReadHeader failed");
  }
  return fields_.OptionMatch(OpCode::kChunkHeader) ? header.Decode(fields_, version_)
                                                   : Failed("ReadChunkHeader option match failed");
}

bool BagRecordReader::ReadChunkIndex(RecordSource& source, ChunkIndexHeader& index) {
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadChunkIndexRecord ReadHeader failed");
  }
  return fields_.OptionMatch(OpCode::kChunkIndex) ? index.Decode(fields_)
                                                  : Failed("ReadChunkIndexRecord option match failed");
}

bool BagRecordReader::ReadChunkInfo(RecordSource& source, ChunkInfo& info) {
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

bool BagRecordReader::ReadConnection(RecordSource& source, Connection& connection) {
  if (!source.ReadHeader(fields_)) {
    return Failed("ReadConnectionRecord ReadHeader failed!");
  }
  return fields_.OptionMatch(OpCode::kConnection) ? connection.Decode(fields_, version_)
                                                  : Failed("ReadConnectionRecord OptionMatch failed!");
}

bool BagRecordReader::IsNext(RecordSource& source, OpCode op) {
  const std::uint64_t position = source.Position();
  const bool isNext = source.ReadHeader(fields_) && fields_.OptionMatch(op);
  source.Seek(position);
  return isNext;
}

}  // namespace qor::qorbag
