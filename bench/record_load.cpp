// SPDX-License-Identifier: Apache-2.0
// What the recorder stands.
//
//   record_load [all|rates|disk|splits [FOLDER [ROUNDS]]]
//
// rates: its rate as a share of that of a bare receiver (of the DDS library, or a UDP socket); the same when its writes
// take no time, so without what the medium costs; its rate as a share of that of a bare receiver with plain write() of
// what comes; and whether it drops samples at 0.8 of the bare rate. disk: what becomes of samples that come at twice
// the speed of the disk. splits: whether any is lost or doubled where files are split, at full rate. Each publisher and
// each receiver is a process of its own. Bags are made and removed in FOLDER, otherwise in /dev/shm. Ends with 1 when
// the recorder falls short.
#include <dlfcn.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <thread>

#include "bench/bare_receiver.h"
#include "bench/live_load.h"
#include "platform/com/daemon_link.h"
#include "platform/com/someip/service_records.h"
#include "platform/maintaind/service/node_service.h"
#include "platform/someip/message.h"
#include "src/common/records/codec.h"
#include "src/qorbag/qor_bag_reader.h"
#include "src/qorbag/qor_recorder.h"

namespace {

using namespace qor::bench;
using qor::maintaind::DriverType;
using qor::maintaind::EventRegisterInfo;
using qor::qorbag::QorRecorder;
using qor::qorbag::RecorderOptions;
using qor::qorbag::RecorderStatus;

constexpr std::uint64_t kMebi = std::uint64_t{1} << 20U;

/// Bytes a second that the disk takes; 0: as many as it does; infinity: all at once, and nothing is in the file.
std::atomic<double> diskSpeed{0};

}  // namespace

/// In place of the one of the system, for all files of this program: it is what bags are written with.
extern "C" std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* file) {
  static const auto system = reinterpret_cast<decltype(&fwrite)>(::dlsym(RTLD_NEXT, "fwrite"));
  const double speed = diskSpeed;
  if (std::isinf(speed)) {
    return count;
  }
  if (speed > 0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(static_cast<double>(size * count) / speed));
  }
  return system(data, size, count, file);
}

namespace {

/// What came of a recording.
struct Recorded {
  Received received;
  qor::qorbag::SampleCounts counts;
  std::uint64_t written = 0;
  std::uint64_t lost = 0;  ///< on the way, as far as the transport knows
  bool isWhole = false;
  bool isBalanced = false;  ///< received = written + dropped, for each event and in total
};

EventRegisterInfo SomeipLoadEvent(const std::string& name) {
  EventRegisterInfo event;
  event.eventName = name;
  event.dataTypeName = "Bytes";
  auto& someip = event.bindings[DriverType::kSomeip].someip;
  someip.serviceId = static_cast<std::uint16_t>(0x6000 + ::getpid() % 0x1000);
  someip.instanceId = 1;
  someip.eventId = 0x8001;
  someip.eventGroupIds = {1};
  return event;
}

EventRegisterInfo NewEvent(DriverType driver) {
  static int count = 0;
  const std::string name = "/load/" + std::to_string(::getpid()) + "/" + std::to_string(++count);
  return driver == DriverType::kDds ? DdsLoadEvent(name) : SomeipLoadEvent(name);
}

std::uint64_t MessagesIn(std::span<const std::uint8_t> datagram) {
  constexpr std::size_t kLengthAt = 4;
  std::uint64_t count = 0;
  for (std::size_t at = 0; at + qor::someip::kHeaderSize <= datagram.size(); ++count) {
    std::uint32_t length = 0;
    std::memcpy(&length, &datagram[at + kLengthAt], sizeof length);
    at += kLengthAt + sizeof length + ntohl(length);
  }
  return count;
}

/// Takes datagrams until the process ends, and counts the messages in them.
void CountMessages(BareReceiver& receiver, BlockFile* file, std::atomic<std::uint64_t>& count) {
  while (const std::size_t got = receiver.Receive()) {
    std::uint64_t inBatch = 0;
    for (std::size_t i = 0; i < got; ++i) {
      inBatch += MessagesIn(receiver.Datagram(i));
      if (file != nullptr) {
        file->Append(receiver.Datagram(i));
      }
    }
    count += inBatch;
  }
}

/// A UDP socket that the daemon knows as a subscriber.
Received ReceiveBareSomeip(const EventRegisterInfo& event, BlockFile* file) {
  namespace operation = qor::maintaind::node_operation;
  static BareReceiver receiver(8 << 20);  // the thread that uses it ends with the process
  const auto& someip = event.bindings.at(DriverType::kSomeip).someip;
  qor::maintaind::EventgroupSubscription subscription;
  subscription.service = qor::com::ServiceOf(someip);
  subscription.eventGroupId = 1;
  subscription.address = "127.0.0.1";
  subscription.port = receiver.Port();
  subscription.events = {qor::com::OfferedEventOf(someip)};
  qor::com::DaemonLink::Instance().Put({.key = "bare",
                                        .description = "the bare subscriber",
                                        .registerMethod = operation::SubscribeEventgroup::kMethodId,
                                        .registerPayload = qor::maintaind::Encode(subscription),
                                        .unregisterMethod = operation::UnsubscribeEventgroup::kMethodId,
                                        .unregisterPayload = qor::maintaind::Encode(subscription)});
  std::atomic<std::uint64_t> count{0};
  std::thread(CountMessages, std::ref(receiver), file, std::ref(count)).detach();
  return Watch([&count] { return count.load(); });
}

bool IsBalanced(const qor::qorbag::SampleCounts& counts, std::uint64_t written) {
  return counts.received == written + counts.dropped;
}

/// Records until nothing comes any more.
Recorded Record(const RecorderOptions& options) {
  QorRecorder recorder(options);
  Recorded recorded;
  std::thread running([&] { recorded.isWhole = recorder.Run(); });
  recorded.received = Watch([&recorder] { return recorder.GetStatus().counts.received; });
  recorder.Stop();
  running.join();
  const RecorderStatus status = recorder.GetStatus();
  recorded.counts = status.counts;
  recorded.written = status.written;
  recorded.isBalanced = IsBalanced(status.counts, status.written);
  for (const RecorderStatus::Event& event : status.events) {
    recorded.lost += event.lost;
    recorded.isBalanced = recorded.isBalanced && IsBalanced(event.counts, event.written);
  }
  return recorded;
}

/// A folder for one recording, with nothing in it.
class BagFolder {
 public:
  explicit BagFolder(const std::string& parent) : path_(parent + "/qor_record_load_XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) {
      std::perror(path_.c_str());
      std::exit(1);
    }
    path_ += "/";
  }
  ~BagFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  BagFolder(const BagFolder&) = delete;
  BagFolder& operator=(const BagFolder&) = delete;

  const std::string& Path() const { return path_; }
  /// The bags in the order in which they were written.
  std::vector<std::string> Bags() const {
    std::map<std::size_t, std::map<std::string, int>> byLength;  // run_9 comes before run_10
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      byLength[entry.path().string().size()].emplace(entry.path().string(), 0);
    }
    std::vector<std::string> names;
    for (const auto& [length, some] : byLength) {
      for (const auto& [name, ignored] : some) {
        names.push_back(name);
      }
    }
    return names;
  }

 private:
  std::string path_;
};

RecorderOptions OptionsFor(const BagFolder& folder, const std::vector<EventRegisterInfo>& events) {
  RecorderOptions options;
  options.outputPath = folder.Path();
  options.name = "load";
  options.minSpace = 1;
  for (const auto& event : events) {
    options.events.push_back(event.eventName);
  }
  return options;
}

/// Until a publisher's event is known to the daemon.
void WaitForPublishers() { std::this_thread::sleep_for(std::chrono::milliseconds(700)); }

struct Run {
  Recorded recorded;
  std::uint64_t published = 0;
};

Run RecordLoad(const std::string& parent, DriverType driver, const Load& load, double speed = 0) {
  const BagFolder folder(parent);
  const EventRegisterInfo event = NewEvent(driver);
  Child<std::uint64_t> publisher([&] { return Publish(event, load); });
  WaitForPublishers();
  Child<Recorded> recorder([&] {
    diskSpeed = speed;
    return Record(OptionsFor(folder, {event}));
  });
  const Recorded recorded = recorder.Join();
  return {recorded, publisher.Join()};
}

Received ReceiveBare(DriverType driver, const Load& load, const std::string& file = "") {
  const EventRegisterInfo event = NewEvent(driver);
  const Child<std::uint64_t> publisher([&] { return Publish(event, load); });
  WaitForPublishers();
  const auto receive = [&] {
    const auto blocks = file.empty() ? nullptr : std::make_unique<BlockFile>(file);
    return driver == DriverType::kDds ? ReceiveBareDds(event, blocks.get()) : ReceiveBareSomeip(event, blocks.get());
  };
  return Child<Received>(receive).Join();
}

/// At full rate against bare receivers; then at 0.8 of what the first of them took.
bool MeasureRate(const std::string& parent, DriverType driver, std::size_t size, int rounds) {
  constexpr double kNeeded = 0.9;
  constexpr double kCalm = 0.8;
  constexpr double kFreeDisk = std::numeric_limits<double>::infinity();
  std::vector<Received> bare;
  std::vector<Received> writing;
  std::vector<Received> recorded;
  std::vector<Received> unwritten;
  for (int round = 0; round < rounds; ++round) {
    const BagFolder folder(parent);
    bare.push_back(ReceiveBare(driver, {.size = size}));
    writing.push_back(ReceiveBare(driver, {.size = size}, folder.Path() + "blocks"));
    recorded.push_back(RecordLoad(parent, driver, {.size = size}).recorded.received);
    unwritten.push_back(RecordLoad(parent, driver, {.size = size}, kFreeDisk).recorded.received);
  }
  const double bareRate = MedianOf(bare, &Received::perSecond);
  const double rate = MedianOf(recorded, &Received::perSecond);
  std::printf("%-7s %6zu  %8.0f %5.2f", driver == DriverType::kDds ? "DDS" : "SOME/IP", size, rate, rate / bareRate);
  std::printf(" %5.2f", MedianOf(unwritten, &Received::perSecond) / bareRate);
  std::printf(" %5.2f", rate / MedianOf(writing, &Received::perSecond));
  for (const auto* receivers : {&recorded, &unwritten, &bare, &writing}) {
    std::printf(" %7.2f", MedianOf(*receivers, &Received::cpuMicroseconds));
  }
  const Run calm = RecordLoad(parent, driver, {.size = size, .perSecond = kCalm * bareRate});
  for (const std::uint64_t count : {calm.published, calm.recorded.counts.received, calm.recorded.counts.dropped}) {
    std::printf(" %9llu", static_cast<unsigned long long>(count));
  }
  std::printf("\n");
  std::fflush(stdout);
  return rate >= kNeeded * bareRate && calm.recorded.counts.dropped == 0 && calm.recorded.isBalanced &&
         calm.recorded.isWhole;
}

bool MeasureRates(const std::string& parent, int rounds) {
  std::printf("%23s  share of rate     us of CPU a sample              at 0.8 of the bare rate\n", "");
  std::printf("%-7s %6s  %8s %5s %5s %5s %7s %7s %7s %7s %9s %9s %9s\n", "", "bytes", "rate /s", "bare", "free",
              "write", "", "free", "bare", "write", "published", "received", "dropped");
  bool isGood = true;
  for (const std::size_t size : {std::size_t{64}, std::size_t{1024}, std::size_t{65536}}) {
    isGood = MeasureRate(parent, DriverType::kDds, size, rounds) && isGood;
  }
  return MeasureRate(parent, DriverType::kSomeip, 64, rounds) && isGood;
}

/// The numbers of the samples of an event, in the order in which they lie in the bags.
std::map<std::string, std::vector<std::uint64_t>> NumbersIn(const std::vector<std::string>& bags) {
  std::map<std::string, std::vector<std::uint64_t>> numbers;
  for (const std::string& bag : bags) {
    qor::qorbag::QorBagReader reader(bag);
    if (!reader.Init()) {
      std::fprintf(stderr, "%s cannot be opened\n", bag.c_str());
      return {};
    }
    qor::qorbag::EventMsg message;
    while (reader.ReadEventMsg(message, 0)) {
      std::uint64_t number = 0;
      std::memcpy(&number, message.payload.GetData(), sizeof number);
      numbers[message.event->eventName].push_back(number);
    }
  }
  return numbers;
}

bool GrowsStrictly(const std::vector<std::uint64_t>& numbers) {
  return std::ranges::adjacent_find(numbers, std::greater_equal<>()) == numbers.end();
}

/// Two events, together twice as fast as the disk. What waited longest is dropped, the newest stay.
bool MeasureSlowDisk(const std::string& parent) {
  constexpr double kDisk = 40e6;
  constexpr std::chrono::seconds kDuration{5};
  const BagFolder folder(parent);
  const std::vector<EventRegisterInfo> events{NewEvent(DriverType::kDds), NewEvent(DriverType::kDds)};
  const std::vector<Load> loads{{1024, kDuration, kDisk / 1024}, {65536, kDuration, kDisk / 65536}};
  std::list<Child<std::uint64_t>> publishers;
  for (std::size_t i = 0; i < events.size(); ++i) {
    publishers.emplace_back([&, i] { return Publish(events[i], loads[i]); });
  }
  WaitForPublishers();
  RecorderOptions options = OptionsFor(folder, events);
  options.bufferSize = 16 * kMebi;
  const Recorded recorded = Child<Recorded>([&] {
                              diskSpeed = kDisk;
                              return Record(options);
                            }).Join();
  std::printf("disk of %.0f MB/s, %.0f MB/s published: received %llu = written %llu + dropped %llu: %s\n", kDisk / 1e6,
              2 * kDisk / 1e6, static_cast<unsigned long long>(recorded.counts.received),
              static_cast<unsigned long long>(recorded.written),
              static_cast<unsigned long long>(recorded.counts.dropped), recorded.isBalanced ? "true" : "FALSE");
  bool isGood = recorded.isBalanced && recorded.isWhole && recorded.counts.dropped > 0;
  const auto numbers = NumbersIn(folder.Bags());
  auto publisher = publishers.begin();
  for (const EventRegisterInfo& event : events) {
    const std::uint64_t published = (publisher++)->Join();
    const auto found = numbers.find(event.eventName);
    const bool isNewest =
        found != numbers.end() && GrowsStrictly(found->second) && found->second.back() + 1 == published;
    std::printf("  published %llu, in the bag %zu, in order and with the newest: %s\n",
                static_cast<unsigned long long>(published), found == numbers.end() ? 0 : found->second.size(),
                isNewest ? "true" : "FALSE");
    isGood = isGood && isNewest;
  }
  return isGood;
}

bool MeasureSplits(const std::string& parent) {
  constexpr std::size_t kSize = 1024;
  const BagFolder folder(parent);
  const EventRegisterInfo event = NewEvent(DriverType::kDds);
  Child<std::uint64_t> publisher([&] { return Publish(event, {.size = kSize, .duration = std::chrono::seconds(5)}); });
  WaitForPublishers();
  RecorderOptions options = OptionsFor(folder, {event});
  options.split = true;
  options.maxSize = 4 * kMebi;
  const Recorded recorded = Child<Recorded>([&] { return Record(options); }).Join();
  const auto bags = folder.Bags();
  const auto numbers = NumbersIn(bags);
  const auto found = numbers.find(event.eventName);
  const std::size_t inBags = found == numbers.end() ? 0 : found->second.size();
  const bool isGood = recorded.isWhole && bags.size() > 50 && inBags == recorded.counts.received &&
                      recorded.counts.dropped == 0 && GrowsStrictly(found->second);
  std::printf("%zu bags at %.0f samples of %zu bytes a second: received %llu, in the bags %zu, each once: %s\n",
              bags.size(), recorded.received.perSecond, kSize,
              static_cast<unsigned long long>(recorded.counts.received), inBags, isGood ? "true" : "FALSE");
  return isGood;
}

/// Runs a daemon, with a folder of its own, as long as this process.
void StartDaemon(const std::string& folder) {
  ::setenv("QOR_RUNTIME_DIR", folder.c_str(), 1);
  if (::fork() == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::execl(QOR_MAINTAIND, QOR_MAINTAIND, nullptr);
    std::perror(QOR_MAINTAIND);
    ::_exit(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "all";
  const std::string parent = argc > 2 ? argv[2] : "/dev/shm";
  const int rounds = argc > 3 ? std::max(1, std::atoi(argv[3])) : 3;
  const auto isMeant = [&mode](const char* name) { return mode == "all" || mode == name; };
  ::setenv("QOR_LOG_LEVEL", "error", 0);  // drops are told one by one
  const BagFolder runtime(parent);
  StartDaemon(runtime.Path());
  bool isGood = true;
  if (isMeant("rates")) {
    isGood = MeasureRates(parent, rounds);
  }
  if (isMeant("disk")) {
    isGood = MeasureSlowDisk(parent) && isGood;
  }
  if (isMeant("splits")) {
    isGood = MeasureSplits(parent) && isGood;
  }
  return isGood ? 0 : 1;
}
