// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_CHECK_H
#define QOR_QORBAG_BAG_CHECK_H

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "src/qorbag/bag_faults.h"
#include "src/qorbag/bag_input.h"
#include "src/qorbag/bag_record_reader.h"
#include "src/qorbag/bag_records.h"
#include "src/qorbag/chunk_check.h"
#include "src/qorbag/connection.h"

namespace qor::qorbag {

/// What a check found.
struct BagCheckReport {
  std::uint32_t version = 0;
  bool isClosed = false;
  std::uint64_t chunkCount = 0;
  std::uint64_t messageCount = 0;
  std::uint64_t connectionCount = 0;
  BagFaults faults;
};

/// Reads all of a bag, record by record from its beginning, and compares what it says about itself in several places:
/// positions, lengths, counts, times, the order of indexes, the checksums of compressed chunks. What stands in the
/// payloads of a bag that is not compressed cannot be verified. Run is called once, by one thread; the progress is for
/// any.
class BagCheck {
 public:
  /// The input must outlive it.
  explicit BagCheck(BagInput& input) : input_(input) {}

  /// Ends early when `stop` is set.
  BagCheckReport Run(const std::atomic<bool>& stop);
  /// 0 to 1.
  double Progress() const;

 private:
  /// How much there is of one connection.
  struct Extent {
    std::uint64_t count = 0;
    std::uint64_t begin = UINT64_MAX;
    std::uint64_t end = 0;
  };

  bool ReadBeginning();
  void ReadClosingIndex();
  void WalkChunks(const std::atomic<bool>& stop);
  std::optional<std::uint64_t> NextChunk(std::uint64_t position);
  bool IsInVain(std::uint64_t position, std::uint64_t end);
  void Take(const ChunkFacts& facts, std::uint64_t position);
  void AddConnection(const Connection& connection, std::uint64_t position);
  void CompareChunkInfos();
  void CompareStatistics();

  BagInput& input_;
  BagCheckReport report_;
  BagRecordReader records_;
  FileHeader header_;
  std::uint64_t headerEnd_ = 0;
  std::uint64_t chunksEnd_ = 0;  ///< where the closing index begins, or the file ends
  std::map<std::uint32_t, Connection> connections_;
  std::vector<ChunkInfo> closingInfos_;
  std::map<std::uint64_t, std::optional<ChunkInfo>> foundInfos_;  ///< by position; nothing: its data cannot be read
  bool areAllKnown_ = true;                                       ///< all chunks could be read
  std::uint64_t vainBytes_ = 0;                                   ///< read of chunks that could not be checked
  std::map<std::uint32_t, Extent> extents_;                       ///< by connection id
  std::atomic<std::uint64_t> position_{0};
};

}  // namespace qor::qorbag

#endif
