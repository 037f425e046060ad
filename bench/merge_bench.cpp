// SPDX-License-Identifier: Apache-2.0
// How long merging takes, and how it compares with the rule that looks through the whole list for every record. What
// four daemons report: each event once with its publisher, once offline, and twice with subscribers only.
#include "src/common/merge.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/plain_merge.h"

namespace {

using qor::maintaind::DriverType;
using qor::maintaind::EventInfoWithPubSub;
using EventList = std::vector<EventInfoWithPubSub>;

constexpr int kDaemons = 4;

EventInfoWithPubSub Report(int daemon, int event) {
  EventInfoWithPubSub record;
  record.eventName = "/vehicle/sensors/event_number_" + std::to_string(event);
  record.applicationName = "application_" + std::to_string(event % 100);
  const auto address = "192.168.1." + std::to_string(10 + daemon);
  if (event % 2 == 0) {
    auto& dds = record.bindings[DriverType::kDds].dds;
    dds.serviceId = static_cast<std::uint16_t>(event / 50);
    dds.topicName = record.eventName;
    dds.networkIp = address;
    dds.subnetMask = "255.255.255.0";
    dds.transports = {qor::maintaind::TransportQos::kUdp};
  } else {
    auto& someip = record.bindings[DriverType::kSomeip].someip;
    someip.serviceId = static_cast<std::uint16_t>(event / 50);
    someip.eventId = static_cast<std::uint16_t>(event % 50);
    someip.networkIp = address;
    someip.subnetMask = "255.255.255.0";
  }
  if ((daemon + event) % kDaemons == 0) {
    record.publisher = "/publisher_" + std::to_string(event);
    record.isPublisherOnline = event % 10 != 0;  // some events have no online publisher at all
  } else if ((daemon + event) % kDaemons == 1) {
    record.publisher = "/restarted_" + std::to_string(event);
  } else {
    record.subscribers = {"/subscriber_" + std::to_string(daemon), "/recorder"};
  }
  return record;
}

EventList Reports(int size) {
  EventList list;
  for (int daemon = 0; daemon < kDaemons; ++daemon) {
    for (int event = 0; event < size / kDaemons; ++event) {
      list.push_back(Report(daemon, event));
    }
  }
  return list;
}

/// Pushes everything else out of the processor's caches.
void EmptyCaches() {
  static std::vector<std::uint8_t> other(std::size_t{128} << 20U);
  for (std::size_t i = 0; i < other.size(); i += 64) {
    ++other[i];
  }
  benchmark::DoNotOptimize(other.data());
}

enum class Caches { kAsTheyAre, kEmpty };

template <class Merge>
void Run(benchmark::State& state, Merge merge, Caches caches = Caches::kAsTheyAre) {
  for (auto _ : state) {
    state.PauseTiming();
    EventList list = Reports(static_cast<int>(state.range(0)));
    if (caches == Caches::kEmpty) {
      EmptyCaches();
    }
    state.ResumeTiming();
    merge(list);
    state.PauseTiming();
    state.counters["left"] = static_cast<double>(list.size());
    list = EventList();
    state.ResumeTiming();
  }
}

void Merge(benchmark::State& state) { Run(state, qor::common::MergeEntities<EventInfoWithPubSub>); }
/// The growth with the length alone: 1,000 records fit the caches, 10,000 do not.
void MergeFromEmptyCaches(benchmark::State& state) {
  Run(state, qor::common::MergeEntities<EventInfoWithPubSub>, Caches::kEmpty);
}
void PlainRule(benchmark::State& state) { Run(state, qor::test::PlainMerge::All); }
/// What the memory alone costs: ten times the records do not fit the cache any more.
void CopyOfTheList(benchmark::State& state) {
  Run(state, [](const EventList& list) { benchmark::DoNotOptimize(EventList(list)); });
}

BENCHMARK(Merge)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(MergeFromEmptyCaches)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(CopyOfTheList)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(PlainRule)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
