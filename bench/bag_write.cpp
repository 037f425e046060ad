// SPDX-License-Identifier: Apache-2.0
// How fast messages get into a bag, as a share of plain write() of as many bytes in blocks of 1 MiB, in the same run:
// uncompressed, chunks of 1 MiB, page cache, no sync. Each figure is the median of ten rounds; a round does both, one
// after the other, and the first round is dropped. Before that: the most memory that writing takes above what the
// process has anyway.
//
//     bag_write [FOLDER]      files are made and removed there; /tmp when it is not named
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/bag_bench.h"
#include "bench/cpu_time.h"
#include "src/qorbag/bag_file_writer.h"
#include "src/qorbag/file_output.h"

namespace {

using namespace qor::bench;
using qor::qorbag::BagFileWriter;
using qor::qorbag::BagOutput;
using qor::qorbag::EventMsg;
using qor::qorbag::FileOutput;

constexpr std::size_t kEvents = 10;

struct Case {
  std::size_t messages;
  std::size_t size;
  double needed;
};

/// Seconds of writing the messages; `bytes` is the size of the bag.
double WriteBag(std::unique_ptr<BagOutput> output, const Case& one, const std::vector<EventMsg>& events,
                const std::vector<std::uint8_t>& payload, std::uint64_t& bytes) {
  const auto begin = Clock::now();
  BagFileWriter writer;
  Check(writer.Open(std::move(output), "bench") == BagFileWriter::Result::kOk, "writing a bag");
  for (std::size_t i = 0; i < one.messages; ++i) {
    Check(writer.Write(events[i % events.size()], i / 8, payload) == BagFileWriter::Result::kOk, "writing a bag");
  }
  bytes = writer.GetFileSize();
  Check(writer.Close() == BagFileWriter::Result::kOk, "closing a bag");
  return Seconds(begin);
}

void Measure(const std::string& folder, const Case& one) {
  const std::string name = folder + "/qor_bag_write_bench";
  const auto events = Events(kEvents);
  const std::vector<std::uint8_t> payload(one.size, 0x5A);
  const double count = static_cast<double>(one.messages);
  std::uint64_t bytes = 0;
  const auto [share, rate, processor, nowhere, processorNowhere] = Medians([&] {
    ::unlink(name.c_str());
    const double before = CpuSeconds(RUSAGE_SELF);
    const double bag = WriteBag(std::make_unique<FileOutput>(name), one, events, payload, bytes);
    const double used = CpuSeconds(RUSAGE_SELF) - before;
    ::unlink(name.c_str());
    const double plain = WritePlain(name, bytes);
    ::unlink(name.c_str());
    const double beforeNone = CpuSeconds(RUSAGE_SELF);
    const double none = WriteBag(std::make_unique<NullDevice>(), one, events, payload, bytes);
    const double usedNone = CpuSeconds(RUSAGE_SELF) - beforeNone;
    return std::array{plain / bag, count / bag, used / count * 1e9, count / none, usedNone / count * 1e9};
  });
  std::printf(
      "%8zu messages of %7zu bytes: %.2f of plain write (needed %.2f), %.3g messages/s, %.0f ns of processor "
      "each; into /dev/null %.3g messages/s, %.0f ns\n",
      one.messages, one.size, share, one.needed, rate, processor, nowhere, processorNowhere);
  std::fflush(stdout);
}

/// Bytes of the most memory that a process has which does that and nothing else.
template <class Work>
double PeakOf(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(0);
  }
  int status = 0;
  rusage usage{};
  Check(child > 0 && ::wait4(child, &status, 0, &usage) == child && status == 0, "measuring the memory of a process");
  return static_cast<double>(usage.ru_maxrss) * 1024;
}

/// Memory of writing so many bytes of messages, above what a process has that does not.
double PeakOfWriting(std::size_t size, std::uint64_t total, std::size_t eventCount) {
  const auto write = [=](std::size_t messages) {
    return PeakOf([=] {
      const auto events = Events(eventCount);
      const std::vector<std::uint8_t> payload(size, 0x5A);
      std::uint64_t bytes = 0;
      WriteBag(std::make_unique<NullDevice>(), {messages, size, 0}, events, payload, bytes);
    });
  };
  return write(total / size) - write(0);
}

void MeasureMemory(std::size_t size) {
  constexpr std::uint64_t kGibi = std::uint64_t{1} << 30U;
  const double one = PeakOfWriting(size, kGibi, kEvents);
  const double four = PeakOfWriting(size, 4 * kGibi, kEvents);
  const double chunks = 3.0 * kGibi / static_cast<double>(std::max(size, kBlock)) *
                        static_cast<double>(qor::qorbag::QorChunkManager::RecordSize(size)) / static_cast<double>(size);
  std::printf(
      "memory of writing messages of %7zu bytes: 1 GiB %.1f MB, 4 GiB %.1f MB (needed 16.0); %.0f bytes a chunk\n",
      size, one / 1e6, four / 1e6, (four - one) / chunks);
  std::fflush(stdout);
}

void MeasureConnectionMemory() {
  constexpr std::size_t kSize = 64;
  constexpr std::uint64_t kTotal = std::uint64_t{64} << 20U;
  constexpr std::size_t kMany = 2000;
  const double few = PeakOfWriting(kSize, kTotal, kEvents);
  const double many = PeakOfWriting(kSize, kTotal, kMany);
  std::printf("memory of a connection: %.0f bytes, and %zu of them %.1f MB\n",
              (many - few) / static_cast<double>(kMany - kEvents), kMany, many / 1e6);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "/tmp";
  constexpr std::array<Case, 4> kCases{
      {{5000000, 64, 0.35}, {1000000, 1024, 0.65}, {20000, 65536, 0.80}, {250, std::size_t{4} << 20U, 0.85}}};
  for (const Case& one : kCases) {
    MeasureMemory(one.size);
  }
  MeasureConnectionMemory();
  for (const Case& one : kCases) {
    Measure(folder, one);
  }
  return 0;
}
