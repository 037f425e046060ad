// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_socket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <asio/executor_work_guard.hpp>
#include <asio/ip/udp.hpp>
#include <asio/post.hpp>

#include "platform/someip/sd/sd_runner.h"
#include "tests/support/eventually.h"
#include "tests/support/test_hosts.h"

namespace qor::someip::sd {
namespace {

using test::Eventually;
using test::TestHosts;

constexpr std::uint32_t kTtl = 1;

SdConfig FastConfig() {
  SdConfig config;
  config.timing.initialDelayMax = std::chrono::milliseconds(20);
  config.timing.repetitions = 1;
  config.timing.cyclicOfferPeriod = std::chrono::milliseconds(200);
  config.timing.offerTtl = kTtl;
  return config;
}

/// A service discovery speaker, or listener, on a test host, with a thread of its own there.
class Speaker : public SdListener {
 public:
  Speaker(const TestHosts& hosts, std::size_t host)
      : address_(*Ipv4Address::FromText(TestHosts::Address(host))), guard_(asio::make_work_guard(loop_)) {
    hosts.RunOn(host, [this] { thread_ = std::thread([this] { loop_.run(); }); });
    Do([this] {
      runner_ = std::make_unique<SdRunner>(loop_, FastConfig(),
                                           SdSocketOptions{address_, *Ipv4Address::FromText("224.224.224.245")}, *this);
      const auto opened = runner_->Open();
      EXPECT_TRUE(opened) << (opened ? "" : opened.Error().Message());
    });
  }
  ~Speaker() override {
    Do([this] { runner_.reset(); });
    guard_.reset();
    thread_.join();
  }
  Speaker(const Speaker&) = delete;
  Speaker& operator=(const Speaker&) = delete;

  void Offer(std::uint16_t service) {
    Do([&] {
      OfferedService offered;
      offered.key = {service, 1, 1};
      offered.endpoints.udp = Endpoint{address_, 30501};
      offered.eventgroups.push_back({7, true, false, std::nullopt});
      runner_->Agent().Offer(offered);
    });
  }
  void Subscribe(std::uint16_t service) {
    Do([&] {
      Subscription subscription;
      subscription.service = {service, 1, 1};
      subscription.eventgroup = 7;
      subscription.local.udp = Endpoint{address_, 40000};
      subscription.ttl = kTtl;
      runner_->Agent().Subscribe(subscription);
    });
  }
  void Stop() {
    Do([this] { runner_->Agent().Stop(); });
  }

  std::optional<RemoteService::State> StateOf(std::uint16_t service) {
    std::optional<RemoteService> found;
    Do([&] { found = runner_->Agent().FindService({service, 1, 1}); });
    return found ? std::optional(found->state) : std::nullopt;
  }
  bool IsListenOnly() {
    bool is = false;
    Do([&] { is = runner_->Socket().IsListenOnly(); });
    return is;
  }
  SdSocket::Counters Count() {
    SdSocket::Counters counters;
    Do([&] { counters = runner_->Socket().Count(); });
    return counters;
  }
  Subscription::State SubscriptionState() const { return subscription_; }
  int Reboots() const { return reboots_; }

  void OnServiceOffered(const RemoteService&) override {}
  void OnServiceChanged(const RemoteService&) override {}
  void OnServiceGone(const RemoteService&) override {}
  std::optional<Refusal> OnSubscribe(const Subscriber&) override { return std::nullopt; }
  void OnSubscriberEnded(const Subscriber&, SubscriberEnd) override {}
  void OnSubscriberRefused(const Subscriber&, Refusal) override {}
  void OnSubscriptionState(const Subscription& subscription) override { subscription_ = subscription.state; }
  void OnReboot(Ipv4Address) override { ++reboots_; }
  void OnConflict(const ServiceKey&, std::optional<Ipv4Address>, Ipv4Address) override {}
  void OnFault(Ipv4Address, SdFault) override {}

 private:
  /// On the loop's thread.
  void Do(const std::function<void()>& function) {
    std::promise<void> done;
    asio::post(loop_, [&] {
      function();
      done.set_value();
    });
    done.get_future().wait();
  }

  const Ipv4Address address_;
  asio::io_context loop_;
  asio::executor_work_guard<asio::io_context::executor_type> guard_;
  std::thread thread_;
  std::unique_ptr<SdRunner> runner_;
  std::atomic<Subscription::State> subscription_{Subscription::State::kWaiting};
  std::atomic<int> reboots_{0};
};

class SdSocketTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string reason = TestHosts::Possible(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    hosts_ = std::make_unique<TestHosts>(2);
  }

  std::unique_ptr<TestHosts> hosts_;
};

/// Each way in which a network can go and come back, and then the provider's own end.
TEST_F(SdSocketTest, ServicesExpireWhileTheNetworkIsGoneAndComeBackWithItUntilTheyAreStopped) {
  Speaker one(*hosts_, 0);
  Speaker two(*hosts_, 1);
  one.Offer(0x1001);
  two.Subscribe(0x1001);
  const auto isThere = [&] {
    return two.StateOf(0x1001) == RemoteService::State::kOffered &&
           two.SubscriptionState() == Subscription::State::kAcknowledged;
  };
  const auto isGone = [&] { return two.StateOf(0x1001) == RemoteService::State::kExpired; };
  ASSERT_TRUE(Eventually(isThere));
  for (const std::size_t host : {0U, 1U}) {
    SCOPED_TRACE(host == 0 ? "the network of the provider" : "the network of the consumer");
    hosts_->SetCable(host, false);
    ASSERT_TRUE(Eventually(isGone));
    hosts_->SetCable(host, true);
    ASSERT_TRUE(Eventually(isThere));

    hosts_->SetLink(host, false);
    ASSERT_TRUE(Eventually(isGone));
    hosts_->SetLink(host, true);
    ASSERT_TRUE(Eventually(isThere));

    hosts_->RemoveInterface(host);
    ASSERT_TRUE(Eventually(isGone));
    hosts_->AddInterface(host);
    ASSERT_TRUE(Eventually(isThere));
  }
  EXPECT_GT(one.Count().sendFailures, 0U);
  one.Stop();
  EXPECT_TRUE(Eventually([&] { return two.StateOf(0x1001) == RemoteService::State::kStopped; }));
  EXPECT_FALSE(one.StateOf(0x1001)) << "it heard itself";
  EXPECT_EQ(one.Reboots() + two.Reboots(), 0);
}

TEST_F(SdSocketTest, AnAddressThatComesLaterIsUsed) {
  hosts_->RemoveInterface(0);
  Speaker one(*hosts_, 0);
  Speaker two(*hosts_, 1);
  one.Offer(0x1001);
  hosts_->AddInterface(0);
  EXPECT_TRUE(Eventually([&] { return two.StateOf(0x1001) == RemoteService::State::kOffered; }));
}

TEST_F(SdSocketTest, BesideAnotherSpeakerItOnlyListensAndTakesNothingFromIt) {
  Speaker first(*hosts_, 0);
  Speaker second(*hosts_, 0);
  Speaker remote(*hosts_, 1);
  EXPECT_FALSE(first.IsListenOnly());
  EXPECT_TRUE(second.IsListenOnly());

  second.Offer(0x1009);
  first.Offer(0x1001);
  remote.Offer(0x1002);
  first.Subscribe(0x1002);
  // The acknowledgement is unicast, and the second socket must not have got it.
  EXPECT_TRUE(Eventually([&] { return first.SubscriptionState() == Subscription::State::kAcknowledged; }));
  EXPECT_TRUE(Eventually([&] { return second.StateOf(0x1002) == RemoteService::State::kOffered; }));
  EXPECT_TRUE(Eventually([&] { return second.StateOf(0x1001) == RemoteService::State::kOffered; }));
  EXPECT_TRUE(Eventually([&] { return second.Count().sendFailures > 0; }));
  EXPECT_EQ(second.Count().sent, 0U);
  EXPECT_FALSE(remote.StateOf(0x1009));
  EXPECT_EQ(remote.Reboots(), 0);
}

TEST_F(SdSocketTest, DatagramsFromOtherPortsAreIgnored) {
  Speaker one(*hosts_, 0);
  hosts_->RunOn(1, [] {
    asio::io_context loop;
    asio::ip::udp::socket socket(loop, {asio::ip::make_address_v4(TestHosts::Address(1)), 30491});
    socket.send_to(asio::buffer("x", 1), {asio::ip::make_address_v4(TestHosts::Address(0)), kSdPort});
  });
  EXPECT_TRUE(Eventually([&] { return one.Count().fromOtherPort == 1; }));
  EXPECT_EQ(one.Count().received, 0U);
}

}  // namespace
}  // namespace qor::someip::sd
