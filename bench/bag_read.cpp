// SPDX-License-Identifier: Apache-2.0
// How fast messages come out of a bag, as a share of plain read() of as many bytes in blocks of 1 MiB, in the same run:
// uncompressed, chunks of 1 MiB, page cache. Each figure is the median of ten rounds; a round does both, one after the
// other, and the first round is dropped. "opening" is plain read() of the bytes of the index in that.
//
//     bag_read [FOLDER]      files are made and removed there; /tmp when it is not named
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
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
using qor::qorbag::FileOutput;
using qor::qorbag::QorBagFile;
using qor::qorbag::QorBuffer;
using qor::qorbag::QorView;

struct Case {
  std::size_t messages;
  std::size_t size;
  std::size_t events;
  bool isShuffled;  ///< the event of each message drawn at random, not in turn
  double needed;
};

/// A bag that is removed in the end.
class Bag {
 public:
  Bag(const std::string& folder, const Case& one)
      : name_(folder + "/qor_bag_read_bench_" + std::to_string(one.events)) {
    BagFileWriter writer;
    Check(writer.Open(std::make_unique<FileOutput>(name_), name_) == BagFileWriter::Result::kOk, "writing a bag");
    const auto events = Events(one.events);
    const std::vector<std::uint8_t> payload(one.size, 0x5A);
    std::mt19937 random(1);
    for (std::size_t i = 0; i < one.messages; ++i) {
      const auto& event = events[(one.isShuffled ? random() : i) % events.size()];
      Check(writer.Write(event, i / 8, payload) == BagFileWriter::Result::kOk, "writing a bag");
    }
    Check(writer.Close() == BagFileWriter::Result::kOk, "closing a bag");
    size_ = std::filesystem::file_size(name_);
  }
  ~Bag() { ::unlink(name_.c_str()); }
  Bag(const Bag&) = delete;
  Bag& operator=(const Bag&) = delete;

  const std::string& Name() const { return name_; }
  std::uint64_t Size() const { return size_; }

 private:
  const std::string name_;
  std::uint64_t size_ = 0;
};

double Open(QorBagFile& file, const Bag& bag) {
  const auto begin = Clock::now();
  Check(file.OpenRead(bag.Name()), "opening a bag");
  return Seconds(begin);
}

double ReadAll(QorBagFile& file, const Case& one) {
  const auto begin = Clock::now();
  QorView view;
  view.AddQuery(file, 0, UINT64_MAX);
  QorBuffer buffer;
  std::uint64_t bytes = 0;
  for (auto at = view.Begin(); !at.IsEnd(); at.Increase()) {
    Check(at.Value().WriteMsg(buffer, 0) == QorBagFile::kOk, "reading a message");
    bytes += buffer.GetSize();
  }
  Check(bytes == one.messages * one.size, "reading every message");
  return Seconds(begin);
}

double ReadSome(QorBagFile& file, const std::vector<std::uint64_t>& times) {
  const auto begin = Clock::now();
  QorBuffer buffer;
  for (const std::uint64_t time : times) {
    QorView view;
    view.AddQuery(file, time, UINT64_MAX);
    auto at = view.Begin();
    Check(!at.IsEnd() && at.Value().GetTime() == time && at.Value().WriteMsg(buffer, 0) == QorBagFile::kOk,
          "reading a message by time");
  }
  return Seconds(begin);
}

/// Reading all in the order of time.
void MeasureAll(const std::string& folder, const Case& one) {
  const Bag bag(folder, one);
  const auto [share, rate, withOpening] = Medians([&] {
    QorBagFile file;
    const double opening = Open(file, bag);
    const double all = ReadAll(file, one);
    const double plain = ReadPlain(bag.Name(), bag.Size());
    return std::array{plain / all, static_cast<double>(one.messages) / all, plain / (opening + all)};
  });
  std::printf("%8zu messages of %7zu bytes: %.2f of plain read (needed %.2f), %.2f with opening; %.3g messages/s\n",
              one.messages, one.size, share, one.needed, withOpening, rate);
  std::fflush(stdout);
}

/// The same of few events and of many, in each round.
void MeasureEvents(const std::string& folder, const Case& few, const Case& many) {
  const Bag fewBag(folder, few);
  const Bag manyBag(folder, many);
  const auto [share, fewRate, manyRate] = Medians([&] {
    const auto read = [](const Bag& bag, const Case& one) {
      QorBagFile file;
      Open(file, bag);
      return ReadAll(file, one);
    };
    const double fewTime = read(fewBag, few);
    const double manyTime = read(manyBag, many);
    return std::array{fewTime / manyTime, static_cast<double>(few.messages) / fewTime,
                      static_cast<double>(many.messages) / manyTime};
  });
  std::printf("%zu events at random: %.2f of the rate of %zu (needed %.2f); %.3g and %.3g messages/s\n", many.events,
              share, few.events, many.needed, manyRate, fewRate);
  std::fflush(stdout);
}

void MeasureOpening(const std::string& folder, const Case& one) {
  const Bag bag(folder, one);
  const std::uint64_t indexBytes = bag.Size() - one.messages * (one.size + qor::qorbag::kMessagePayloadAt);
  const auto [times, perMessage] = Medians([&] {
    QorBagFile file;
    const double opening = Open(file, bag);
    const double plain = ReadPlain(bag.Name(), indexBytes);
    return std::array{opening / plain, opening / static_cast<double>(one.messages) * 1e9};
  });
  std::printf("opening %8zu messages: %.1f times plain read of the index (needed 8.0), %.1f ns each\n", one.messages,
              times, perMessage);
  std::fflush(stdout);
}

void MeasureTimes(const std::string& folder, const Case& one) {
  constexpr std::size_t kTimes = 10000;
  const Bag bag(folder, one);
  QorBagFile file;
  Open(file, bag);
  std::mt19937 random(2);
  const auto [rate] = Medians([&] {
    std::vector<std::uint64_t> times(kTimes);
    for (std::uint64_t& time : times) {
      time = random() % (one.messages / 8);
    }
    return std::array{static_cast<double>(kTimes) / ReadSome(file, times)};
  });
  std::printf("a message at each of %zu random times: %.3g a second (needed 200000)\n", kTimes, rate);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "/tmp";
  const Case small{5000000, 64, 10, false, 0.15};
  MeasureAll(folder, small);
  MeasureAll(folder, {1000000, 1024, 10, false, 0.40});
  MeasureEvents(folder, {5000000, 64, 10, true, 0}, {5000000, 64, 1000, true, 0.70});
  for (const std::size_t messages : {1250000U, 2500000U, 5000000U}) {
    MeasureOpening(folder, {messages, 64, 10, false, 0});
  }
  MeasureTimes(folder, small);
  return 0;
}
