// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_agent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/someip/sd/outbox.h"
#include "platform/someip/sd/reboot_detector.h"
#include "tests/support/bytes.h"
#include "tests/support/sd_world.h"

namespace qor::someip::sd {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using test::SdWorld;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr Ipv4Address kStranger{0x0A4D0063};

Ipv4Option UdpAt(Ipv4Address address, std::uint16_t port = 30501) {
  return {AddressRole::kEndpoint, {address, port}, TransportProtocol::kUdp};
}
Ipv4Option TcpAt(Ipv4Address address, std::uint16_t port = 30501) {
  return {AddressRole::kEndpoint, {address, port}, TransportProtocol::kTcp};
}

Entry OfferEntry(std::uint16_t service, std::uint32_t ttl, Ipv4Address at = kStranger) {
  Entry entry;
  entry.type = EntryType::kOfferService;
  entry.service = service;
  entry.instance = 1;
  entry.major = 1;
  entry.ttl = ttl;
  entry.options = {UdpAt(at)};
  return entry;
}

Entry SubscribeEntry(std::uint16_t service, std::uint32_t ttl, std::vector<Option> endpoints) {
  Entry entry = OfferEntry(service, ttl);
  entry.type = EntryType::kSubscribeEventgroup;
  entry.eventgroup = 7;
  entry.options = std::move(endpoints);
  return entry;
}

class SdAgentTest : public testing::Test {
 protected:
  /// Without chance in when things begin.
  static SdConfig Config() {
    SdConfig config;
    config.timing.initialDelayMin = milliseconds(100);
    config.timing.initialDelayMax = milliseconds(100);
    return config;
  }
  static OfferedService Service(const SdWorld::Host& host, std::uint16_t service, std::uint16_t instance = 1) {
    OfferedService offered;
    offered.key = {service, instance, 1};
    offered.endpoints.udp = Endpoint{host.At(), 30501};
    offered.eventgroups = {{7, true, false, std::nullopt}};
    return offered;
  }
  static Subscription SubscriptionOf(const SdWorld::Host& host, std::uint16_t service, std::uint32_t ttl = 3) {
    Subscription subscription;
    subscription.service = {service, 1, 1};
    subscription.eventgroup = 7;
    subscription.local.udp = Endpoint{host.At(), 40000};
    subscription.ttl = ttl;
    return subscription;
  }
  /// The entries that a host has sent to another by unicast since the world's record was cleared.
  std::vector<Entry> SentTo(Ipv4Address to) const {
    std::vector<Entry> entries;
    for (const auto& one : world_.sent) {
      if (one.to == to) {
        entries.insert(entries.end(), one.message.entries.begin(), one.message.entries.end());
      }
    }
    return entries;
  }
  /// What a host has told after that time.
  std::string After(Duration time, SdWorld::Host& host) {
    world_.Pass(time);
    return host.TakeTold();
  }
  std::vector<int> OffersOf(std::uint16_t service) const { return world_.TimesOf(EntryType::kOfferService, service); }
  std::vector<int> FindsOf(std::uint16_t service) const { return world_.TimesOf(EntryType::kFindService, service); }
  /// Provider and consumer are past their beginnings, and the consumer has subscribed.
  void Settle(std::uint32_t ttl = 3) {
    one_.Agent().Offer(Service(one_, 0x1001));
    two_.Agent().Subscribe(SubscriptionOf(two_, 0x1001, ttl));
    world_.Pass(seconds(5));
    ASSERT_EQ(one_.TakeTold(), "subscriber host2 of 7;");
    ASSERT_EQ(two_.TakeTold(),
              "offered 1001.1 by host1;subscription 7 waiting for an answer;"
              "subscription 7 acknowledged;");
    world_.sent.clear();
  }

  SdWorld world_{Config()};
  SdWorld::Host& one_ = world_.AddHost(0x0A4D0001);
  SdWorld::Host& two_ = world_.AddHost(0x0A4D0002);
};

// One's own services.

TEST_F(SdAgentTest, OffersGoThroughTheirPhasesTogether) {
  world_.Restart(one_);
  one_.Agent().Offer(Service(one_, 0x1001));
  one_.Agent().Offer(Service(one_, 0x1002));
  world_.Pass(milliseconds(1400));
  EXPECT_THAT(OffersOf(0x1001), ElementsAre(100, 130, 190, 310, 1310));
  EXPECT_EQ(OffersOf(0x1002), OffersOf(0x1001));
  EXPECT_EQ(world_.sent.size(), 5U) << "both in each message";
  for (std::size_t i = 0; i < world_.sent.size(); ++i) {
    EXPECT_EQ(world_.sent[i].message.session, i + 1);
    EXPECT_TRUE(world_.sent[i].message.isReboot);
  }
  // A later one has phases of its own and then joins the cycle.
  one_.Agent().Offer(Service(one_, 0x1003));
  world_.Pass(milliseconds(2000));
  EXPECT_THAT(OffersOf(0x1003), ElementsAre(1500, 1530, 1590, 1710, 2310, 3310));

  world_.sent.clear();
  one_.Agent().StopOffer({0x1001, 1, 1});
  one_.Agent().StopOffer({0x1001, 1, 1});
  one_.Agent().Offer(Service(one_, 0x1004));
  one_.Agent().StopOffer({0x1004, 1, 1});  // nobody has heard of it
  one_.Agent().Stop();
  world_.Pass(seconds(5));
  ASSERT_EQ(world_.sent.size(), 2U);
  for (const auto& one : world_.sent) {
    EXPECT_EQ(one.message.entries[0].ttl, 0U);
  }
  EXPECT_THAT(OffersOf(0x1001), ElementsAre(3400));
  EXPECT_THAT(OffersOf(0x1002), ElementsAre(3400));
  EXPECT_EQ(one_.Agent().NextWakeUp(), std::nullopt);
}

TEST_F(SdAgentTest, AChangedOfferIsAnnouncedAtOnceAndOnlyANewEndpointEndsSubscribers) {
  Settle();
  OfferedService changed = Service(one_, 0x1001);
  changed.minor = 9;
  changed.configuration = {{"key", "value"}};
  one_.Agent().Offer(changed);
  EXPECT_EQ(After(milliseconds(0), two_), "changed 1001.1;");
  EXPECT_EQ(two_.Agent().FindService({0x1001, 1, 1})->configuration, changed.configuration);
  EXPECT_EQ(two_.Agent().FindService({0x1001, 1, 1})->minor, 9U);
  changed.endpoints.udp->port = 30999;
  one_.Agent().Offer(changed);
  EXPECT_EQ(After(seconds(1), one_), "subscriber host2 service stopped;subscriber host2 of 7;");
  EXPECT_THAT(two_.TakeTold(), HasSubstr("gone 1001.1 stopped;offered 1001.1 by host1;"));
  changed.eventgroups.clear();
  one_.Agent().Offer(changed);
  EXPECT_EQ(one_.TakeTold(), "subscriber host2 service stopped;");
}

TEST_F(SdAgentTest, FindsAreAnsweredToTheAskerOnceOffersHaveBegun) {
  one_.Agent().Offer(Service(one_, 0x1001, 1));
  one_.Agent().Offer(Service(one_, 0x1001, 2));
  one_.Agent().Offer(Service(one_, 0x1002));
  Entry find = OfferEntry(0x1001, 3);
  find.type = EntryType::kFindService;
  find.options.clear();
  world_.Inject(one_, two_.At(), true, {find});
  EXPECT_EQ(After(milliseconds(50), two_), "");
  world_.Pass(milliseconds(500));

  const auto answersTo = [&](bool isMulticast, std::uint16_t instance, std::uint8_t major, std::uint32_t minor) {
    world_.sent.clear();
    find.instance = instance;
    find.major = major;
    find.minor = minor;
    world_.Inject(one_, two_.At(), isMulticast, {find, find});
    world_.Inject(one_, two_.At(), isMulticast, {find});
    EXPECT_THAT(SentTo(two_.At()), IsEmpty()) << "what is asked together is answered together";
    world_.Pass(milliseconds(isMulticast ? 20 : 0));
    EXPECT_LE(world_.sent.size(), 1U);
    return SentTo(two_.At()).size();
  };
  EXPECT_EQ(answersTo(true, kAnyInstance, kAnyMajor, kAnyMinor), 2U);
  EXPECT_EQ(answersTo(false, kAnyInstance, kAnyMajor, kAnyMinor), 2U);
  EXPECT_EQ(answersTo(false, 2, 1, 0), 1U);
  EXPECT_EQ(answersTo(false, 3, kAnyMajor, kAnyMinor), 0U);
  EXPECT_EQ(answersTo(false, 2, 2, kAnyMinor), 0U);
  EXPECT_EQ(answersTo(false, 2, 1, 5), 0U);
}

// Subscriptions by others.

TEST_F(SdAgentTest, WhatDoesNotFitIsRefused) {
  OfferedService service = Service(one_, 0x1001);
  service.endpoints.tcp = Endpoint{one_.At(), 30501};
  service.eventgroups.push_back({8, true, true, std::nullopt});
  one_.Agent().Offer(service);
  one_.Agent().Offer(Service(one_, 0x1002));
  world_.Pass(seconds(1));
  const Option udp = UdpAt(kStranger);
  const Option tcp = TcpAt(kStranger);
  const auto verdictOn = [&](std::uint16_t serviceId, std::vector<Option> endpoints, auto change) {
    world_.sent.clear();
    one_.TakeTold();
    Entry entry = SubscribeEntry(serviceId, 3, std::move(endpoints));
    entry.counter = 3;
    change(entry);
    world_.Inject(one_, kStranger, false, {entry});
    const std::vector<Entry> answers = SentTo(kStranger);
    const std::string told = one_.TakeTold();
    const bool isAccepted = told == "subscriber host99 of " + std::to_string(entry.eventgroup) + ";";
    EXPECT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers.at(0).ttl, isAccepted ? 3U : 0U);
    EXPECT_EQ(answers.at(0).counter, 3);
    EXPECT_EQ(answers.at(0).eventgroup, entry.eventgroup);
    return isAccepted ? "accepted" : told;
  };
  const auto asItIs = [](Entry&) {};
  const auto inEventgroup = [](std::uint16_t id) { return [id](Entry& entry) { entry.eventgroup = id; }; };
  const auto refused = [](Refusal reason) { return std::string("refused host99 ") + Text(reason) + ";"; };

  EXPECT_EQ(verdictOn(0x1009, {udp}, asItIs), refused(Refusal::kUnknownService));
  EXPECT_EQ(verdictOn(0x1001, {udp}, [](Entry& entry) { entry.instance = 2; }), refused(Refusal::kUnknownService));
  EXPECT_EQ(verdictOn(0x1001, {udp}, [](Entry& entry) { entry.major = 2; }), refused(Refusal::kWrongMajorVersion));
  EXPECT_EQ(verdictOn(0x1001, {udp}, inEventgroup(9)), refused(Refusal::kUnknownEventgroup));
  EXPECT_EQ(verdictOn(0x1001, {}, asItIs), refused(Refusal::kMissingEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {tcp}, asItIs), refused(Refusal::kMissingEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {udp}, inEventgroup(8)), refused(Refusal::kMissingEndpoint));
  EXPECT_EQ(verdictOn(0x1002, {udp, tcp}, asItIs), refused(Refusal::kUnfitEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {udp, UdpAt(kStranger, 1)}, asItIs), refused(Refusal::kUnfitEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {UdpAt(kStranger, 0)}, asItIs), refused(Refusal::kUnfitEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {udp, Ipv4Option{AddressRole::kEndpoint, {kStranger, 1}, TransportProtocol{99}}}, asItIs),
            refused(Refusal::kUnfitEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {UdpAt({0xEFC00001})}, asItIs), refused(Refusal::kUnfitEndpoint));
  EXPECT_EQ(verdictOn(0x1001, {UdpAt(two_.At())}, asItIs), refused(Refusal::kForeignAddress));
  EXPECT_EQ(verdictOn(0x1001, {udp, TcpAt(two_.At())}, inEventgroup(8)), refused(Refusal::kForeignAddress));
  one_.answer = Refusal::kNotConnected;
  EXPECT_EQ(verdictOn(0x1001, {udp, tcp}, inEventgroup(8)),
            "subscriber host99 of 8;" + refused(Refusal::kNotConnected));
  EXPECT_EQ(one_.Agent().Count().subscribers, 0U);
  one_.answer.reset();
  EXPECT_EQ(verdictOn(0x1001, {udp, tcp}, inEventgroup(8)), "accepted");
  EXPECT_EQ(verdictOn(0x1001, {udp, tcp}, asItIs), "accepted");

  // An entry whose option is not there: the index is raised beyond the last one.
  SdMessageWriter writer;
  ASSERT_TRUE(writer.Add(SubscribeEntry(0x1001, 3, {udp})));
  auto bytes = writer.Finish(0, false);
  bytes[kHeaderSize + 8 + 1] = 5;
  one_.Agent().OnDatagram(kStranger, false, bytes);
  EXPECT_THAT(one_.TakeTold(), HasSubstr(refused(Refusal::kInvalidOptions)));
  world_.sent.clear();
  world_.Inject(one_, kStranger, true, {SubscribeEntry(0x1001, 3, {udp})});
  EXPECT_THAT(SentTo(kStranger), IsEmpty()) << "a subscription by multicast is none";
}

TEST_F(SdAgentTest, SubscribersAreCountedAndEndOnce) {
  world_.config.limits.subscribers = 5;
  world_.Restart(one_);
  one_.Agent().Offer(Service(one_, 0x1001));
  world_.Pass(seconds(1));
  const auto subscribe = [&](std::uint32_t host, std::uint16_t port, std::uint8_t counter, std::uint32_t ttl) {
    Entry entry = SubscribeEntry(0x1001, ttl, {UdpAt({host}, port)});
    entry.counter = counter;
    world_.Inject(one_, {host}, false, {entry});
    return one_.TakeTold();
  };
  const std::string accepted = "subscriber host99 of 7;";
  EXPECT_EQ(subscribe(kStranger.value, 1, 0, 3), accepted);
  EXPECT_EQ(subscribe(kStranger.value, 1, 0, 3), "") << "a renewal";
  EXPECT_EQ(subscribe(kStranger.value, 2, 0, kTtlUntilReboot), accepted);
  EXPECT_EQ(subscribe(kStranger.value, 1, 1, 9), accepted);
  EXPECT_THAT(subscribe(kStranger.value, 3, 0, 3), HasSubstr(Text(Refusal::kTooManyFromHost)));
  EXPECT_THAT(subscribe(0x0A4D0064, 1, 0, 3), HasSubstr("host100 of"));
  EXPECT_THAT(subscribe(0x0A4D0065, 1, 0, 3), HasSubstr("host101 of"));
  EXPECT_THAT(subscribe(0x0A4D0066, 1, 0, 3), HasSubstr(Text(Refusal::kTooMany)));

  EXPECT_EQ(subscribe(0x0A4D0064, 2, 0, 0), "") << "not that endpoint";
  EXPECT_EQ(subscribe(0x0A4D0064, 1, 0, 0), "subscriber host100 unsubscribed;");
  Entry withoutEndpoints = SubscribeEntry(0x1001, 0, {});
  world_.Inject(one_, {0x0A4D0065}, false, {withoutEndpoints});
  EXPECT_EQ(one_.TakeTold(), "subscriber host101 unsubscribed;");

  EXPECT_EQ(After(milliseconds(2999), one_), "");
  EXPECT_EQ(subscribe(kStranger.value, 1, 1, 3), "") << "renewed for a shorter time";
  EXPECT_EQ(After(milliseconds(1), one_), "subscriber host99 expired;");
  EXPECT_EQ(After(seconds(3), one_), "subscriber host99 expired;");
  world_.Pass(std::chrono::hours(1));
  ASSERT_EQ(one_.Agent().Subscribers().size(), 1U);
  EXPECT_EQ(one_.Agent().Subscribers()[0].endpoints.udp->port, 2);
  one_.Agent().StopOffer({0x1001, 1, 1});
  one_.Agent().Stop();
  EXPECT_EQ(one_.TakeTold(), "subscriber host99 service stopped;");
}

// Other hosts' services.

TEST_F(SdAgentTest, OffersAreLearntUntilTheyEnd) {
  one_.Agent().Offer(Service(one_, 0x1001));
  EXPECT_EQ(After(milliseconds(100), two_), "offered 1001.1 by host1;");
  const auto learnt = two_.Agent().FindService({0x1001, 1, 1});
  ASSERT_TRUE(learnt);
  EXPECT_EQ(learnt->host, one_.At());
  EXPECT_EQ(learnt->endpoints.udp, (Endpoint{one_.At(), 30501}));
  world_.Pass(minutes(1));
  one_.isConnected = false;
  EXPECT_EQ(After(milliseconds(2000), two_), "");
  EXPECT_EQ(After(milliseconds(1000), two_), "gone 1001.1 expired;");
  EXPECT_EQ(two_.Agent().FindService({0x1001, 1, 1})->state, RemoteService::State::kExpired);
  one_.isConnected = true;
  EXPECT_EQ(After(seconds(1), two_), "offered 1001.1 by host1;");
  one_.Agent().Stop();
  EXPECT_EQ(After(seconds(0), two_), "gone 1001.1 stopped;");

  world_.Inject(two_, kStranger, true, {OfferEntry(0x1002, kTtlUntilReboot)});
  EXPECT_EQ(After(std::chrono::hours(24 * 365), two_), "offered 1002.1 by host99;");
}

TEST_F(SdAgentTest, OnlyItsHostDecidesAboutAService) {
  one_.Agent().Offer(Service(one_, 0x1001));
  two_.Agent().Offer(Service(two_, 0x1002));
  EXPECT_EQ(After(seconds(1), two_), "offered 1001.1 by host1;");

  world_.Inject(two_, kStranger, true, {OfferEntry(0x1001, 0)});
  EXPECT_EQ(two_.TakeTold(), "") << "a forged stop";
  world_.Inject(two_, kStranger, true, {OfferEntry(0x1001, 3), OfferEntry(0x1002, 3)});
  EXPECT_EQ(two_.TakeTold(), "conflict 1001.1 of host1 with host99;conflict 1002.1 of us with host99;");
  EXPECT_EQ(two_.Agent().FindService({0x1001, 1, 1})->host, one_.At());
  EXPECT_FALSE(two_.Agent().FindService({0x1002, 1, 1}));

  one_.Agent().Stop();
  world_.Pass(seconds(0));
  world_.Inject(two_, kStranger, true, {OfferEntry(0x1001, 3)});
  EXPECT_EQ(two_.TakeTold(), "gone 1001.1 stopped;offered 1001.1 by host99;");
}

TEST_F(SdAgentTest, FindsAreSentUntilAMatchingServiceIsOffered) {
  world_.Restart(two_);
  two_.Agent().Require({0x1001});
  two_.Agent().Require({0x1002, 2});
  world_.Pass(milliseconds(120));
  one_.Agent().Offer(Service(one_, 0x1001));
  one_.Agent().Offer(Service(one_, 0x1002));
  world_.Pass(seconds(10));
  EXPECT_THAT(FindsOf(0x1001), ElementsAre(100, 130, 190));
  EXPECT_THAT(FindsOf(0x1002), ElementsAre(100, 130, 190, 310)) << "other instance";

  world_.sent.clear();
  one_.Agent().StopOffer({0x1001, 1, 1});
  world_.Pass(seconds(10));
  EXPECT_THAT(FindsOf(0x1001), IsEmpty()) << "it will say when it is back";
  one_.Agent().Offer(Service(one_, 0x1001));
  world_.Pass(seconds(1));
  one_.isConnected = false;
  world_.Pass(seconds(10));
  EXPECT_EQ(FindsOf(0x1001).size(), 4U) << "it went without a word";

  world_.sent.clear();
  two_.Agent().Release({0x1001});
  one_.isConnected = true;
  one_.Agent().OnNetworkUp();
  two_.Agent().OnNetworkUp();
  world_.Pass(milliseconds(320));
  EXPECT_THAT(FindsOf(0x1001), IsEmpty());
  const int begun = FindsOf(0x1002).at(0);
  EXPECT_THAT(FindsOf(0x1002), ElementsAre(begun, begun + 30, begun + 90, begun + 210)) << "the phases begin anew";
  EXPECT_EQ(OffersOf(0x1001), FindsOf(0x1002));
}

// Own subscriptions.

TEST_F(SdAgentTest, SubscriptionsAreRenewedWithEachOfferUntilTheyAreEnded) {
  Settle();
  EXPECT_EQ(After(minutes(1), one_) + two_.TakeTold(), "");
  const auto requests = SentTo(one_.At());
  EXPECT_EQ(requests.size(), 60U);
  EXPECT_EQ(SentTo(two_.At()).size(), 60U);
  world_.sent.clear();
  two_.Agent().Unsubscribe({0x1001, 1, 1}, 7);
  EXPECT_EQ(After(seconds(10), one_), "subscriber host2 unsubscribed;");
  ASSERT_EQ(SentTo(one_.At()).size(), 1U);
  EXPECT_EQ(SentTo(one_.At())[0].ttl, 0U);
  EXPECT_EQ(SentTo(one_.At())[0].options, requests[0].options);
}

TEST_F(SdAgentTest, SubscriptionsFollowTheirService) {
  Settle();
  one_.Agent().StopOffer({0x1001, 1, 1});
  EXPECT_EQ(After(seconds(5), one_), "subscriber host2 service stopped;");
  EXPECT_EQ(two_.TakeTold(), "subscription 7 waiting for the service;gone 1001.1 stopped;");
  OfferedService withMulticast = Service(one_, 0x1001);
  withMulticast.eventgroups[0].multicast = Endpoint{{0xEFC00001}, 30502};
  one_.Agent().Offer(withMulticast);
  EXPECT_THAT(After(seconds(5), two_), HasSubstr("subscription 7 acknowledged 239.192.0.1;"));

  two_.isConnected = false;
  EXPECT_EQ(After(seconds(5), one_), "subscriber host2 of 7;subscriber host2 expired;");
  EXPECT_THAT(two_.TakeTold(), HasSubstr("subscription 7 waiting for the service;gone 1001.1 expired;"));
  two_.isConnected = true;
  EXPECT_THAT(After(seconds(5), two_), HasSubstr("subscription 7 acknowledged 239.192.0.1;"));
  EXPECT_EQ(one_.TakeTold(), "subscriber host2 of 7;");
}

TEST_F(SdAgentTest, ARefusedSubscriptionIsTriedAgainWithTheNextOffer) {
  one_.answer = Refusal::kNotNow;
  one_.Agent().Offer(Service(one_, 0x1001));
  two_.Agent().Subscribe(SubscriptionOf(two_, 0x1001));
  EXPECT_EQ(After(seconds(5), two_),
            "offered 1001.1 by host1;subscription 7 waiting for an answer;subscription 7 refused;");
  one_.answer.reset();
  EXPECT_EQ(After(seconds(1), two_), "subscription 7 acknowledged;");
  Entry ack = SubscribeEntry(0x1001, 0, {});
  ack.type = EntryType::kSubscribeEventgroupAck;
  world_.Inject(two_, kStranger, false, {ack});
  world_.Inject(two_, one_.At(), true, {ack});
  EXPECT_EQ(two_.TakeTold(), "") << "answers from elsewhere, and by multicast, are none";
}

TEST_F(SdAgentTest, SubscriptionsOutliveSlowOffersAndLostAnswers) {
  world_.config.timing.cyclicOfferPeriod = milliseconds(0);
  world_.config.timing.offerTtl = kTtlUntilReboot;
  for (const std::uint32_t ttl : {3U, kTtlUntilReboot}) {
    world_.Restart(one_);
    world_.Restart(two_);
    one_.Agent().Offer(Service(one_, 0x1001));
    int answers = 0;
    world_.lose = [&](const SdWorld::Sent& message) {
      return message.to && message.message.entries[0].type == EntryType::kSubscribeEventgroupAck && ++answers < 6;
    };
    two_.Agent().Subscribe(SubscriptionOf(two_, 0x1001, ttl));
    world_.Pass(minutes(1));
    EXPECT_EQ(two_.TakeTold(),
              "offered 1001.1 by host1;subscription 7 waiting for an answer;"
              "subscription 7 acknowledged;");
    EXPECT_EQ(one_.TakeTold(), "subscriber host2 of 7;");
    two_.Agent().Stop();
    EXPECT_EQ(one_.Agent().Count().subscribers, 1U);
    world_.Pass(milliseconds(0));
    EXPECT_EQ(one_.TakeTold(), "subscriber host2 unsubscribed;");
  }
}

// Sessions and reboots.

TEST(SdSessionTest, SessionsWrapToOneWithoutTheRebootFlag) {
  SessionCounter counter;
  for (std::uint32_t i = 0; i < 0x30000; ++i) {
    const auto session = counter.Next();
    ASSERT_EQ(session.number, i % 0xFFFF + 1);
    ASSERT_EQ(session.isReboot, i < 0xFFFF);
  }
}

TEST(SdSessionTest, RebootsAreSeenInFlagAndSession) {
  // What a host sends, by multicast or unicast, its session and whether it has the flag; "!" where a reboot is seen.
  for (const std::string messages : {
           "m1r m2r m9r",                // gaps are losses
           "m5r m5r! m6r",               // did not grow
           "m5r m1r! m2r",               //
           "m5 m6r! m7r",                // the flag came
           "m65535r m1 m2",              // the sessions wrap
           "m9 m3",                      // no flag, no reboot
           "m9r u1r m10r",               // each kind counts for itself
           "m9r u9r m1r! u1r u1r! m1r",  // one reboot, seen once
           "u9r u0r u10r",               // without sessions
       }) {
    RebootDetector detector(2);
    std::istringstream words(messages);
    for (std::string word; words >> word;) {
      const auto session = static_cast<std::uint16_t>(std::stoi(word.substr(1)));
      EXPECT_EQ(detector.OnMessage({1}, word[0] == 'm', session, word.find('r') != word.npos), word.ends_with('!'))
          << word << " of " << messages;
    }
  }
  RebootDetector detector(2);
  for (const std::uint32_t host : {1U, 2U, 1U, 3U}) {
    detector.OnMessage({host}, true, detector.HostCount() + host == 2 ? 6 : 5, true);
  }
  EXPECT_EQ(detector.HostCount(), 2U);
  EXPECT_TRUE(detector.OnMessage({1}, true, 1, true)) << "2 was silent longest and is forgotten";
}

TEST_F(SdAgentTest, ARebootEndsWhatTheHostHadOnceAndItComesBack) {
  Settle(kTtlUntilReboot);
  two_.Agent().Offer(Service(two_, 0x1002));
  world_.Pass(seconds(2));
  one_.TakeTold();
  world_.Restart(two_);
  two_.Agent().Offer(Service(two_, 0x1002));
  two_.Agent().Subscribe(SubscriptionOf(two_, 0x1001));
  EXPECT_EQ(After(seconds(10), one_),
            "reboot host2;gone 1002.1 host rebooted;subscriber host2 host rebooted;offered 1002.1 by host2;"
            "subscriber host2 of 7;");
  two_.TakeTold();

  world_.Restart(one_);
  one_.Agent().Offer(Service(one_, 0x1001));
  EXPECT_EQ(After(seconds(10), one_), "subscriber host2 of 7;offered 1002.1 by host2;");
  EXPECT_EQ(two_.TakeTold(),
            "reboot host1;subscription 7 waiting for the service;gone 1001.1 host rebooted;offered 1001.1 by host1;"
            "subscription 7 waiting for an answer;subscription 7 acknowledged;");
}

// What others can do to an agent.

TEST_F(SdAgentTest, WhateverComesMemoryIsBoundedAndTheRestGoesOn) {
  world_.config.limits = {500, 400, 100, 64, 3, 128, 32, 16};
  world_.Restart(two_);
  two_.Agent().Offer(Service(two_, 0x1009));
  one_.Agent().Offer(Service(one_, 0x1001));
  world_.Pass(seconds(1));
  std::set<std::string> faults;
  two_.onTold = [&](const std::string& line) {
    if (line.starts_with("fault")) {
      faults.insert(line);
    }
  };
  for (std::uint32_t i = 0; i < 10000; ++i) {  // offers of as many services, half of them for ever
    world_.Inject(two_, kStranger, true,
                  {OfferEntry(static_cast<std::uint16_t>(0x4000 + i), i % 2 == 0 ? 1 : kTtlUntilReboot)});
    two_.TakeTold();
  }
  EXPECT_THAT(faults, testing::Contains(HasSubstr(Text(SdFault::kTooManyServices))));
  world_.Inject(two_, {0x0A4D0062}, true, {OfferEntry(0x2001, 3)});
  EXPECT_EQ(two_.TakeTold(), "offered 2001.1 by host98;") << "one host cannot take all the room";

  Entry find = OfferEntry(0x1009, 3);
  find.type = EntryType::kFindService;
  for (std::uint32_t host = 0x0B000001; host < 0x0B000001 + 5000; ++host) {  // everybody asks and subscribes
    world_.Inject(two_, {host}, true, {find}, 1, true);
    world_.Inject(two_, {host}, false, {SubscribeEntry(0x1009, kTtlUntilReboot, {UdpAt({host})})}, 1, true);
    world_.Inject(two_, {host}, true, {OfferEntry(static_cast<std::uint16_t>(host), 1)}, 2, true);
    two_.TakeTold();
  }
  const auto counts = two_.Agent().Count();
  EXPECT_EQ(counts.services, 500U);
  EXPECT_LE(counts.endedServices, 100U);
  EXPECT_EQ(counts.subscribers, 64U);
  EXPECT_EQ(counts.hosts, 128U);
  EXPECT_EQ(counts.destinations, 32U);
  EXPECT_EQ(counts.pendingAnswers, 16U);

  two_.Agent().OnDatagram({0xEFC00001}, true, std::vector<std::uint8_t>(16));
  world_.Inject(two_, kStranger, true, {OfferEntry(0xFFFF, 3), OfferEntry(0x3001, 3, {0xFFFFFFFF})});
  for (const SdFault fault : {SdFault::kSenderAddress, SdFault::kInvalidEntry}) {
    EXPECT_THAT(faults, testing::Contains(HasSubstr(Text(fault))));
  }
  world_.Pass(seconds(10));
  EXPECT_EQ(two_.Agent().FindService({0x1001, 1, 1})->state, RemoteService::State::kOffered);
}

TEST_F(SdAgentTest, FurtherDestinationsSeeGrowingSessionsToo) {
  world_.config.limits.destinations = 2;
  world_.Restart(one_);
  for (int round = 0; round < 3; ++round) {
    for (std::uint32_t host = 0x0B000001; host < 0x0B000006; ++host) {
      world_.Inject(one_, {host}, false, {SubscribeEntry(0x1001, 3, {UdpAt({host})})});
    }
  }
  RebootDetector receiver(16);  // every host for itself
  ASSERT_EQ(world_.sent.size(), 15U);
  for (const auto& one : world_.sent) {
    EXPECT_FALSE(receiver.OnMessage(*one.to, false, one.message.session, one.message.isReboot));
  }
}

TEST_F(SdAgentTest, ADatagramCanHoldSeveralMessages) {
  test::Bytes datagram;
  for (const auto service : {std::uint16_t{0x1001}, std::uint16_t{0x1002}}) {
    SdMessageWriter writer;
    ASSERT_TRUE(writer.Add(OfferEntry(service, 3)));
    datagram = test::Joined(datagram, writer.Finish(service, true));
  }
  two_.Agent().OnDatagram(kStranger, true, test::Joined(datagram, test::Bytes(1)));
  EXPECT_EQ(two_.TakeTold(),
            "offered 1001.1 by host99;offered 1002.1 by host99;fault host99 a length exceeds the message;");
}

TEST(SdConfigTest, TimesThatCannotWorkAreFound) {
  EXPECT_EQ(CheckSdConfig({}), "");
  const std::vector<void (*)(SdConfig&)> faults{
      [](SdConfig& c) { c.timing.initialDelayMin = milliseconds(501); },
      [](SdConfig& c) { c.timing.responseDelayMin = milliseconds(-1); },
      [](SdConfig& c) { c.timing.repetitions = 17; },
      [](SdConfig& c) { c.timing.repetitionBaseDelay = milliseconds(0); },
      [](SdConfig& c) { c.timing.cyclicOfferPeriod = seconds(3); },
      [](SdConfig& c) { c.timing.cyclicOfferPeriod = seconds(0); },
      [](SdConfig& c) { c.timing.offerTtl = 0x1000000; },
      [](SdConfig& c) { c.limits.hosts = 0; },
  };
  for (std::size_t i = 0; i < faults.size(); ++i) {
    SdConfig config;
    faults[i](config);
    EXPECT_NE(CheckSdConfig(config), "") << i;
  }
}

}  // namespace
}  // namespace qor::someip::sd
