// SPDX-License-Identifier: Apache-2.0
// Daemons, applications and tools on several hosts that a network joins.
#include <gmock/gmock.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/child_process.h"
#include "tests/support/eventually.h"
#include "tests/support/sanitizers.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/sd_speaker.h"
#include "tests/support/sd_tap.h"
#include "tests/support/test_hosts.h"

namespace qor {
namespace {

using nlohmann::json;
using someip::sd::EntryType;
using test::ChildProcess;
using test::Eventually;
using test::Finished;
using test::TestHosts;
using testing::HasSubstr;

using Words = std::vector<std::string>;

class SomeipHostsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string reason = TestHosts::Possible(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    hosts_ = std::make_unique<TestHosts>(3);
    std::filesystem::create_directory(deployment_.Path() + "/services");
    std::ofstream(deployment_.Path() + "/services/hosts.json") << R"({"services": [{
        "name": "Small", "someip": {"serviceId": 12289, "instanceId": 1, "networkName": "test", "udpPort": 40001},
        "events": [{"name": "/hosts/small", "someip": {"eventId": 32769, "eventGroups": [1]}}]}]})";
  }

  Words CommandOn(std::size_t host, const Words& command) const {
    Words words{"/usr/bin/env", "QOR_RUNTIME_DIR=" + folders_.at(host).Path(),
                "QOR_DEPLOYMENT_DIR=" + deployment_.Path()};
    words.insert(words.end(), command.begin(), command.end());
    return hosts_->CommandOn(host, std::move(words));
  }
  std::unique_ptr<ChildProcess> Start(std::size_t host, const Words& command) const {
    return std::make_unique<ChildProcess>(CommandOn(host, command));
  }
  /// With service discovery that is quick to see what happens.
  std::unique_ptr<ChildProcess> StartDaemon(std::size_t host) const {
    auto daemon = Start(host, {QOR_MAINTAIND, "--interface", TestHosts::Address(host), "--sd-ttl", "1", "--sd-period",
                               "200", "--sd-initial-delay", "20", "--log-level", "info"});
    EXPECT_TRUE(daemon->WaitForErr("listens on"));
    return daemon;
  }
  std::unique_ptr<ChildProcess> StartNode(std::size_t host, const std::string& role, const Words& event) const {
    Words command{std::string(QOR_TEST_PROGRAMS) + "/someip_node", role};
    command.insert(command.end(), event.begin(), event.end());
    return Start(host, command);
  }
  Finished Run(std::size_t host, const std::string& arguments) const {
    std::istringstream words(arguments);
    Words command{QOR_QOREVENT};
    command.insert(command.end(), std::istream_iterator<std::string>(words), {});
    return test::RunProgram(CommandOn(host, command));
  }
  /// What `qorevent list` says of the event on this host, such as "online /test_pub"; empty when it is not listed.
  std::string Listed(std::size_t host, const std::string& event) const {
    std::istringstream lines(Run(host, "list --json --namespace " + event).out);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
      const json entry = json::parse(line);
      text +=
          (text.empty() ? "" : "; ") + entry["state"].get<std::string>() + " " + entry["publisher"].get<std::string>();
    }
    return text;
  }
  bool WaitForListed(std::size_t host, const std::string& event, const std::string& text) const {
    return Eventually([&] { return Listed(host, event) == text; });
  }
  /// Waits for more whole samples than there were; false when there are bad ones.
  static bool Receives(ChildProcess& subscriber, std::uint64_t more = 5) {
    const auto before = Counts(subscriber)["whole"];
    return Eventually([&] { return Counts(subscriber)["whole"] >= before + more; }) && Counts(subscriber)["bad"] == 0;
  }
  static std::map<std::string, std::uint64_t> Counts(ChildProcess& subscriber) {
    const std::string out = subscriber.Out();
    const auto end = out.rfind('\n');
    std::map<std::string, std::uint64_t> counts;
    if (end == std::string::npos) {
      return counts;
    }
    std::istringstream line(out.substr(out.rfind('\n', end - 1) + 1));
    for (std::pair<std::string, std::uint64_t> entry; line >> entry.second >> entry.first;) {
      counts[entry.first.substr(0, entry.first.find(','))] = entry.second;
    }
    return counts;
  }
  static std::size_t CountIn(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
      ++count;
    }
    return count;
  }

  /// KiB of the program, at most so far.
  static std::size_t PeakMemory(const ChildProcess& program) {
    std::ifstream status("/proc/" + std::to_string(program.Pid()) + "/status");
    std::string line;
    while (std::getline(status, line)) {
      if (line.starts_with("VmHWM:")) {
        return std::stoul(line.substr(6));
      }
    }
    return std::numeric_limits<std::size_t>::max();
  }

  test::ScratchFolder deployment_;
  std::array<test::ScratchFolder, 3> folders_;
  std::unique_ptr<TestHosts> hosts_;

  const Words small_{"/hosts/small", "12289", "32769", "udp", "1", "64"};
  const Words large_{"/hosts/large", "12290", "32770", "tp", "20", "100000"};
  const Words reliable_{"/hosts/reliable", "12291", "32771", "tcp", "5", "1000"};
};

TEST_F(SomeipHostsTest, EventsOfOneHostAreListedAndMeasuredOnAnother) {
  const auto provider = StartDaemon(0);
  const auto consumer = StartDaemon(1);
  std::vector<std::unique_ptr<ChildProcess>> publishers;
  for (const Words& event : {small_, large_, reliable_}) {
    publishers.push_back(StartNode(0, "publish", event));
    ASSERT_TRUE(publishers.back()->WaitForOut("ready"));
  }
  test::SdTap tap(*hosts_, 0);
  for (const Words& event : {small_, large_, reliable_}) {
    SCOPED_TRACE(event.front());
    ASSERT_TRUE(WaitForListed(1, event.front(), "online /test_pub"));
    EXPECT_TRUE(WaitForListed(0, event.front(), "online /test_pub"));
    std::vector<std::unique_ptr<ChildProcess>> tools;
    for (int i = 0; i < 4; ++i) {
      tools.push_back(Start(1, {QOR_QOREVENT, "hz", event.front(), "--count", "1", "--json"}));
    }
    for (const auto& tool : tools) {
      EXPECT_EQ(tool->Wait(), 0) << tool->Err();
      EXPECT_THAT(tool->Out(), HasSubstr("\"lost\":0"));
    }
    const auto subscriber = StartNode(1, "subscribe", event);
    EXPECT_TRUE(Receives(*subscriber));
  }

  std::map<std::uint16_t, std::set<std::string>> subscriptions;
  for (const auto& entry : tap.Take()) {
    if (entry.type == EntryType::kSubscribeEventgroup && entry.ttl != 0) {
      for (const auto& option : entry.options) {
        subscriptions[entry.service].insert(std::get<someip::sd::Ipv4Option>(option).endpoint.Text());
      }
    }
  }
  EXPECT_EQ(subscriptions.size(), 3U);
  for (const auto& [service, endpoints] : subscriptions) {
    EXPECT_LE(endpoints.size(), 2U) << "four tools share one, and the subscriber may come after they have gone";
  }
}

TEST_F(SomeipHostsTest, ALinkThatWasDownAndADaemonThatStartsAnewNeedNoOtherRestart) {
  auto provider = StartDaemon(0);
  const auto consumer = StartDaemon(1);
  const auto publisher = StartNode(0, "publish", small_);
  const auto reliablePublisher = StartNode(0, "publish", reliable_);
  const auto subscriber = StartNode(1, "subscribe", small_);
  const auto reliableSubscriber = StartNode(1, "subscribe", reliable_);
  ASSERT_TRUE(Receives(*subscriber));
  ASSERT_TRUE(Receives(*reliableSubscriber));
  ASSERT_TRUE(WaitForListed(1, small_.front(), "online /test_pub"));

  hosts_->SetLink(0, false);
  EXPECT_TRUE(WaitForListed(1, small_.front(), "offline someip:10.77.0.1"));
  hosts_->SetLink(0, true);
  EXPECT_TRUE(WaitForListed(1, small_.front(), "online /test_pub"));
  EXPECT_TRUE(Receives(*subscriber));
  EXPECT_TRUE(Receives(*reliableSubscriber));
  EXPECT_THAT(consumer->Err(), testing::Not(HasSubstr("has started anew")));

  provider->Signal(SIGKILL);
  provider->Wait();
  provider = StartDaemon(0);
  EXPECT_TRUE(consumer->WaitForErr("has started anew"));
  EXPECT_TRUE(Receives(*subscriber));
  EXPECT_TRUE(Receives(*reliableSubscriber));
  EXPECT_EQ(CountIn(consumer->Err(), "has started anew"), 1U);

  provider->Signal(SIGTERM);
  EXPECT_EQ(provider->Wait(), 0);
  EXPECT_TRUE(WaitForListed(1, small_.front(), "offline someip:10.77.0.1"));
}

TEST_F(SomeipHostsTest, WhatANetworkLosesIsCountedAndNothingIsCorrupt) {
  const auto provider = StartDaemon(0);
  const auto consumer = StartDaemon(1);
  const auto publisher = StartNode(0, "publish", large_);
  const auto subscriber = StartNode(1, "subscribe", {"/hosts/large", "12290", "32770", "tp", "0", "100000"});
  ASSERT_TRUE(Receives(*subscriber));
  EXPECT_EQ(Counts(*subscriber)["lost"], 0U);
  if (!hosts_->SetLoss(1, 10)) {
    GTEST_SKIP() << "this system cannot lose packets";
  }
  EXPECT_TRUE(Eventually([&] { return Counts(*subscriber)["lost"] > 10; }));
  ASSERT_TRUE(hosts_->SetLoss(1, 0));
  EXPECT_TRUE(Receives(*subscriber));
  EXPECT_EQ(Counts(*subscriber)["bad"], 0U);
}

someip::sd::Entry Offer(std::size_t host, std::uint16_t service, std::uint32_t ttl) {
  someip::sd::Entry entry;
  entry.type = EntryType::kOfferService;
  entry.service = service;
  entry.instance = 1;
  entry.major = 1;
  entry.ttl = ttl;
  const auto address = *someip::Ipv4Address::FromText(TestHosts::Address(host));
  entry.options = {someip::sd::Ipv4Option{someip::sd::AddressRole::kEndpoint, {address, 40001}}};
  return entry;
}

TEST_F(SomeipHostsTest, AHostWithoutADaemonIsListedOnceAndItsOfferTellsTheState) {
  const auto one = StartDaemon(0);
  const auto two = StartDaemon(1);
  test::SdSpeaker foreign(*hosts_, 2);
  foreign.Say({Offer(2, 12289, someip::sd::kTtlUntilReboot), Offer(2, 0x7777, someip::sd::kTtlUntilReboot)});
  EXPECT_TRUE(WaitForListed(0, small_.front(), "online someip:10.77.0.3"));
  const auto shown = [&](const std::string& part) {
    return Eventually([&] { return Run(0, "show " + small_.front()).out.find(part) != std::string::npos; });
  };
  EXPECT_TRUE(shown("10.77.0.3")) << Run(0, "show " + small_.front()).out;
  foreign.Say({Offer(2, 12289, 0)});
  EXPECT_TRUE(WaitForListed(1, small_.front(), "offline someip:10.77.0.3"));
  EXPECT_TRUE(shown("stopped")) << Run(0, "show " + small_.front()).out;
}

TEST_F(SomeipHostsTest, BesideAnotherSpeakerTheDaemonListensOnlyAndTakesNothingFromIt) {
  test::SdSpeaker holder(*hosts_, 0);
  test::SdTap tap(*hosts_, 1);
  const auto listener = StartDaemon(0);
  EXPECT_TRUE(listener->WaitForErr("only listening"));
  const auto other = StartDaemon(1);
  const auto publisher = StartNode(1, "publish", small_);
  const auto refused = StartNode(0, "publish", reliable_);
  EXPECT_TRUE(WaitForListed(0, small_.front(), "online /test_pub")) << "of the other host";
  EXPECT_TRUE(WaitForListed(0, reliable_.front(), "online /test_pub"));
  const auto user = StartNode(0, "subscribe", small_);
  EXPECT_TRUE(listener->WaitForErr("cannot be subscribed"));
  EXPECT_TRUE(tap.Take().empty()) << "it spoke";
  const std::vector<std::uint8_t> hello{1, 2, 3};
  test::SdSpeaker(*hosts_, 2).SendBytes(hello, *someip::Ipv4Address::FromText(TestHosts::Address(0)));
  EXPECT_TRUE(Eventually([&] { return holder.Take() == hello; }));
}

TEST_F(SomeipHostsTest, AHostileHostTakesNothingAwayAndFillsNothing) {
  const auto provider = StartDaemon(0);
  const auto consumer = StartDaemon(1);
  const auto publisher = StartNode(0, "publish", small_);
  const auto subscriber = StartNode(1, "subscribe", small_);
  ASSERT_TRUE(Receives(*subscriber));

  test::SdSpeaker hostile(*hosts_, 2);
  for (int round = 0; round < 3; ++round) {
    hostile.Say({Offer(2, 12289, 3), Offer(2, 12289, 0), Offer(0, 12289, 0)});
    std::vector<someip::sd::Entry> flood;
    for (std::uint32_t service = 1; service < 0xF000; ++service) {
      flood.push_back(
          Offer(2, static_cast<std::uint16_t>(service), service % 2 == 0 ? 1 : someip::sd::kTtlUntilReboot));
    }
    std::erase_if(flood, [](const auto& entry) { return entry.service == 12289; });
    for (std::uint32_t i = 0; i < 2000; ++i) {  // a daemon that comes and goes
      flood.push_back(Offer(2, 0xF0A1, i % 2 == 0 ? 3 : 0));
      flood.back().options.emplace_back(someip::sd::ConfigurationOption{{{"instance", "0"}}});
    }
    hostile.Say(flood);
    for (std::size_t size = 0; size < 200; ++size) {
      hostile.SendBytes(std::vector<std::uint8_t>(size, 0xFF));
    }
  }
  EXPECT_TRUE(Receives(*subscriber, 1000));
  EXPECT_TRUE(WaitForListed(1, small_.front(), "online /test_pub"));
  for (const auto* daemon : {provider.get(), consumer.get()}) {
    EXPECT_LT(PeakMemory(*daemon), (test::kIsSanitized ? 400U : 100U) << 10U) << "KiB";
  }
  EXPECT_LT(CountIn(provider->Err(), "\n"), 100U) << provider->Err();
}

}  // namespace
}  // namespace qor
