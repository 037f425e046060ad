// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_FILE_READER_H
#define QOR_QORBAG_BAG_FILE_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/zel/compressor.h"
#include "src/qorbag/bag_content.h"
#include "src/qorbag/bag_input.h"
#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

class BagContentReader;

/// Reads a bag: what is in it when it is opened, messages when they are asked for. Whatever stands in the file, opening
/// it takes time and memory in proportion to the size of the file. A compressed chunk takes what it becomes, at most 4
/// GiB. Used by one thread at a time.
class BagFileReader {
 public:
  /// What a bag is opened as.
  enum class How : std::uint8_t {
    kClosed,   ///< one that was closed
    kHeader,   ///< the same, for what is in it alone: from version 190 there are no indexes then, and no messages
    kActive,   ///< one that was not: up to the first chunk that is not complete; not for versions up to 140
    kDamaged,  ///< the same, and what can be found behind such a chunk
  };

  /// False, with a line in the log for the step that failed; then nothing is open.
  [[nodiscard]] bool Open(std::unique_ptr<BagInput> input, How how);
  /// Opens the file that another one reads, once more, with what that found. False when the file has changed.
  [[nodiscard]] bool Share(std::unique_ptr<BagInput> input, const BagFileReader& other);
  void Close();
  bool IsOpen() const { return input_ != nullptr; }

  std::uint64_t FileSize() const { return input_ != nullptr ? input_->Size() : 0; }
  /// Empty when nothing is open. May be kept: it does not change.
  const std::shared_ptr<const BagContent>& Content() const { return content_; }

  enum class Result : std::uint8_t { kOk, kFailed, kDecompressionFailed };

  /// Replaces what stands behind the first `offset` bytes of `out` by the payload. Otherwise, with a line in the log:
  /// the file does not hold at that place what its index says, or another connection's message, or its chunk is
  /// damaged.
  [[nodiscard]] Result ReadMsgDataIntoStream(const MessageIndex& index, std::optional<std::uint32_t> connectionId,
                                             QorBuffer& out, std::uint32_t offset);

 private:
  /// One that was decompressed.
  struct Chunk {
    std::uint32_t number = 0;
    std::vector<std::uint8_t> data;
    std::size_t size = 0;  ///< of its records, in data; 0: there are none
    std::uint64_t usedAt = 0;
  };
  enum class ChunkState : std::uint8_t { kUnread, kRead, kDamaged };

  static bool Read(BagContentReader& reader, How how, std::uint32_t version);
  bool SetUpDecompressor();
  bool ReadPayload(const MessageIndex& index, const std::uint8_t* head, std::span<std::uint8_t> payload);
  const Chunk* FindChunk(std::uint32_t number);
  Chunk& RoomFor(std::uint32_t number);
  bool DecompressChunkToStream(std::uint32_t number, Chunk& chunk);

  std::unique_ptr<BagInput> input_;
  std::shared_ptr<const BagContent> content_ = std::make_shared<BagContent>();

  std::unique_ptr<zel::ddt::Compressor> decompressor_;
  QorBuffer block_;
  std::vector<ChunkState> states_;  ///< by chunk
  std::vector<Chunk> chunks_;       ///< one, and more where messages of several chunks come by turns
  std::size_t lastChunk_ = 0;       ///< of those, the one that was used last
  std::uint64_t uses_ = 0;
};

}  // namespace qor::qorbag

#endif
