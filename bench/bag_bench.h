// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_BENCH_BAG_BENCH_H
#define QOR_BENCH_BAG_BENCH_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "src/qorbag/bag_file_writer.h"
#include "src/qorbag/file_output.h"

/// What the benchmarks of bag files share.
namespace qor::bench {

using Clock = std::chrono::steady_clock;

inline constexpr int kRounds = 10;
inline constexpr std::size_t kBlock = std::size_t{1} << 20U;

inline double Seconds(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

/// Ends the program when it is not. `what` is no std::string: making one for each message would be measured too.
inline void Check(bool isOk, const char* what) {
  if (!isOk) {
    std::fprintf(stderr, "failed: %s\n", what);
    std::exit(1);
  }
}

inline double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

/// What `round` measures, the median of ten rounds for each; before them one that does not count.
template <class Round>
auto Medians(Round round) {
  std::array<std::vector<double>, std::tuple_size_v<decltype(round())>> all;
  for (int i = 0; i <= kRounds; ++i) {
    const auto values = round();
    for (std::size_t k = 0; k < all.size() && i > 0; ++k) {
      all[k].push_back(values[k]);
    }
  }
  decltype(round()) medians{};
  for (std::size_t k = 0; k < all.size(); ++k) {
    medians[k] = Median(all[k]);
  }
  return medians;
}

inline std::vector<qorbag::EventMsg> Events(std::size_t count) {
  std::vector<qorbag::EventMsg> events;
  for (std::size_t i = 0; i < count; ++i) {
    auto event = std::make_shared<qorbag::EventDescription>();
    event->eventName = "/bench/event" + std::to_string(i);
    event->eventInfo.dds.topicName = event->eventName;
    events.push_back(qorbag::EventMsg{event});
  }
  return events;
}

/// Takes everything and keeps nothing, through the system as a file does.
class NullDevice : public qorbag::BagOutput {
 public:
  NullDevice() { std::setvbuf(file_, nullptr, _IONBF, 0); }
  ~NullDevice() override { std::fclose(file_); }
  NullDevice(const NullDevice&) = delete;
  NullDevice& operator=(const NullDevice&) = delete;

  bool Write(std::span<const std::uint8_t> bytes) override {
    position_ += bytes.size();
    return std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size();
  }
  bool Seek(std::uint64_t position) override {
    position_ = position;
    return true;
  }
  bool SeekEnd() override { return true; }
  bool Truncate(std::uint64_t /*position*/) override { return true; }
  std::uint64_t Position() const override { return position_; }
  bool Flush() override { return true; }
  bool Sync() override { return true; }
  bool Close() override { return true; }

 private:
  std::FILE* const file_ = std::fopen("/dev/null", "w");
  std::uint64_t position_ = 0;
};

/// Seconds of writing `bytes` bytes in blocks of 1 MiB.
inline double WritePlain(const std::string& name, std::uint64_t bytes) {
  static const std::vector<char> block(kBlock, 'x');
  const auto begin = Clock::now();
  const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  while (bytes > 0) {
    const ssize_t written = ::write(fd, block.data(), std::min<std::uint64_t>(bytes, kBlock));
    Check(written > 0, "writing");
    bytes -= static_cast<std::uint64_t>(written);
  }
  ::close(fd);
  return Seconds(begin);
}

/// Seconds of reading the first `bytes` bytes in blocks of 1 MiB.
inline double ReadPlain(const std::string& name, std::uint64_t bytes) {
  static std::vector<char> block(kBlock, 'x');
  const auto begin = Clock::now();
  const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  while (bytes > 0) {
    const ssize_t count = ::read(fd, block.data(), std::min<std::uint64_t>(bytes, kBlock));
    Check(count > 0, "reading");
    bytes -= static_cast<std::uint64_t>(count);
  }
  ::close(fd);
  return Seconds(begin);
}

}  // namespace qor::bench

#endif
