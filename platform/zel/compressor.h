// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_ZEL_COMPRESSOR_H
#define QOR_ZEL_COMPRESSOR_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zel::ddt {

/// What a block is compressed with; the numbers stand in files.
enum class CompressionType : std::uint32_t {
  kLz4 = 1,   ///< one LZ4 frame (LZ4 frame format 1.6), at the fast level, with a checksum of its content
  kZstd = 2,  ///< one Zstandard frame (RFC 8878), at level 1, with a checksum of its content
};

enum class CompressorAction : std::uint8_t { kCompress, kDecompress };

/// Turns whole blocks into their compressed form or back. Keeps its working memory from one block to the next. Used by
/// one thread at a time.
class Compressor {
 public:
  Compressor(CompressionType type, CompressorAction action);
  ~Compressor();
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  /// 0 when the type is known and the working memory could be had. To be called once, before TransferStream.
  int Init();
  /// The result stands in the first `outputLength` bytes of `output`, which only grows: its memory is used again. 0
  /// when the block was whole and sound, and there was memory; otherwise another number.
  int TransferStream(const std::uint8_t* input, std::size_t inputLength, std::vector<std::uint8_t>& output,
                     std::size_t& outputLength);
  /// Results that would be longer are refused: a block can claim to be a thousand times its size.
  void SetMaxOutput(std::size_t bytes) { maxOutput_ = bytes; }

 private:
  class Codec;
  class Lz4Compression;
  class Lz4Decompression;
  class ZstdCompression;
  class ZstdDecompression;

  std::unique_ptr<Codec> MakeCodec() const;

  const CompressionType type_;
  const CompressorAction action_;
  std::size_t maxOutput_ = SIZE_MAX;
  std::unique_ptr<Codec> codec_;
};

}  // namespace zel::ddt

#endif
