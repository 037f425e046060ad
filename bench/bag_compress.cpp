// SPDX-License-Identifier: Apache-2.0
// How fast compressed bags are written and read, as a share of the bare library call on the same chunks with the same
// parameters, in the same run: payloads of 1 KiB whose numbers change slowly, chunks of 1 MiB, page cache. Each figure
// is the median of ten rounds; a round does all, one after the other, and the first round is dropped.
//
//     bag_compress [FOLDER]      files are made and removed there; /tmp when it is not named
#include <lz4frame.h>
#include <unistd.h>
#include <zstd.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "bench/bag_bench.h"
#include "src/qorbag/bag_file_writer.h"
#include "src/qorbag/file_output.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"

namespace {

using namespace qor::bench;
using qor::qorbag::BagFileWriter;
using qor::qorbag::FileCompressionType;
using qor::qorbag::FileOutput;
using qor::qorbag::QorBagFile;
using qor::qorbag::QorBuffer;
using qor::qorbag::QorView;

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMessages = 200000;
constexpr std::size_t kEvents = 10;
constexpr std::size_t kKinds = 1000;  ///< different payloads

/// Counters, positions that drift and measurements with noise in their last bits.
std::vector<Bytes> Payloads() {
  constexpr std::size_t kNumbers = 128;
  std::vector<Bytes> payloads;
  std::uint32_t noise = 1;
  for (std::size_t i = 0; i < kKinds; ++i) {
    std::array<double, kNumbers> numbers{};
    for (std::size_t k = 0; k < kNumbers; ++k) {
      noise = noise * 1664525 + 1013904223;
      const double drift = std::sin(static_cast<double>(i) * 0.001 + static_cast<double>(k / 4));
      numbers[k] = k % 4 == 0 ? static_cast<double>(i + k) : std::round(drift * 1e4 + (noise >> 30U)) / 1e2;
    }
    Bytes& payload = payloads.emplace_back(sizeof(numbers));
    std::memcpy(payload.data(), numbers.data(), sizeof(numbers));
  }
  return payloads;
}

/// Payload of the i-th message.
const Bytes& PayloadOf(const std::vector<Bytes>& payloads, std::size_t i) { return payloads[i % kKinds]; }

/// What the writer gives to the compressor.
std::vector<Bytes> Chunks(const std::vector<Bytes>& payloads) {
  std::vector<Bytes> chunks(1);
  QorBuffer record;
  for (std::size_t i = 0; i < kMessages; ++i) {
    const Bytes& payload = PayloadOf(payloads, i);
    record.SetSize(0);
    qor::qorbag::EncodeMessageHead(static_cast<std::uint32_t>(i % kEvents), i / 8,
                                   static_cast<std::uint32_t>(payload.size()), record);
    record.Append(payload);
    if (chunks.back().size() >= kBlock) {
      chunks.emplace_back();
    }
    chunks.back().insert(chunks.back().end(), record.Bytes().begin(), record.Bytes().end());
  }
  return chunks;
}

/// The library alone; each call gives the bytes of the result.
class Bare {
 public:
  virtual ~Bare() = default;
  virtual std::size_t Compress(const Bytes& from, Bytes& to) = 0;
  virtual std::size_t Decompress(std::span<const std::uint8_t> from, Bytes& to) = 0;
};

class BareLz4 : public Bare {
 public:
  BareLz4() { LZ4F_createDecompressionContext(&decompression_, LZ4F_VERSION); }
  ~BareLz4() override { LZ4F_freeDecompressionContext(decompression_); }

  std::size_t Compress(const Bytes& from, Bytes& to) override {
    LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
    preferences.frameInfo.blockSizeID = LZ4F_max4MB;
    preferences.frameInfo.contentSize = from.size();
    preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
    to.resize(std::max(to.size(), LZ4F_compressFrameBound(from.size(), &preferences)));
    return LZ4F_compressFrame(to.data(), to.size(), from.data(), from.size(), &preferences);
  }
  std::size_t Decompress(std::span<const std::uint8_t> from, Bytes& to) override {
    std::size_t room = to.size();
    std::size_t taken = from.size();
    return LZ4F_decompress(decompression_, to.data(), &room, from.data(), &taken, nullptr) == 0 ? room : 0;
  }

 private:
  LZ4F_dctx* decompression_ = nullptr;
};

class BareZstd : public Bare {
 public:
  BareZstd() {
    ZSTD_CCtx_setParameter(compression_, ZSTD_c_compressionLevel, 1);
    ZSTD_CCtx_setParameter(compression_, ZSTD_c_checksumFlag, 1);
  }
  ~BareZstd() override {
    ZSTD_freeCCtx(compression_);
    ZSTD_freeDCtx(decompression_);
  }

  std::size_t Compress(const Bytes& from, Bytes& to) override {
    to.resize(std::max(to.size(), ZSTD_compressBound(from.size())));
    return ZSTD_compress2(compression_, to.data(), to.size(), from.data(), from.size());
  }
  std::size_t Decompress(std::span<const std::uint8_t> from, Bytes& to) override {
    return ZSTD_decompressDCtx(decompression_, to.data(), to.size(), from.data(), from.size());
  }

 private:
  ZSTD_CCtx* const compression_ = ZSTD_createCCtx();
  ZSTD_DCtx* const decompression_ = ZSTD_createDCtx();
};

double WriteBag(const std::string& name, FileCompressionType type, const std::vector<Bytes>& payloads) {
  static const auto events = Events(kEvents);
  const auto begin = Clock::now();
  BagFileWriter writer;
  writer.SetCompressionType(type);
  Check(writer.Open(std::make_unique<FileOutput>(name), name) == BagFileWriter::Result::kOk, "writing a bag");
  for (std::size_t i = 0; i < kMessages; ++i) {
    Check(writer.Write(events[i % kEvents], i / 8, PayloadOf(payloads, i)) == BagFileWriter::Result::kOk, "writing");
  }
  Check(writer.Close() == BagFileWriter::Result::kOk, "closing a bag");
  return Seconds(begin);
}

double ReadBag(const std::string& name, const std::vector<Bytes>& payloads) {
  QorBagFile file;
  Check(file.OpenRead(name), "opening a bag");
  const auto begin = Clock::now();
  QorView view;
  view.AddQuery(file, 0, UINT64_MAX);
  QorBuffer buffer;
  std::size_t count = 0;
  for (auto at = view.Begin(); !at.IsEnd(); at.Increase(), ++count) {
    Check(at.Value().WriteMsg(buffer, 0) == QorBagFile::kOk && buffer.GetSize() == PayloadOf(payloads, count).size(),
          "reading");
  }
  Check(count == kMessages, "reading every message");
  return Seconds(begin);
}

void Measure(const std::string& name, const char* label, FileCompressionType type, Bare& bare) {
  const auto payloads = Payloads();
  const auto chunks = Chunks(payloads);
  std::size_t bytes = 0;
  std::size_t compressedBytes = 0;
  const auto [writing, reading] = Medians([&] {
    ::unlink(name.c_str());
    const double writeBag = WriteBag(name, type, payloads);
    const double readBag = ReadBag(name, payloads);
    Bytes out;
    Bytes back(2 * kBlock);
    double compressing = 0;
    double decompressing = 0;
    bytes = 0;
    compressedBytes = 0;
    for (const Bytes& chunk : chunks) {
      auto begin = Clock::now();
      const std::size_t size = bare.Compress(chunk, out);
      compressing += Seconds(begin);
      begin = Clock::now();
      const std::size_t backSize = bare.Decompress(std::span(out).first(size), back);
      decompressing += Seconds(begin);
      Check(backSize == chunk.size() && std::memcmp(back.data(), chunk.data(), backSize) == 0, "decompressing");
      bytes += chunk.size();
      compressedBytes += size;
    }
    return std::array{compressing / writeBag, decompressing / readBag};
  });
  ::unlink(name.c_str());
  std::printf("%s: writing %.2f of bare compression (needed 0.80), reading %.2f of bare decompression; to %.2f\n",
              label, writing, reading, static_cast<double>(compressedBytes) / static_cast<double>(bytes));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string name = std::string(argc > 1 ? argv[1] : "/tmp") + "/qor_bag_compress_bench";
  BareLz4 lz4;
  Measure(name, "LZ4", FileCompressionType::kLz4, lz4);
  BareZstd zstd;
  Measure(name, "Zstandard", FileCompressionType::kZstd, zstd);
  return 0;
}
