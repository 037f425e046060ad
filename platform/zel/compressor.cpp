// SPDX-License-Identifier: Apache-2.0
#include "platform/zel/compressor.h"

#include <algorithm>
#include <new>
#include <span>

#include <lz4frame.h>
#include <zstd.h>

namespace zel::ddt {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Output = std::vector<std::uint8_t>;

constexpr int kZstdLevel = 1;
constexpr std::size_t kFirstStep = std::size_t{64} << 10U;

void Reserve(Output& output, std::size_t size) {
  if (output.size() < size) {
    output.resize(size);
  }
}

/// Decompresses into output that grows with what is really there: what a block says about its size is not believed.
/// `step` gets room, says how many bytes it wrote, and whether the block ended; false when it is not sound.
template <class Step>
bool Grow(Output& output, std::size_t& length, std::size_t most, Step step) {
  length = 0;
  for (bool isEnded = false; !isEnded;) {
    if (length == output.size()) {
      Reserve(output, std::min(most, std::max(kFirstStep, 2 * length)));
    }
    std::size_t written = std::min(output.size(), most) - length;
    if (written == 0 || !step(output.data() + length, written, isEnded)) {
      return false;
    }
    length += written;
  }
  return true;
}

}  // namespace

class Compressor::Codec {
 public:
  virtual ~Codec() = default;
  virtual bool IsReady() const = 0;
  virtual bool Transfer(Bytes input, Output& output, std::size_t& length, std::size_t most) = 0;
};

class Compressor::Lz4Compression : public Compressor::Codec {
 public:
  Lz4Compression() { LZ4F_createCompressionContext(&context_, LZ4F_VERSION); }
  ~Lz4Compression() override { LZ4F_freeCompressionContext(context_); }

  bool IsReady() const override { return context_ != nullptr; }
  bool Transfer(Bytes input, Output& output, std::size_t& length, std::size_t most) override {
    LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
    preferences.frameInfo.blockSizeID = LZ4F_max4MB;
    preferences.frameInfo.contentSize = input.size();
    preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
    preferences.autoFlush = 1;
    const LZ4F_compressOptions_t options = {1, {0, 0, 0}};  // the input stays where it is
    Reserve(output, LZ4F_HEADER_SIZE_MAX + LZ4F_compressBound(input.size(), &preferences));
    length = 0;
    const auto add = [&](std::size_t written) {
      length += LZ4F_isError(written) == 0 ? written : 0;
      return LZ4F_isError(written) == 0;
    };
    return add(LZ4F_compressBegin(context_, output.data(), output.size(), &preferences)) &&
           add(LZ4F_compressUpdate(context_, output.data() + length, output.size() - length, input.data(), input.size(),
                                   &options)) &&
           add(LZ4F_compressEnd(context_, output.data() + length, output.size() - length, &options)) && length <= most;
  }

 private:
  LZ4F_cctx* context_ = nullptr;
};

class Compressor::Lz4Decompression : public Compressor::Codec {
 public:
  Lz4Decompression() { LZ4F_createDecompressionContext(&context_, LZ4F_VERSION); }
  ~Lz4Decompression() override { LZ4F_freeDecompressionContext(context_); }

  bool IsReady() const override { return context_ != nullptr; }
  bool Transfer(Bytes input, Output& output, std::size_t& length, std::size_t most) override {
    LZ4F_resetDecompressionContext(context_);
    return Grow(output, length, most, [&](std::uint8_t* to, std::size_t& room, bool& isEnded) {
      std::size_t taken = input.size();
      const std::size_t hint = LZ4F_decompress(context_, to, &room, input.data(), &taken, nullptr);
      input = input.subspan(taken);
      isEnded = hint == 0;
      const bool isStuck = !isEnded && taken == 0 && room == 0;
      return LZ4F_isError(hint) == 0 && !isStuck && (!isEnded || input.empty());
    });
  }

 private:
  LZ4F_dctx* context_ = nullptr;
};

class Compressor::ZstdCompression : public Compressor::Codec {
 public:
  ZstdCompression() {
    if (context_ != nullptr) {
      ZSTD_CCtx_setParameter(context_, ZSTD_c_compressionLevel, kZstdLevel);
      ZSTD_CCtx_setParameter(context_, ZSTD_c_checksumFlag, 1);
    }
  }
  ~ZstdCompression() override { ZSTD_freeCCtx(context_); }

  bool IsReady() const override { return context_ != nullptr; }
  bool Transfer(Bytes input, Output& output, std::size_t& length, std::size_t most) override {
    Reserve(output, ZSTD_compressBound(input.size()));
    length = ZSTD_compress2(context_, output.data(), output.size(), input.data(), input.size());
    return ZSTD_isError(length) == 0 && length <= most;
  }

 private:
  ZSTD_CCtx* const context_ = ZSTD_createCCtx();
};

class Compressor::ZstdDecompression : public Compressor::Codec {
 public:
  ~ZstdDecompression() override { ZSTD_freeDCtx(context_); }

  bool IsReady() const override { return context_ != nullptr; }
  bool Transfer(Bytes input, Output& output, std::size_t& length, std::size_t most) override {
    ZSTD_DCtx_reset(context_, ZSTD_reset_session_only);
    ZSTD_inBuffer in{input.data(), input.size(), 0};
    return Grow(output, length, most, [&](std::uint8_t* to, std::size_t& room, bool& isEnded) {
      ZSTD_outBuffer out{to, room, 0};
      const std::size_t before = in.pos;
      const std::size_t hint = ZSTD_decompressStream(context_, &out, &in);
      room = out.pos;
      isEnded = hint == 0;
      const bool isStuck = !isEnded && in.pos == before && room == 0;
      return ZSTD_isError(hint) == 0 && !isStuck && (!isEnded || in.pos == in.size);
    });
  }

 private:
  ZSTD_DCtx* const context_ = ZSTD_createDCtx();
};

Compressor::Compressor(CompressionType type, CompressorAction action) : type_(type), action_(action) {}

Compressor::~Compressor() = default;

std::unique_ptr<Compressor::Codec> Compressor::MakeCodec() const {
  const bool isCompression = action_ == CompressorAction::kCompress;
  switch (type_) {
    case CompressionType::kLz4:
      return isCompression ? std::unique_ptr<Codec>(new Lz4Compression) : std::unique_ptr<Codec>(new Lz4Decompression);
    case CompressionType::kZstd:
      return isCompression ? std::unique_ptr<Codec>(new ZstdCompression)
                           : std::unique_ptr<Codec>(new ZstdDecompression);
  }
  return nullptr;
}

int Compressor::Init() {
  codec_ = MakeCodec();
  if (codec_ != nullptr && !codec_->IsReady()) {
    codec_ = nullptr;
  }
  return codec_ != nullptr ? 0 : -1;
}

int Compressor::TransferStream(const std::uint8_t* input, std::size_t inputLength, std::vector<std::uint8_t>& output,
                               std::size_t& outputLength) {
  outputLength = 0;
  try {
    const bool isDone =
        codec_ != nullptr && codec_->Transfer(Bytes(input, inputLength), output, outputLength, maxOutput_);
    return isDone ? 0 : -1;
  } catch (const std::bad_alloc&) {  // a small block can be gigabytes
    return -1;
  }
}

}  // namespace zel::ddt
