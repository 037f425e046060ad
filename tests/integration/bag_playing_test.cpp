// SPDX-License-Identifier: Apache-2.0
// Bags that are played over real wires to real subscribers, by the library and by the qorbag program.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/dp/mbuf.h"
#include "platform/log/log_capture.h"
#include "src/qorbag/qor_player.h"
#include "tests/support/child_process.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/dds_event.h"
#include "tests/support/received_samples.h"
#include "tests/support/runtime_folder.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using test::Bytes;
using test::ChildProcess;
using test::Eventually;
using test::Finished;
using test::ReceivedSamples;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Event = std::shared_ptr<EventDescription>;

/// The system's clocks, but the real-time one is not touched.
class HarmlessTime : public SystemPlayerTime {
 public:
  HarmlessTime(int result, std::vector<std::uint64_t>& set) : result_(result), set_(set) {}
  int SetRealTime(std::uint64_t milliseconds) override {
    set_.push_back(milliseconds);
    return result_;
  }

 private:
  const int result_;
  std::vector<std::uint64_t>& set_;
};

/// A player at work.
class Playing {
 public:
  explicit Playing(const PlayerOptions& options, std::unique_ptr<PlayerTime> time = nullptr)
      : player_(options, std::move(time)) {
    player_.RegPrintCallback([this](PlayerPrintType type, const PlayerEchoInfo& /*info*/) {
      const std::lock_guard lock(mutex_);
      prints_.push_back(static_cast<int>(type));
    });
    EXPECT_TRUE(player_.InitNodeHandle());
    EXPECT_TRUE(player_.OpenRead());
    thread_ = std::thread([this] {
      const auto [begin, end] = player_.CalculateTime();
      code_ = player_.Run(begin, end);
    });
  }
  ~Playing() { Stop(); }
  Playing(const Playing&) = delete;
  Playing& operator=(const Playing&) = delete;

  PlayCode Stop() {
    player_.Stop();
    return Wait();
  }
  PlayCode Wait() {
    if (thread_.joinable()) {
      thread_.join();
    }
    return code_;
  }
  QorPlayer& Player() { return player_; }
  std::vector<int> Prints() const {
    const std::lock_guard lock(mutex_);
    return prints_;
  }
  bool HasPrinted(std::size_t count) const {
    return Eventually([&] { return Prints().size() >= count; });
  }

 private:
  QorPlayer player_;
  PlayCode code_ = PlayCode::kDone;
  mutable std::mutex mutex_;
  std::vector<int> prints_;  // guarded by mutex_
  std::thread thread_;
};

/// `qorbag play --pause` on a terminal of its own.
class PlayOnTerminal {
 public:
  explicit PlayOnTerminal(const std::string& bag) {
    int fd = -1;
    pid_ = ::forkpty(&fd, nullptr, nullptr, nullptr);
    if (pid_ == 0) {
      const rlimit none{0, 0};
      ::setrlimit(RLIMIT_CORE, &none);
      ::execl(QOR_QORBAG, "qorbag", "play", bag.c_str(), "--pause", nullptr);
      ::_exit(127);
    }
    terminal_ = ipc::UniqueFd(fd);
    ::fcntl(fd, F_SETFL, O_NONBLOCK);
  }
  ~PlayOnTerminal() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
  }
  PlayOnTerminal(const PlayOnTerminal&) = delete;
  PlayOnTerminal& operator=(const PlayOnTerminal&) = delete;

  bool TakesSingleKeys() const {
    termios mode{};
    EXPECT_EQ(::tcgetattr(terminal_.Get(), &mode), 0);
    return (mode.c_lflag & (ICANON | ECHO)) == 0;
  }
  bool WaitForText(const std::string& part) {
    return Eventually([&] {
      std::array<char, 4096> bytes{};
      const ssize_t size = ::read(terminal_.Get(), bytes.data(), bytes.size());
      text_.append(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
      return text_.find(part) != std::string::npos;
    });
  }
  void Press(const std::string& keys) const {
    ASSERT_EQ(::write(terminal_.Get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  void Signal(int signal) const { ::kill(pid_, signal); }
  /// As of waitpid; -1: it does not end.
  int Wait() {
    int status = -1;
    Eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_ && std::exchange(pid_, -1) > 0; });
    return status;
  }

 private:
  pid_t pid_ = -1;
  ipc::UniqueFd terminal_;
  std::string text_;
};

class BagPlayingTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kBegin = 1'700'000'000'000;

  static Event DdsEvent(const std::string& name, std::vector<maintaind::TransportQos> transports = {}) {
    auto event = std::make_shared<EventDescription>();
    event->eventName = name;
    event->eventInfo = test::DdsEvent(std::move(transports));
    event->dataType = std::exchange(event->eventInfo.dds.typeName, "");
    return event;
  }
  static Event SomeipEvent(const std::string& name, std::uint16_t instance) {
    auto event = std::make_shared<EventDescription>();
    event->eventName = name;
    event->dataType = "Type";
    event->driverType = DriverType::kSomeip;
    auto& someip = event->eventInfo.someip;
    someip.serviceId = static_cast<std::uint16_t>(0x3000 + ::getpid() % 0x1000);
    someip.instanceId = instance;
    someip.eventId = 0x8001;
    someip.eventGroupIds = {1};
    return event;
  }

  /// Message n of each event comes n x `spacing` ms after the first one.
  void MakeBag(const std::vector<std::pair<Event, std::vector<Bytes>>>& events, std::uint64_t spacing = 2,
               FileCompressionType compression = FileCompressionType::kNone) const {
    QorBagFile bag;
    bag.SetCompressionType(compression);
    bag.SetMaxChunkSize(1);
    ASSERT_EQ(bag.OpenWrite(Bag(), folder_.Path(), Bag()), QorBagFile::kOk);
    std::size_t most = 0;
    for (const auto& [event, payloads] : events) {
      most = std::max(most, payloads.size());
    }
    for (std::size_t i = 0; i < most; ++i) {
      for (const auto& [event, payloads] : events) {
        if (i < payloads.size()) {
          const auto size = static_cast<std::uint32_t>(payloads[i].size());
          ASSERT_EQ(bag.Write(EventMsg{event}, kBegin + i * spacing, payloads[i].data(), size), QorBagFile::kOk);
        }
      }
    }
    ASSERT_EQ(bag.CloseWrite(), QorBagFile::kOk);
  }
  static std::vector<Bytes> Numbers(std::uint8_t count) {
    std::vector<Bytes> payloads;
    for (std::uint8_t i = 0; i < count; ++i) {
      payloads.push_back({i, 1, 2, 3});
    }
    return payloads;
  }
  std::string Bag() const { return folder_.File("run.bag"); }
  PlayerOptions Options() const {
    PlayerOptions options;
    options.files = {Bag()};
    return options;
  }

  static maintaind::EventRegisterInfo ConfigOf(const EventDescription& event) {
    maintaind::EventRegisterInfo config;
    config.eventName = event.eventName;
    config.dataTypeName = event.dataType;
    config.bindings[event.driverType] = event.eventInfo;
    return config;
  }
  com::Subscriber Subscribe(const maintaind::EventRegisterInfo& config, ReceivedSamples& received) {
    const std::string path = test::UniqueName("/in/");
    EXPECT_TRUE(Helper::AddConfig(/*isPublisher=*/false, {path, "", ""}, config));
    return node_.Subscribe(path + config.eventName, received.Handler());
  }

  /// Whether the samples are those payloads, again and again, none left out.
  static void ExpectRounds(const std::vector<Bytes>& samples, const std::vector<Bytes>& payloads) {
    ASSERT_FALSE(samples.empty());
    auto next = std::ranges::find(payloads, samples.front());
    for (const Bytes& sample : samples) {
      ASSERT_NE(next, payloads.end());
      ASSERT_EQ(sample, *next);
      next = next + 1 == payloads.end() ? payloads.begin() : next + 1;
    }
  }

  const log::LogCapture log_;
  test::RuntimeFolder folder_;
  std::unique_ptr<test::DaemonThread> daemon_ = std::make_unique<test::DaemonThread>(test::QuietDaemon(1));
  com::NodeHandle node_{"/playing_test"};
};

TEST_F(BagPlayingTest, DdsEventsOfOneNameArriveAsTheyWereRecorded) {
  const Event first = DdsEvent("/same/name");
  const Event second = DdsEvent("/same/name", {maintaind::TransportQos::kUdp});
  second->eventInfo.dds.serviceId = 2;
  const Event mbuf = DdsEvent("/mbuf", {maintaind::TransportQos::kDshmMbuf});
  const auto numbers = Numbers(20);
  const std::vector<Bytes> large = {test::Pattern(300'000, 1), test::Pattern(70'000, 2), test::Pattern(1, 3)};
  const std::vector<Bytes> chains = {{1, 0, 0, 0, 'p', 2, 0, 0, 0, 'a', 'b', 1, 0, 0, 0, 'c'}, {0, 0, 0, 0}};
  MakeBag({{first, numbers}, {second, large}, {mbuf, chains}});
  ReceivedSamples ofFirst;
  ReceivedSamples ofSecond;
  ReceivedSamples ofMbuf;
  auto config = ConfigOf(*mbuf);
  config.bindings[DriverType::kDds].dds.dataMode = maintaind::DataMode::kMbuf;
  const auto subscribers = {&ofFirst, &ofSecond, &ofMbuf};
  const com::Subscriber one = Subscribe(ConfigOf(*first), ofFirst);
  const com::Subscriber two = Subscribe(ConfigOf(*second), ofSecond);
  const com::Subscriber three = Subscribe(config, ofMbuf);
  PlayerOptions options = Options();
  options.loop = true;
  Playing playing(options);
  EXPECT_TRUE(Eventually([&] {
    return std::ranges::all_of(subscribers, [](const auto* received) { return received->Count() >= 60; });
  })) << ofFirst.Count()
      << " " << ofSecond.Count() << " " << ofMbuf.Count();
  EXPECT_EQ(playing.Stop(), PlayCode::kStopped);
  EXPECT_EQ(playing.Player().Failed(), 0U);
  ExpectRounds(ofFirst.Payloads(), numbers);
  ExpectRounds(ofSecond.Payloads(), large);
  ExpectRounds(ofMbuf.Payloads(), chains);
  EXPECT_THAT(ofMbuf.Samples(),
              Contains(testing::Field(&ReceivedSamples::Sample::mbufs, ElementsAre(Bytes{'a', 'b'}, Bytes{'c'}))));
}

TEST_F(BagPlayingTest, SomeipEventsAreProtectedAsTheDaemonKnows) {
  const Event plain = SomeipEvent("/plain", 1);
  const Event guarded = SomeipEvent("/guarded", 2);
  const std::vector<Bytes> payloads = {{1, 2, 3}, test::Pattern(5000), {4}};
  MakeBag({{plain, payloads}, {guarded, payloads}});
  ReceivedSamples ofPlain;
  ReceivedSamples ofGuarded;
  auto config = ConfigOf(*guarded);
  config.bindings[DriverType::kSomeip].someip.e2e = {.isProtected = true, .profile = 4, .dataId = 7};
  const com::Subscriber one = Subscribe(ConfigOf(*plain), ofPlain);
  const com::Subscriber two = Subscribe(config, ofGuarded);
  ASSERT_TRUE(Eventually([&] { return daemon_->Events().size() == 2; }));
  PlayerOptions options = Options();
  options.loop = true;
  Playing playing(options);
  EXPECT_TRUE(ofPlain.WaitForCount(30));
  EXPECT_TRUE(ofGuarded.WaitForCount(30));
  playing.Stop();
  EXPECT_TRUE(playing.Player().HasDaemon());
  ExpectRounds(ofPlain.Payloads(), payloads);
  ExpectRounds(ofGuarded.Payloads(), payloads);
  EXPECT_EQ(ofGuarded.Samples().back().e2eStatus, com::e2e::CheckStatus::kOk);
}

TEST_F(BagPlayingTest, WhatCannotBeReadIsToldOnceAndTheRestIsPlayed) {
  const auto numbers = Numbers(200);
  MakeBag({{DdsEvent("/damaged"), numbers}}, 1, FileCompressionType::kLz4);
  {
    std::fstream file(Bag(), std::ios::binary | std::ios::in | std::ios::out);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    constexpr std::size_t kInTheBlock = 60;
    file.seekp(static_cast<std::streamoff>(bytes.find("chunkStatus=", bytes.size() / 3) + kInTheBlock));
    file << "damaged, as a disk may do";
  }
  Playing playing(Options());
  EXPECT_EQ(playing.Wait(), PlayCode::kDone);
  const QorPlayer& player = playing.Player();
  EXPECT_GT(player.Failed(), 1U);
  EXPECT_GT(player.Published(), 100U);
  EXPECT_EQ(player.Published() + player.Failed(), numbers.size());
  EXPECT_EQ(std::ranges::count(playing.Prints(), 18), 1);
}

TEST_F(BagPlayingTest, WhatIsOfferedLiveIsNotPlayedOver) {
  const Event dds = DdsEvent("/live/dds");
  const Event someip = SomeipEvent("/live/someip", 3);
  MakeBag({{dds, Numbers(1)}, {someip, Numbers(1)}});
  std::vector<com::Publisher> live;
  for (const Event& event : {dds, someip}) {
    ASSERT_TRUE(Helper::AddConfig(/*isPublisher=*/true, {}, ConfigOf(*event)));
    live.push_back(node_.Advertise(event->eventName));
  }
  ASSERT_TRUE(Eventually([&] { return daemon_->Events().size() == 2; }));
  PlayerOptions options = Options();
  Playing all(options);
  EXPECT_EQ(all.Wait(), PlayCode::kLive);
  EXPECT_THAT(all.Player().Routes().LiveEventTexts(),
              ElementsAre(HasSubstr("'/live/dds' (DDS topic"), HasSubstr("'/live/someip' (SOME/IP service 0x3")));
  EXPECT_THAT(all.Prints(), IsEmpty());
  EXPECT_EQ(log_.Count(LogLevel::kVerbose, "Some events are existing."), 1U);

  options.excluded = {"/live/some*"};
  EXPECT_EQ(Playing(options).Wait(), PlayCode::kLive);
  options.eventRenames = {{"/live/dds", "/copied"}};
  {
    Playing renamed(options);
    EXPECT_EQ(renamed.Wait(), PlayCode::kDone);
    EXPECT_THAT(renamed.Prints(), ElementsAre(4, 5, 6, 7));
  }
  options.eventRenames = {};
  options.domainId = 19;
  EXPECT_EQ(Playing(options).Wait(), PlayCode::kDone);
  live.clear();
  ASSERT_TRUE(Eventually(
      [&] { return std::ranges::none_of(daemon_->Events(), &maintaind::EventInfoWithPubSub::isPublisherOnline); }));
  EXPECT_EQ(Playing(Options()).Wait(), PlayCode::kDone);
}

TEST_F(BagPlayingTest, PortsThatAreInUseAreReplaced) {
  const ipc::UniqueFd taken(::socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(::bind(taken.Get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(::getsockname(taken.Get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  const Event event = SomeipEvent("/ports", 4);
  event->eventInfo.someip.udpPort = ntohs(address.sin_port);
  MakeBag({{event, Numbers(1)}});
  Playing refused(Options());
  EXPECT_EQ(refused.Wait(), PlayCode::kPorts);
  EXPECT_EQ(refused.Player().Routes().MissingPorts(), std::to_string(ntohs(address.sin_port)));
  PlayerOptions options = Options();
  options.port = "[20000,29999]";
  options.pause = true;
  Playing playing(options);
  ASSERT_TRUE(playing.HasPrinted(3));
  ASSERT_TRUE(Eventually([&] { return daemon_->Events().size() == 1; }));
  const auto port = daemon_->Events()[0].bindings[DriverType::kSomeip].someip.udpPort;
  EXPECT_THAT(port, AllOf(testing::Ge(20000), testing::Le(29999)));
  EXPECT_EQ(playing.Stop(), PlayCode::kStopped);
}

TEST_F(BagPlayingTest, PausesStepsAndTheClockAreAsAskedFor) {
  daemon_.reset();
  const Event first = DdsEvent("/first");
  const Event traced = DdsEvent("/traced");
  MakeBag({{first, Numbers(3)}, {traced, Numbers(3)}}, 20);
  PlayerOptions options = Options();
  options.pause = true;
  options.adjustClock = true;
  options.startTime = 0.02;
  options.traceEvent = "/traced[7]";
  std::vector<std::uint64_t> set;
  Playing playing(options, std::make_unique<HarmlessTime>(0, set));
  ASSERT_TRUE(playing.HasPrinted(3));
  EXPECT_THAT(playing.Prints(), ElementsAre(4, 5, 6)) << "the last is for the pause";
  QorPlayer& player = playing.Player();
  EXPECT_FALSE(player.HasDaemon());
  EXPECT_EQ(player.Published(), 0U);
  player.Step();
  ASSERT_TRUE(Eventually([&] { return player.Published() == 1; }));
  player.Trace();  // off
  player.Pause();  // goes on
  EXPECT_EQ(playing.Wait(), PlayCode::kDone);
  EXPECT_EQ(player.Published(), 4U);
  EXPECT_EQ(playing.Prints().back(), 7);
  EXPECT_DOUBLE_EQ(player.GetPlayProgress(), 1.0);
  EXPECT_THAT(set, ElementsAre(kBegin + 20));

  options.pause = false;
  options.eventNames = {"/traced"};
  options.delayTime = 0.001;
  Playing stopped(options, std::make_unique<HarmlessTime>(EPERM, set));
  ASSERT_TRUE(Eventually([&] { return stopped.Player().IsPaused(); })) << "at the traced event";
  EXPECT_EQ(stopped.Stop(), PlayCode::kStopped);
  EXPECT_EQ(stopped.Player().ClockError(), EPERM);
  EXPECT_EQ(log_.Count(LogLevel::kError, "[QorPlayer][Set time failed][error=1]"), 1U);
  options.startTime = 10;
  Playing nothing(options);
  EXPECT_EQ(nothing.Wait(), PlayCode::kNoMessage);
  EXPECT_THAT(nothing.Prints(), ElementsAre(2));
}

TEST_F(BagPlayingTest, TheProgramTellsWhatItPlaysAndWhatPreventsIt) {
  const Event event = DdsEvent("/cli/event");
  MakeBag({{event, Numbers(5)}});
  const auto run = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {QOR_QORBAG, "play"});
    return test::RunProgram(arguments);
  };
  const Finished done = run({Bag(), "--json"});
  EXPECT_EQ(done.status, 0) << done.err;
  const auto summary = nlohmann::json::parse(done.out);
  EXPECT_EQ(summary["messages"], 5);
  EXPECT_EQ(summary["complete"], true);
  EXPECT_EQ(done.err, "");

  folder_.Write("no.bag", "no bag at all");
  folder_.Write("new.bag", "#QORBAG V9.9\n");
  for (const auto& [arguments, status, text] : std::vector<std::tuple<std::vector<std::string>, int, std::string>>{
           {{folder_.File("no.bag")}, 1, "cannot be read as a bag"},
           {{folder_.File("new.bag")}, 1, "of version 9.9, the newest that can be read is 2.7"},
           {{folder_.File("none.bag")}, 1, "No such file"},
           {{Bag(), "-e", "/cli/evnt"}, 3, "Did you mean '/cli/event'?"},
           {{Bag(), "-x", "/cli/*"}, 3, "no message is of these events"},
           {{Bag(), "--remap", "/cli/evet:=/x"}, 3, "Did you mean"},
           {{Bag(), "--remap", "/cli/event:=/x", "--remap", "/cli/event:=/y"}, 2, "is given two names"},
           {{Bag(), "-x", "/cli/evet"}, 3, "Did you mean"},
           {{Bag(), "--start", "5"}, 3, "no message"},
           {{Bag(), "--rate", "0"}, 2, "rate"},
           {{Bag(), "--remap", "/a=/b"}, 2, "OLD:=NEW"},
           {{Bag(), "--remap", "/cli/*:=/b"}, 2, "two names"},
           {{Bag(), "--trace", "/cli/*"}, 2, "not a pattern"},
           {{Bag(), "--dds-network", "198.51.100.1"}, 1, "--ip 127.0.0.1"}}) {
    const Finished refused = run(arguments);
    EXPECT_EQ(refused.status, status) << refused.err;
    EXPECT_THAT(refused.err, HasSubstr(text));
  }

  ChildProcess waiting({QOR_QORBAG, "play", Bag(), "--delay", "1000"});
  ASSERT_TRUE(Eventually([&] { return !daemon_->Events().empty(); }));
  waiting.Signal(SIGINT);
  EXPECT_EQ(waiting.Wait(), 130);
  ChildProcess looping({QOR_QORBAG, "play", Bag(), "--loop"});
  ReceivedSamples received;
  const com::Subscriber subscriber = Subscribe(ConfigOf(*event), received);
  ASSERT_TRUE(received.WaitForCount(1));
  const Finished live = run({Bag()});
  EXPECT_EQ(live.status, 1);
  EXPECT_THAT(live.err, AllOf(HasSubstr("already offered live: '/cli/event'"), HasSubstr("--remap")));
  looping.Signal(SIGINT);
  EXPECT_EQ(looping.Wait(), 0) << looping.Err();
  EXPECT_THAT(looping.Out(), HasSubstr("Played "));
  daemon_.reset();
  const Finished alone = run({Bag()});
  EXPECT_EQ(alone.status, 0);
  EXPECT_THAT(alone.err, HasSubstr("warning: no daemon answers"));

  ChildProcess silent({QOR_MAINTAIND});
  ASSERT_TRUE(Eventually([&] { return folder_.Names().contains("maintaind-0.sock"); }));
  silent.Signal(SIGSTOP);
  const Finished unknown = run({Bag()});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.err, HasSubstr("a daemon does not answer"));
}

TEST_F(BagPlayingTest, KeysSteerAndTheTerminalIsAfterwardsAsItWas) {
  MakeBag({{DdsEvent("/keys"), Numbers(5)}});
  for (const int signal : {0, SIGINT, SIGQUIT}) {
    PlayOnTerminal program(Bag());
    ASSERT_TRUE(program.WaitForText("Paused at 0.0 / 0.0 s   0 messages"));
    EXPECT_TRUE(program.TakesSingleKeys());
    program.Press("s");
    ASSERT_TRUE(program.WaitForText("1 message"));
    program.Press("\033[C");
    ASSERT_TRUE(program.WaitForText("2 messages"));
    if (signal != 0) {
      program.Signal(signal);
    } else {
      program.Press("q");
    }
    EXPECT_EQ(program.Wait(), signal == SIGQUIT ? SIGQUIT : 0);
    EXPECT_FALSE(program.TakesSingleKeys()) << signal;
    ASSERT_TRUE(Eventually(
        [&] { return std::ranges::none_of(daemon_->Events(), &maintaind::EventInfoWithPubSub::isPublisherOnline); }));
  }
  PlayOnTerminal program(Bag());
  ASSERT_TRUE(program.WaitForText("Paused"));
  program.Press(" ");
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_TRUE(program.WaitForText("Played 5 messages"));
}

}  // namespace
}  // namespace qor::qorbag
