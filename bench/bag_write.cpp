// SPDX-License-Identifier: Apache-2.0
// How fast messages get into a bag, as a share of plain write() of as many bytes in blocks of 1 MiB, in the same run:
// uncompressed, chunks of 1 MiB, page cache, no sync. Each figure is the median of ten rounds; a round does both, one
// after the other, and the first round is dropped.
//
//     bag_write [FOLDER]      files are made and removed there; /tmp when it is not named
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "src/qorbag/bag_file_writer.h"
#include "src/qorbag/file_output.h"

namespace {

using Clock = std::chrono::steady_clock;
using qor::qorbag::BagFileWriter;
using qor::qorbag::EventDescription;
using qor::qorbag::EventMsg;
using qor::qorbag::FileOutput;

constexpr int kRounds = 10;
constexpr std::size_t kEvents = 10;
constexpr std::size_t kBlock = std::size_t{1} << 20U;

struct Case {
  std::size_t messages;
  std::size_t size;
  double needed;
};

double Seconds(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

double ProcessorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Fail(const std::string& what) {
  std::fprintf(stderr, "bag_write: %s\n", what.c_str());
  std::exit(1);
}

std::vector<EventMsg> Events() {
  std::vector<EventMsg> events;
  for (std::size_t i = 0; i < kEvents; ++i) {
    auto event = std::make_shared<EventDescription>();
    event->eventName = "/bench/event" + std::to_string(i);
    event->eventInfo.dds.topicName = event->eventName;
    events.push_back(EventMsg{event});
  }
  return events;
}

/// Seconds of writing the messages into a file; `bytes` is the size of the bag.
double WriteBag(const std::string& name, const Case& one, const std::vector<EventMsg>& events,
                const std::vector<std::uint8_t>& payload, std::uint64_t& bytes) {
  const auto begin = Clock::now();
  BagFileWriter writer;
  if (writer.Open(std::make_unique<FileOutput>(name), name) != BagFileWriter::Result::kOk) {
    Fail("cannot write " + name);
  }
  for (std::size_t i = 0; i < one.messages; ++i) {
    if (writer.Write(events[i % kEvents], i / 8, payload) != BagFileWriter::Result::kOk) {
      Fail("cannot write " + name);
    }
  }
  bytes = writer.GetFileSize();
  if (writer.Close() != BagFileWriter::Result::kOk) {
    Fail("cannot close " + name);
  }
  return Seconds(begin);
}

double WritePlain(const std::string& name, std::uint64_t bytes) {
  static const std::vector<char> block(kBlock, 'x');
  const auto begin = Clock::now();
  const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  while (bytes > 0) {
    const ssize_t written = ::write(fd, block.data(), std::min<std::uint64_t>(bytes, kBlock));
    if (written <= 0) {
      Fail("cannot write " + name);
    }
    bytes -= static_cast<std::uint64_t>(written);
  }
  ::close(fd);
  return Seconds(begin);
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

void Measure(const std::string& folder, const Case& one) {
  const std::string name = folder + "/qor_bag_write_bench";
  const auto events = Events();
  const std::vector<std::uint8_t> payload(one.size, 0x5A);
  std::vector<double> shares;
  std::vector<double> rates;
  std::vector<double> processor;
  std::vector<double> nowhere;
  std::uint64_t bytes = 0;
  const double count = static_cast<double>(one.messages);
  for (int round = 0; round <= kRounds; ++round) {
    ::unlink(name.c_str());
    const double before = ProcessorSeconds();
    const double bag = WriteBag(name, one, events, payload, bytes);
    const double used = ProcessorSeconds() - before;
    ::unlink(name.c_str());
    const double plain = WritePlain(name, bytes);
    ::unlink(name.c_str());
    const double none = WriteBag("/dev/null", one, events, payload, bytes);
    if (round > 0) {
      shares.push_back(plain / bag);
      rates.push_back(count / bag);
      processor.push_back(used / count * 1e9);
      nowhere.push_back(count / none);
    }
  }
  std::printf(
      "%8zu messages of %7zu bytes: %.2f of plain write (needed %.2f), %.3g messages/s, %.0f ns of processor "
      "each; into /dev/null %.3g messages/s\n",
      one.messages, one.size, Median(shares), one.needed, Median(rates), Median(processor), Median(nowhere));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "/tmp";
  for (const Case& one : std::array<Case, 4>{
           {{5000000, 64, 0.35}, {1000000, 1024, 0.65}, {20000, 65536, 0.80}, {250, std::size_t{4} << 20U, 0.85}}}) {
    Measure(folder, one);
  }
  return 0;
}
