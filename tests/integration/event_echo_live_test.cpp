// SPDX-License-Identifier: Apache-2.0
// Echoes in this process, with a daemon and publishers in it too.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/log/log_capture.h"
#include "src/qorevent/qor_event_echo.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/dds_event.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"

namespace qor::qorevent {
namespace {

using test::Eventually;
using EchoResult = QorEventEcho::EchoResult;

/// Publishes numbers without a pause until destroyed.
class BusyPublisher {
 public:
  explicit BusyPublisher(const std::string& eventName) : publisher_(Advertise(eventName)), thread_([this] { Run(); }) {}
  ~BusyPublisher() {
    isRunning_ = false;
    thread_.join();
  }

 private:
  com::Publisher Advertise(const std::string& eventName) {
    maintaind::EventRegisterInfo event;
    event.eventName = eventName;
    event.dataTypeName = "uint16";
    event.bindings[maintaind::DriverType::kDds] = test::DdsEvent({maintaind::TransportQos::kUdp});
    EXPECT_TRUE(Helper::AddConfig(/*isPublisher=*/true, {}, event));
    return node_.Advertise(eventName);
  }
  void Run() {
    const std::vector<std::uint8_t> seven = {7, 0};
    while (isRunning_) {
      static_cast<void>(publisher_.Publish(seven));
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }

  std::atomic<bool> isRunning_{true};
  com::NodeHandle node_{"/busy"};
  com::Publisher publisher_;
  std::thread thread_;
};

TEST(EventEchoLiveTest, AnEchoGoesOnUntilItIsStoppedWhateverElseHappens) {
  const test::RuntimeFolder folder;
  const test::DaemonThread daemon{test::QuietDaemon(1)};
  const log::LogCapture log;
  const BusyPublisher first("/live/first");
  const BusyPublisher second("/live/second");
  QorEventEcho echo;
  ASSERT_TRUE(Eventually(
      [&] { return echo.QueryEvents() && echo.IsKnown("/live/first", {}) && echo.IsKnown("/live/second", {}); }));
  std::atomic<int> firstCount = 0;
  std::atomic<int> secondCount = 0;
  std::atomic<bool> isAsExpected = true;
  const auto onFirst = [&](const std::string& text) {
    isAsExpected = isAsExpected && text == "{ \"/live/first\" : 7 }";
    ++firstCount;
  };
  ASSERT_EQ(echo.Echo("/live/first", {}, onFirst), EchoResult::kEchoing);
  ASSERT_EQ(echo.Echo("/live/second", {}, [&](SampleInfo&&) { ++secondCount; }), EchoResult::kEchoing);
  EXPECT_TRUE(Eventually([&] { return firstCount > 10 && secondCount > 10; }));

  EXPECT_EQ(echo.Echo("/live/first", {}, onFirst), EchoResult::kAlreadyEchoing);
  EXPECT_EQ(log.Count(LogLevel::kWarn, "Event '/live/first' is already in echoing"), 1U);
  EXPECT_EQ(echo.Echo("/live/nobody", {}, onFirst), EchoResult::kUnknownEvent);
  const int goesOn = firstCount;
  EXPECT_TRUE(Eventually([&] { return firstCount > goesOn + 10; }));

  echo.Stop("/live/first");
  const int stopped = firstCount;
  const int others = secondCount;
  EXPECT_TRUE(Eventually([&] { return secondCount > others + 10; })) << "one echo ends, the other does not";
  EXPECT_EQ(firstCount, stopped) << "nothing comes after Stop";
  EXPECT_TRUE(isAsExpected);
}

}  // namespace
}  // namespace qor::qorevent
