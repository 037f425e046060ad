// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_RECORD_READER_H
#define QOR_QORBAG_BAG_RECORD_READER_H

#include <cstdint>

#include "src/qorbag/bag_input.h"
#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_source.h"

namespace qor::qorbag {

/// Reads whole records of a bag of one version. Each is false, with a line in the log, when there is no such record, or
/// a field of it is missing. Keeps its memory from one record to the next. Used by one thread.
class BagRecordReader {
 public:
  explicit BagRecordReader(std::uint32_t version = kOldestBagVersion) : version_(version) {}

  [[nodiscard]] bool ReadFileHeader(RecordSource& source, FileHeader& header);
  [[nodiscard]] bool ReadChunkHeader(RecordSource& source, ChunkHeader& header);
  /// Of the record that stands before the entries.
  [[nodiscard]] bool ReadChunkIndex(RecordSource& source, ChunkIndexHeader& index);
  [[nodiscard]] bool ReadChunkInfo(RecordSource& source, ChunkInfo& info);
  [[nodiscard]] bool ReadConnection(RecordSource& source, Connection& connection);

  /// Whether the next record is of that kind; it stays the next.
  bool IsNext(RecordSource& source, OpCode op);

 private:
  std::uint32_t version_;
  HeaderFields fields_;
  QorBuffer data_;
};

/// Reads the line that says the version, and where the file header begins. A file without the line is of version 100.
/// False, with a line in the log, when the line cannot be read, or the version is newer than the current one.
[[nodiscard]] bool ReadVersion(BagInput& input, std::uint32_t& version, std::uint64_t& fileHeaderPos);

}  // namespace qor::qorbag

#endif
