// SPDX-License-Identifier: Apache-2.0
// The parts of the player, without a bag and without a wire; time moves by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/ipc/unique_fd.h"
#include "platform/log/log_capture.h"
#include "src/qorbag/message_pacer.h"
#include "src/qorbag/message_preparer.h"
#include "src/qorbag/played_event.h"
#include "src/qorbag/player_option_check.h"
#include "src/qorbag/port_map.h"
#include "src/qorbag/port_range.h"

namespace qor::qorbag {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

/// A clock that stands still but in sleeps, from which it wakes a little late, and during which things happen.
class HandTime : public PlayerTime {
 public:
  static constexpr SteadyNs kLate{3000};

  SteadyNs Now() override { return now_; }
  void SleepUntil(SteadyNs moment) override {
    while (!std::exchange(isWakened_, false)) {
      const auto next = plans_.begin();
      if (next == plans_.end() || next->first > moment) {
        now_ = std::max(now_, moment + kLate);
        return;
      }
      now_ = std::max(now_, next->first);
      const auto action = std::move(next->second);
      plans_.erase(next);
      action();
    }
  }
  void Wake() override { isWakened_ = true; }
  int SetRealTime(std::uint64_t /*milliseconds*/) override { return EPERM; }

  void Jump(milliseconds time) { now_ += time; }
  void At(milliseconds moment, std::function<void()> action) { plans_.emplace(moment, std::move(action)); }

 private:
  SteadyNs now_{0};
  bool isWakened_ = false;
  std::multimap<SteadyNs, std::function<void()>> plans_;
};

class PacingTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kBegin = 1'700'000'000'000;

  /// Plays messages of these times after the first. When each went out, milliseconds; with "!" as a step.
  std::vector<std::string> Play(const std::vector<std::uint64_t>& times) {
    MessagePacer pacer(options_, time_, control_);
    std::vector<std::string> moments;
    pacer.BeginPass(kBegin);
    for (const std::uint64_t time : times) {
      const auto turn = pacer.AwaitTurn(kBegin + time);
      if (turn == MessagePacer::Turn::kStopped || (turn == MessagePacer::Turn::kInTime && !pacer.AwaitMoment())) {
        moments.emplace_back("stopped");
        break;
      }
      if (turn == MessagePacer::Turn::kStep) {
        pacer.BeginStep();
      }
      pacer.FinishMessage();
      const auto now = std::chrono::round<milliseconds>(time_.Now()).count();
      moments.push_back(std::to_string(now) + (turn == MessagePacer::Turn::kStep ? "!" : ""));
    }
    elapsed_ = pacer.ElapsedSeconds();
    return moments;
  }
  void PauseFromTo(int from, int to) {
    time_.At(milliseconds(from), [this] { control_.Pause(); });
    time_.At(milliseconds(to), [this] { control_.Pause(); });
  }
  void StepAt(int at) {
    time_.At(milliseconds(at), [this] { control_.Step(); });
  }

  const log::LogCapture log_;
  PlayerOptions options_;
  HandTime time_;
  PlayControl control_{time_, /*isTracing=*/false};
  double elapsed_ = 0;
};

TEST_F(PacingTest, AnHourAtAnyRateEndsOnTime) {
  for (const double rate : {0.1, 1.0, 10.0, 3.0}) {
    HandTime time;
    PlayControl control(time, false);
    options_.rate = rate;
    MessagePacer pacer(options_, time, control);
    const SteadyNs begin = time.Now();
    pacer.BeginPass(kBegin);
    SteadyNs latest{0};
    for (std::uint64_t at = 0; at <= 3'600'000; at += 997) {
      ASSERT_EQ(pacer.AwaitTurn(kBegin + at), MessagePacer::Turn::kInTime);
      ASSERT_TRUE(pacer.AwaitMoment());
      const SteadyNs due(std::llround(static_cast<double>(at) * 1e6 / rate));
      ASSERT_GE(time.Now() - begin, due) << "too early at rate " << rate;
      latest = std::max(latest, time.Now() - begin - due);
    }
    EXPECT_LE(latest, HandTime::kLate) << "lateness adds up at rate " << rate;
  }
}

TEST_F(PacingTest, AStandstillOfTheProgramDelaysWhatFollowsIt) {
  time_.At(milliseconds(150), [this] { time_.Jump(milliseconds(5000)); });
  EXPECT_THAT(Play({0, 100, 200, 201, 300}), ElementsAre("0", "100", "5200", "5201", "5300"));
}

TEST_F(PacingTest, APauseDelaysWhatFollowsIt) {
  PauseFromTo(50, 10'050);
  EXPECT_THAT(Play({0, 100, 200, 400}), ElementsAre("0", "100", "10200", "10400"))
      << "the message that waits goes out on time";
  EXPECT_DOUBLE_EQ(elapsed_, 0.4);
}

TEST_F(PacingTest, APauseWhileAMessageWaitsChangesNothing) {
  PauseFromTo(120, 180);
  EXPECT_THAT(Play({0, 100, 200, 300}), ElementsAre("0", "100", "200", "300"));
  EXPECT_EQ(log_.Count(LogLevel::kVerbose, "Qorbag play: isPausedStart_ time wait is true"), 1U);
}

TEST_F(PacingTest, StepsPublishOneMessageEachAndKeepTheDistances) {
  StepAt(20);  // not paused: nothing to step
  PauseFromTo(50, 6000);
  StepAt(1000);
  StepAt(3000);
  EXPECT_THAT(Play({0, 100, 200, 300, 400, 500}), ElementsAre("0", "100", "1000!", "3000!", "6100", "6200"))
      << "the pause is counted from the last step on";
}

TEST_F(PacingTest, APauseThatEndsWhileAStepIsPublishedIsNotCountedTwice) {
  MessagePacer pacer(options_, time_, control_);
  pacer.BeginPass(kBegin);
  control_.EnterPause();
  StepAt(60'000);
  ASSERT_EQ(pacer.AwaitTurn(kBegin), MessagePacer::Turn::kStep);
  pacer.BeginStep();
  control_.Pause();
  pacer.FinishMessage();
  ASSERT_EQ(pacer.AwaitTurn(kBegin + 100), MessagePacer::Turn::kInTime);
  ASSERT_TRUE(pacer.AwaitMoment());
  EXPECT_EQ(std::chrono::round<milliseconds>(time_.Now()), milliseconds(60'100));
}

TEST_F(PacingTest, OnlyLongerSilencesAreSkipped) {
  options_.skipEmpty = 2;
  EXPECT_THAT(Play({0, 2000, 4001, 4101, 90'000, 90'500}), ElementsAre("0", "2000", "2000", "2100", "2100", "2600"));
  options_.immediate = true;
  EXPECT_THAT(Play({0, 2000, 90'000}), ElementsAre("2600", "2600", "2600")) << "comes before all others";
}

TEST_F(PacingTest, AFrequencyComesInsteadOfTheTimes) {
  options_.frequency = 8;
  options_.rate = 5;
  EXPECT_THAT(Play({0, 1, 2, 5000}), ElementsAre("125", "250", "375", "500"));
  PauseFromTo(560, 700);
  EXPECT_THAT(Play({0, 1, 2}), ElementsAre("625", "750", "875")) << "begins anew with the pass";
}

TEST_F(PacingTest, StopEndsEveryWait) {
  time_.At(milliseconds(130), [this] { control_.Stop(); });
  EXPECT_THAT(Play({0, 100, 5000}), ElementsAre("0", "100", "stopped"));
  EXPECT_EQ(time_.Now(), milliseconds(130)) << "not at the end of a slice";
  for (double* option : {&options_.frequency, static_cast<double*>(nullptr)}) {
    HandTime time;
    PlayControl control(time, false);
    PlayerOptions options;
    options.frequency = option != nullptr ? 0.01 : 0;
    if (option == nullptr) {
      control.Pause();
    }
    MessagePacer pacer(options, time, control);
    pacer.BeginPass(0);
    time.At(milliseconds(7), [&control] { control.Stop(); });
    const bool isDue = pacer.AwaitTurn(0) == MessagePacer::Turn::kInTime && pacer.AwaitMoment();
    EXPECT_FALSE(isDue);
    EXPECT_EQ(time.Now(), milliseconds(7));
  }
}

TEST_F(PacingTest, TimesThatNoClockReachesDoNoHarm) {
  QorTimeTranslator translator;
  translator.SetTimeRate(0);  // ignored
  translator.SetSystemStartTime(SteadyNs(1));
  translator.SetBagStartTime(10);
  EXPECT_EQ(translator.Translate(12), SteadyNs(2'000'001));
  EXPECT_EQ(translator.Translate(9), SteadyNs(-999'999));
  EXPECT_GT(translator.Translate(UINT64_MAX), std::chrono::hours(24 * 365));
  time_.At(milliseconds(5), [this] { control_.Stop(); });
  EXPECT_THAT(Play({0, UINT64_MAX - kBegin}), ElementsAre("0", "stopped"));
}

TEST(PlayerOptionsTest, EachValueIsHeldAgainstItsBound) {
  const std::vector<std::pair<std::string, std::function<void(PlayerOptions&)>>> faults = {
      {"queueSize", [](auto& o) { o.queueSize = o.maxQueueSize + 1; }},
      {"frequency", [](auto& o) { o.frequency = -1; }},
      {"frequency", [](auto& o) { o.frequency = o.maxFrequency * 2; }},
      {"rate", [](auto& o) { o.rate = 0; }},
      {"rate", [](auto& o) { o.rate = std::numeric_limits<double>::quiet_NaN(); }},
      {"delayTime", [](auto& o) { o.delayTime = -0.1; }},
      {"startTime", [](auto& o) { o.startTime = o.maxStartTime * 2; }},
      {"duration", [](auto& o) { o.duration = -1; }},
      {"skipEmpty", [](auto& o) { o.skipEmpty = -1; }},
      {"changeMode", [](auto& o) { o.changeMode = 4; }},
      {"domainId", [](auto& o) { o.domainId = 64; }},
  };
  EXPECT_TRUE(CheckThePlayerOptions({}));
  PlayerOptions all;
  for (const auto& [name, spoil] : faults) {
    const log::LogCapture log;
    PlayerOptions options;
    spoil(options);
    spoil(all);
    EXPECT_FALSE(CheckThePlayerOptions(options)) << name;
    EXPECT_EQ(log.Count(LogLevel::kError, "Qorplayer PlayerOptions." + name + " is error!"), 1U) << name;
    EXPECT_EQ(log.Lines().size(), 2U) << name;
  }
  const log::LogCapture log;
  EXPECT_FALSE(CheckThePlayerOptions(all));
  EXPECT_EQ(log.CountContaining("Qorplayer PlayerOptions."), 9U) << "every test is run";
}

TEST(PortsTest, ARangeIsTwoNumbersInBrackets) {
  const log::LogCapture log;
  const auto range = CheckInputPortInfo("[0,65534]");
  ASSERT_TRUE(range);
  EXPECT_EQ(range->high, 65534);
  for (const char* text : {"[30010,30000]", "[7,7]", "[65535,65536]", "[1,65535]", "[1,99999999999999999999999]"}) {
    EXPECT_FALSE(CheckInputPortInfo(text)) << text;
  }
  EXPECT_EQ(log.CountContaining("left value should be smaller"), 2U);
  EXPECT_EQ(log.CountContaining("left value is not right!"), 1U);
  EXPECT_EQ(log.CountContaining("right value is not right!"), 2U);
  for (const char* text : {"", "30000-30010", "[30000-30010]", "30000,30010", "[1,2]x", "[-1,2]", "[1, 2]"}) {
    EXPECT_FALSE(CheckInputPortInfo(text)) << text;
    EXPECT_EQ(log.Count(LogLevel::kError, "Port range format " + std::string(text) + " is irregular!"), 1U);
  }
  EXPECT_FALSE(CheckInputPortInfo(std::string(1'000'000, '1')));
}

maintaind::SomeipEventInfo Service(std::uint16_t id, std::uint16_t udp, std::uint16_t tcp) {
  maintaind::SomeipEventInfo event;
  event.serviceId = id;
  event.instanceId = 1;
  event.udpPort = udp;
  event.tcpPort = tcp;
  return event;
}

TEST(PortsTest, PortsThatAreTakenOrNeededTwiceAreReplacedTogether) {
  const log::LogCapture log;
  const auto isInUse = [](std::uint16_t port) { return port == 30001 || port == 501; };
  PortMap map({30002}, isInUse);
  auto first = Service(1, 500, 500);
  auto second = Service(2, 501, 0);
  map.Add(first);
  map.Add(first);  // another event of the service
  EXPECT_TRUE(map.CheckPortStatus());
  EXPECT_EQ(log.CountContaining("Original ports are all available!"), 1U);
  map.Add(second);
  map.Add(Service(3, 500, 0));
  EXPECT_FALSE(map.CheckPortStatus());
  EXPECT_EQ(map.MissingText(), "500, 501");
  EXPECT_EQ(log.Count(LogLevel::kWarn, "Service 2 instance 1 port 501 in use!"), 1U);
  EXPECT_EQ(log.CountContaining("Original ports repeated!"), 1U);

  EXPECT_FALSE(map.GetInputPubPort("[30000,30003]"));
  EXPECT_EQ(log.Count(LogLevel::kError, "Input available ports 2 not enough!"), 1U);
  map.Apply(first);
  EXPECT_EQ(first.udpPort, 500) << "nothing is replaced then";
  ASSERT_TRUE(map.GetInputPubPort("[30000,30004]"));
  map.Apply(first);
  map.Apply(second);
  EXPECT_EQ(first.udpPort, 30000);
  EXPECT_EQ(first.tcpPort, 30000) << "one number stays one";
  EXPECT_EQ(second.udpPort, 30003);
  EXPECT_EQ(second.tcpPort, 0);
}

TEST(PortsTest, AnotherSocketsPortIsInUse) {
  for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
    ipc::UniqueFd socket(::socket(AF_INET, type, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(socket.Get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    EXPECT_TRUE(IsPortInUse(ntohs(address.sin_port)));
    socket = ipc::UniqueFd();
    EXPECT_FALSE(IsPortInUse(ntohs(address.sin_port)));
  }
}

TEST(PreparationTest, MbufMessagesOfOldAndNewBagsBecomeTheSameSample) {
  const log::LogCapture log;
  const Bytes current = {2, 0, 0, 0, 'p', 'q', 3, 0, 0, 0, 'a', 'b', 'c'};
  const Bytes old = {2, 0, 0, 0, 'p', 'q', 'a', 'b', 'c'};
  MessagePreparer preparer;
  const auto prepare = [&](MessagePreparer::Kind kind, std::uint32_t version, const Bytes& bytes) {
    return preparer.PreparePubMsg(kind, version, bytes) ? Bytes(preparer.Payload().begin(), preparer.Payload().end())
                                                        : Bytes{};
  };
  using Kind = MessagePreparer::Kind;
  EXPECT_EQ(prepare(Kind::kRaw, 200, current), current);
  EXPECT_EQ(prepare(Kind::kRaw, 190, old), current);
  EXPECT_EQ(prepare(Kind::kNormal, 190, old), old);
  const Bytes plain = {'p', 'q', 'a', 'b', 'c'};
  EXPECT_EQ(prepare(Kind::kFlattened, 270, current), plain);
  EXPECT_EQ(prepare(Kind::kFlattened, 190, old), plain);
  EXPECT_EQ(prepare(Kind::kRaw, 190, {1, 0, 0, 0, 'p'}), (Bytes{1, 0, 0, 0, 'p'})) << "without a chain";
  for (std::size_t size = 0; size < current.size(); ++size) {
    const Bytes cut(current.begin(), current.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(prepare(Kind::kRaw, 270, cut).empty(), size != 6) << size;
    EXPECT_EQ(prepare(Kind::kRaw, 190, cut).empty(), size < 6) << size;
  }
  EXPECT_EQ(log.CountContaining("private data length > the buffer size"), 1U) << "one line a second at most";
}

TEST(PlayedEventTest, OptionsComeInPlaceOfWhatWasRecorded) {
  Connection recorded;
  recorded.eventName = "/camera/front";
  recorded.dataType = "Image";
  recorded.eventInfo.dds.topicName = "camera_front_raw";
  recorded.eventInfo.dds.domainId = 5;
  recorded.eventInfo.dds.networkIp = "10.1.2.3";
  recorded.eventInfo.dds.transports = {maintaind::TransportQos::kDshmMbuf};
  const PlayedEvent same(recorded, {});
  EXPECT_EQ(same.Binding().dds.domainId, 5);
  EXPECT_TRUE(same.isRaw) << "by its transport alone: older bags have nothing else";

  PlayerOptions options;
  options.domainId = 7;
  options.ddsNet = "10.9.9.9";
  options.queueSize = 3;
  options.changeMode = 3;
  options.eventRenames = {{"/camera/front", "/copy/image"}};
  const PlayedEvent changed(recorded, options);
  const auto& dds = changed.Binding().dds;
  EXPECT_EQ(changed.registration.eventName, "/copy/image");
  EXPECT_EQ(dds.topicName, "copy_image_raw");
  EXPECT_EQ(dds.domainId, 7);
  EXPECT_EQ(dds.networkIp, "10.9.9.9");
  EXPECT_EQ(dds.qos.history.depth, 3U);
  EXPECT_FALSE(changed.isRaw);
  EXPECT_THAT(dds.transports, ElementsAre(maintaind::TransportQos::kShm));
  options.ip = "127.0.0.1";
  EXPECT_EQ(PlayedEvent(recorded, options).Index().networkSegment, "127.0.0.0");
  EXPECT_EQ(RenamedTopic("a/b", "/a/b", "/c/d"), "c/d");
  EXPECT_EQ(RenamedTopic("other", "/a/b", "/c/d"), "/c/d");
}

}  // namespace
}  // namespace qor::qorbag
