// SPDX-License-Identifier: Apache-2.0
// How much the middleware adds to its DDS library: one publisher at full speed, received by a bare DataReader and by a
// Subscriber, each in a process of its own, one after the other in every round.
//
//   dds_throughput [ROUNDS [SECONDS]]
#include <cstdio>
#include <cstdlib>

#include "bench/live_load.h"

namespace {

using namespace qor::bench;
using qor::maintaind::EventRegisterInfo;

Received ReceiveBare(const EventRegisterInfo& event) { return ReceiveBareDds(event, nullptr); }

Received ReceiveCom(const EventRegisterInfo& event) {
  std::atomic<std::uint64_t> count{0};
  if (!qor::Helper::AddConfig(false, {}, event)) {
    return {};
  }
  qor::com::NodeHandle node("/bench/receiver");
  const auto subscriber = node.Subscribe(event.eventName, [&count](const qor::com::RecvBuffer&) { ++count; });
  return Watch([&count] { return count.load(); });
}

Received Measure(Received (*receive)(const EventRegisterInfo&), const Load& load) {
  static int run = 0;
  const auto event = DdsLoadEvent("throughput_" + std::to_string(::getpid()) + "_" + std::to_string(++run));
  Child<Received> receiver([&] { return receive(event); });
  const Child<std::uint64_t> publisher([&] { return Publish(event, load); });
  return receiver.Join();
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  const std::chrono::seconds duration(argc > 2 ? std::max(1, std::atoi(argv[2])) : 2);
  std::printf("%8s %14s %14s %7s %14s %14s %7s\n", "bytes", "bare /s", "com /s", "ratio", "bare us CPU", "com us CPU",
              "ratio");
  for (const std::size_t size : {std::size_t{64}, std::size_t{1024}, std::size_t{65536}}) {
    std::vector<Received> bare;
    std::vector<Received> com;
    for (int round = 0; round < rounds; ++round) {
      bare.push_back(Measure(ReceiveBare, {size, duration, 0}));
      com.push_back(Measure(ReceiveCom, {size, duration, 0}));
    }
    const double bareRate = MedianOf(bare, &Received::perSecond);
    const double comRate = MedianOf(com, &Received::perSecond);
    const double bareCpu = MedianOf(bare, &Received::cpuMicroseconds);
    const double comCpu = MedianOf(com, &Received::cpuMicroseconds);
    std::printf("%8zu %14.0f %14.0f %7.2f %14.2f %14.2f %7.2f\n", size, bareRate, comRate, comRate / bareRate, bareCpu,
                comCpu, comCpu / bareCpu);
    std::fflush(stdout);
  }
  return 0;
}
