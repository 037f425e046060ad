// SPDX-License-Identifier: Apache-2.0
#include "src/common/merge.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/foreign_reports.h"
#include "src/common/qor_common.h"
#include "tests/support/plain_merge.h"
#include "tests/support/random_records.h"

namespace qor {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::TransportQos;
using test::PlainMerge;
using test::RandomRecords;
using testing::ElementsAre;
using EventList = std::vector<EventInfoWithPubSub>;

constexpr unsigned kRounds = 10000;

/// Runs both on the same random lists; the step is told a number below the length for the steps that need one.
template <class Record, class Fast, class Plain>
void ExpectSame(Fast fast, Plain plain) {
  std::size_t mergedCount = 0;
  for (unsigned seed = 0; seed < kRounds; ++seed) {
    const auto original = RandomRecords(seed).List<Record>(12);
    auto expected = original;
    plain(expected);
    auto actual = original;
    fast(actual);
    mergedCount += original.size() - actual.size();
    ASSERT_TRUE(actual == expected) << "seed " << seed;
  }
  EXPECT_GT(mergedCount, kRounds / 10) << "the lists have too few collisions to tell anything";
}

template <class Record>
class MergeFamily : public testing::Test {};
using Families = testing::Types<maintaind::EventInfoWithPubSub, maintaind::MethodInfoWithPubSub,
                                maintaind::FieldInfoWithPubSub, maintaind::ServiceInfoWithPubSub>;
TYPED_TEST_SUITE(MergeFamily, Families);

TYPED_TEST(MergeFamily, GivesWhatThePlainRulesGive) {
  ExpectSame<TypeParam>(common::MergeEntities<TypeParam>, PlainMerge<TypeParam>::All);
}

TEST(Merge, EveryStepOfEventsAndMethodsAloneGivesWhatThePlainRuleGives) {
  const QorCommon& common = QorCommon::GetInstance();
  using Plain = PlainMerge<EventInfoWithPubSub>;
  for (const auto& [fast, plain] : {std::pair(&QorCommon::MergePubEventInfoSubs, &Plain::Pub),
                                    std::pair(&QorCommon::MergeOffPubEventInfoSubs, &Plain::OffPub),
                                    std::pair(&QorCommon::MergeNoneNetworkEventInfoSubs, &Plain::NoneNetwork),
                                    std::pair(&QorCommon::MergeNoPubEventInfo, &Plain::NoPub)}) {
    ExpectSame<EventInfoWithPubSub>([&, step = fast](EventList& list) { (common.*step)(list); }, plain);
  }
  ExpectSame<maintaind::MethodInfoWithPubSub>([&](auto& list) { common.MergeNoPubMethodInfo(list); },
                                              PlainMerge<maintaind::MethodInfoWithPubSub>::NoPub);
  ExpectSame<EventInfoWithPubSub>(
      [&](EventList& list) {
        for (std::size_t i = 0; i < list.size() + 1; ++i) {
          common.MergeNoPubEventInfoSubs(i, list);
        }
      },
      Plain::NoPub);
}

EventInfoWithPubSub Event(const std::string& publisher, bool isOnline, std::vector<std::string> subscribers) {
  EventInfoWithPubSub record;
  record.eventName = "/speed";
  record.publisher = publisher;
  record.isPublisherOnline = isOnline;
  record.subscribers = std::move(subscribers);
  auto& dds = record.bindings[DriverType::kDds].dds;
  dds.serviceId = 7;
  dds.networkIp = "10.0.0.1";
  dds.subnetMask = "255.255.255.0";
  dds.topicName = "speed";
  dds.transports = {TransportQos::kUdp};
  return record;
}

EventList Merged(EventList list) {
  QorCommon::GetInstance().MergeEventInfo(list);
  return list;
}

TEST(Merge, PublisherTakesSubscribersThatOtherDaemonsReport) {
  const EventList list = Merged({Event("", false, {"a", "b"}), Event("pub", true, {"c"}), Event("old", false, {"b"})});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].publisher, "pub");
  EXPECT_THAT(list[0].subscribers, ElementsAre("c", "a", "b", "b"));

  const EventList offline = Merged({Event("", false, {"a"}), Event("old", false, {})});
  ASSERT_EQ(offline.size(), 1U);
  EXPECT_EQ(offline[0].publisher, "old");
  EXPECT_THAT(offline[0].subscribers, ElementsAre("a"));
}

TEST(Merge, NetworkCountsUnlessTheSubscriberIsOnALocalTransport) {
  EventInfoWithPubSub elsewhere = Event("", false, {"a"});
  elsewhere.bindings[DriverType::kDds].dds.networkIp = "10.0.9.9";
  EXPECT_EQ(Merged({Event("pub", true, {}), elsewhere}).size(), 2U);
  elsewhere.bindings[DriverType::kDds].dds.transports = {TransportQos::kShm, TransportQos::kUdp};
  EXPECT_EQ(Merged({Event("pub", true, {}), elsewhere}).size(), 1U);
  elsewhere.bindings[DriverType::kDds].dds.domainId = 1;
  EXPECT_EQ(Merged({Event("pub", true, {}), elsewhere}).size(), 2U);
}

TEST(Merge, CompareGoesByTheFirstBindingAndNeverClearsItsResult) {
  const QorCommon& common = QorCommon::GetInstance();
  EventInfoWithPubSub both = Event("", false, {});
  both.bindings[DriverType::kSomeip].someip.eventId = 3;
  EventInfoWithPubSub someipOnly = both;
  someipOnly.bindings.erase(DriverType::kDds);
  bool isEqual = false;
  common.CompareEventInfo(isEqual, someipOnly, both.bindings);
  EXPECT_FALSE(isEqual) << "a missing DDS part counts as an empty one";
  common.CompareEventInfo(isEqual, both, someipOnly.bindings);
  EXPECT_TRUE(isEqual);
  common.CompareEventInfo(isEqual, someipOnly, both.bindings);
  EXPECT_TRUE(isEqual);
}

TEST(Merge, LogsTheSizeAfterEveryPassThatRan) {
  std::vector<maintaind::MethodInfoWithPubSub> methods(3);
  methods[0].server = "s";
  methods[0].isServerOnline = true;
  for (auto& method : methods) {
    method.bindings[DriverType::kDds].dds.methodId = 4;
  }
  methods[2].bindings[DriverType::kDds].dds.methodId = 5;
  const log::LogCapture capture;
  QorCommon::GetInstance().MergeMethodInfo(methods);
  std::string texts;
  for (const auto& line : capture.Lines()) {
    EXPECT_EQ(line.level, LogLevel::kDebug) << line.text;
    texts += line.text + "\n";
  }
  EXPECT_EQ(texts,
            "Begin to merge method info. Size is 3\nAfter merge pub method info. Size is 2\n"
            "After merge off pub method info. Size is 2\nAfter merge None network sub method info. Size is 2\n"
            "Begin to merge no pub event info. Size is 2\nAfter merge no pub event info. Size is 2\n");
  QorCommon::GetInstance().RemoveOfflineMethods(methods);
  ASSERT_EQ(methods.size(), 1U);
  EXPECT_EQ(methods[0].server, "s");
}

TEST(Merge, FieldsWithoutNotifierAreKnownByTheirGetterOrSetter) {
  maintaind::FieldInfoWithPubSub server;
  server.server = "s";
  server.isServerOnline = true;
  auto& binding = server.bindings[DriverType::kSomeip];
  binding.hasGetter = true;
  binding.hasSetter = true;
  binding.someip.setGet.getter.methodId = 1;
  binding.someip.setGet.setter.methodId = 2;
  maintaind::FieldInfoWithPubSub client = server;
  client.server.clear();
  maintaind::FieldInfoWithPubSub other = client;
  other.bindings[DriverType::kSomeip].someip.setGet.getter.methodId = 9;
  std::vector<maintaind::FieldInfoWithPubSub> list{server, other, client};
  QorCommon::GetInstance().MergeFieldInfo(list);
  EXPECT_EQ(list.size(), 2U);
  other.bindings[DriverType::kSomeip].hasGetter = false;
  bool isEqual = false;
  QorCommon::GetInstance().CompareEntityInfo(isEqual, server, other.bindings);
  EXPECT_FALSE(isEqual);
}

TEST(Merge, APublisherWithoutADaemonIsListedOnceHoweverManyDaemonsSeeIt) {
  const auto report = [](const char* publisher, bool isOnline, const char* mask, std::vector<std::string> subscribers) {
    EventInfoWithPubSub event;
    event.eventName = "/speed";
    event.publisher = publisher;
    event.isPublisherOnline = isOnline;
    event.subscribers = std::move(subscribers);
    auto& someip = event.bindings[DriverType::kSomeip].someip;
    someip.serviceId = 1;
    someip.eventId = 0x8001;
    someip.networkIp = "10.0.0.9";
    someip.subnetMask = mask;
    return event;
  };
  EventList list{report("someip:10.0.0.9", false, "255.255.255.255", {"/a", "/b"}), report("/own", true, "", {}),
                 report("someip:10.0.0.9", true, "255.255.255.0", {"/b", "/c"}), report("/own", true, "", {"/a"}),
                 report("someip:10.0.0.8", true, "255.255.255.0", {})};
  common::JoinForeignReports(list);
  ASSERT_EQ(list.size(), 4U);
  EXPECT_TRUE(list[0].isPublisherOnline);
  EXPECT_THAT(list[0].subscribers, ElementsAre("/b", "/c", "/a"));
  EXPECT_THAT((std::vector{list[1].publisher, list[2].publisher, list[3].publisher}),
              ElementsAre("/own", "/own", "someip:10.0.0.8"));
}

}  // namespace
}  // namespace qor
