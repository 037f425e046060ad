// SPDX-License-Identifier: Apache-2.0
// How late messages are published that a bag has a millisecond apart, against a loop that does nothing but sleep until
// each moment. Both in one process, in turns, on threads of their own; nothing else runs in it. Ends with 1 when the
// 99th percentile is more than twice that of the loop.
#include <sys/prctl.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_player.h"

namespace {

using qor::qorbag::EventDescription;
using qor::qorbag::EventMsg;
using qor::qorbag::PlayerEchoInfo;
using qor::qorbag::PlayerOptions;
using qor::qorbag::PlayerPrintType;
using qor::qorbag::QorBagFile;
using qor::qorbag::QorPlayer;

constexpr int kMessages = 1000;
constexpr int kRounds = 15;
constexpr std::int64_t kPeriodNs = 1'000'000;

bool MakeBag(const std::string& folder, const std::string& file) {
  auto event = std::make_shared<EventDescription>();
  event->eventName = "/bench/play";
  event->dataType = "Bench";
  event->eventInfo.dds.topicName = "bench_play";
  event->eventInfo.dds.domainId = 61;
  QorBagFile bag;
  const std::vector<std::uint8_t> payload(100);
  bool isGood = bag.OpenWrite(file, folder, file) == QorBagFile::kOk;
  for (std::uint64_t i = 0; isGood && i < kMessages; ++i) {
    isGood = bag.Write(EventMsg{event}, 1'700'000'000'000 + i, payload.data(), 100) == QorBagFile::kOk;
  }
  return isGood && bag.CloseWrite() == QorBagFile::kOk;
}

std::int64_t NowNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

/// Adds how late each wake-up was.
void SleepBare(std::vector<std::int64_t>& lateness) {
  prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
  const std::int64_t begin = NowNs();
  for (int i = 0; i < kMessages; ++i) {
    const std::int64_t due = begin + i * kPeriodNs;
    const timespec moment{due / 1'000'000'000, due % 1'000'000'000};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr);
    lateness.push_back(NowNs() - due);
  }
}

/// Adds how late each message was handed to its publisher.
void Play(const std::string& file, std::vector<std::int64_t>& lateness) {
  PlayerOptions options;
  options.files = {file};
  QorPlayer player(options);
  player.RegPrintCallback([&lateness](PlayerPrintType type, const PlayerEchoInfo& info) {
    if (type == PlayerPrintType::kMessage) {
      lateness.push_back(info.lateness.count());
    }
  });
  if (player.InitNodeHandle() && player.OpenRead()) {
    const auto [begin, end] = player.CalculateTime();
    static_cast<void>(player.Run(begin, end));
  }
}

template <class Function>
void OnThreadOfItsOwn(Function function) {
  std::thread(function).join();
}

double Microseconds(std::vector<std::int64_t>& lateness, std::size_t percent) {
  const std::size_t at = std::min(lateness.size() - 1, lateness.size() * percent / 100);
  std::nth_element(lateness.begin(), lateness.begin() + static_cast<std::ptrdiff_t>(at), lateness.end());
  return static_cast<double>(lateness[at]) / 1e3;
}

}  // namespace

int main() {
  std::string folder = std::filesystem::temp_directory_path() / "play_timing_XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    return 1;
  }
  setenv("QOR_RUNTIME_DIR", folder.c_str(), 1);  // no daemon
  const std::string file = folder + "/bench.bag";
  std::vector<std::int64_t> bare;
  std::vector<std::int64_t> played;
  if (MakeBag(folder, file)) {
    for (int round = 0; round < kRounds; ++round) {
      OnThreadOfItsOwn([&] { SleepBare(bare); });
      OnThreadOfItsOwn([&] { Play(file, played); });
    }
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  if (played.size() != std::size_t{kMessages} * kRounds) {
    std::fprintf(stderr, "only %zu messages were published\n", played.size());
    return 1;
  }
  for (const std::size_t percent : {50U, 99U}) {
    std::printf("lateness, percentile %zu: bare sleep %.1f us, player %.1f us\n", percent, Microseconds(bare, percent),
                Microseconds(played, percent));
  }
  const double ratio = Microseconds(played, 99) / Microseconds(bare, 99);
  std::printf("ratio of the 99th percentiles: %.2f (at most 2)\n", ratio);
  return ratio <= 2.0 ? 0 : 1;
}
