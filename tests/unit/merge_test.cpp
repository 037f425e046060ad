// SPDX-License-Identifier: Apache-2.0
#include "src/common/merge.h"

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/foreign_reports.h"
#include "src/common/qor_common.h"
#include "tests/support/plain_merge.h"

namespace qor {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::TransportQos;
using test::PlainMerge;
using testing::ElementsAre;
using EventList = std::vector<EventInfoWithPubSub>;

/// Events of a world so small that most of them collide.
class RandomEvents {
 public:
  explicit RandomEvents(unsigned seed) : random_(seed) {}

  EventList List(std::size_t longest) {
    EventList list(Below(longest + 1));
    for (EventInfoWithPubSub& event : list) {
      Fill(event);
    }
    return list;
  }

 private:
  std::size_t Below(std::size_t end) { return random_() % end; }
  bool Chance(std::size_t of) { return Below(of) == 0; }
  template <class T>
  T OneOf(std::initializer_list<T> choices) {
    return choices.begin()[Below(choices.size())];
  }

  void Fill(EventInfoWithPubSub& event) {
    const std::string number = std::to_string(++count_);
    event.nodeName = number;  // tells the records apart, whatever else they agree in
    event.publisher = OneOf({"", "p"});
    event.isPublisherOnline = Chance(2);
    for (std::size_t i = Below(3); i > 0; --i) {
      event.subscribers.push_back("c" + number + "." + std::to_string(i));
    }
    const std::size_t which = Below(8);
    if (which < 5) {
      FillBinding(event.bindings[DriverType::kDds]);
    }
    if (which > 2 && which < 7) {
      FillBinding(event.bindings[DriverType::kSomeip]);
    }
    if (Chance(16)) {
      FillBinding(event.bindings[static_cast<DriverType>(7)]);
    }
  }
  void FillBinding(maintaind::EventInfo& binding) {
    if (Chance(10)) {
      return;  // all default, as if there were no binding
    }
    FillPart(binding.dds);
    binding.dds.domainId = Chance(4) ? 1 : 0;
    binding.dds.topicName = OneOf({"", "t", "t"});
    for (std::size_t i = Below(3); i > 0; --i) {
      binding.dds.transports.push_back(OneOf({TransportQos::kUdp, TransportQos::kShm}));
    }
    FillPart(binding.someip);
    binding.someip.eventId = Chance(4) ? 0 : 5;
  }
  template <class Part>
  void FillPart(Part& part) {
    part.serviceId = Chance(4) ? 0 : 1;
    part.instanceId = Chance(4) ? 0 : 1;
    part.networkIp = OneOf({"10.0.0.1", "10.0.0.2", "10.0.1.1", "", "no address"});
    part.subnetMask = OneOf({"255.255.255.0", "255.255.255.0", "255.255.0.0", ""});
  }

  std::mt19937 random_;
  std::size_t count_ = 0;
};

/// Runs both on the same random lists.
template <class Fast, class Plain>
void ExpectSame(Fast fast, Plain plain) {
  constexpr unsigned kRounds = 10000;
  std::size_t mergedCount = 0;
  for (unsigned seed = 0; seed < kRounds; ++seed) {
    const EventList original = RandomEvents(seed).List(12);
    auto expected = original;
    plain(expected);
    auto actual = original;
    fast(actual);
    mergedCount += original.size() - actual.size();
    ASSERT_TRUE(actual == expected) << "seed " << seed;
  }
  EXPECT_GT(mergedCount, kRounds / 10) << "the lists have too few collisions to tell anything";
}

TEST(Merge, GivesWhatThePlainRulesGiveAltogetherAndStepByStep) {
  const QorCommon& common = QorCommon::GetInstance();
  for (const auto& [fast, plain] : {std::pair(&QorCommon::MergeEventInfo, &PlainMerge::All),
                                    std::pair(&QorCommon::MergePubEventInfoSubs, &PlainMerge::Pub),
                                    std::pair(&QorCommon::MergeOffPubEventInfoSubs, &PlainMerge::OffPub),
                                    std::pair(&QorCommon::MergeNoneNetworkEventInfoSubs, &PlainMerge::NoneNetwork),
                                    std::pair(&QorCommon::MergeNoPubEventInfo, &PlainMerge::NoPub)}) {
    ExpectSame([&, step = fast](EventList& list) { (common.*step)(list); }, plain);
  }
  ExpectSame(
      [&](EventList& list) {
        for (std::size_t i = 0; i < list.size() + 1; ++i) {
          common.MergeNoPubEventInfoSubs(i, list);
        }
      },
      &PlainMerge::NoPub);
}

TEST(Merge, WhatHasAServerIsMergedLikeEvents) {
  std::vector<maintaind::ServiceInfoWithPubSub> list(3);
  for (auto& record : list) {
    record.bindings[DriverType::kDds];
  }
  list[0].clients = {"a"};
  list[1].server = "offline";
  list[1].clients = {"b"};
  list[2].server = "online";
  list[2].isServerOnline = true;
  QorCommon::GetInstance().MergeServiceInfo(list);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].server, "online");
  EXPECT_THAT(list[0].clients, ElementsAre("a", "b"));
}

/// Each member, changed in the part of that binding, makes another entity of a record.
template <class Record, class PartOf, class... Members>
void ExpectOtherEntities(DriverType driver, PartOf partOf, Members... members) {
  Record record;
  record.bindings[driver];
  const auto isSame = [&](auto member) {
    Record other = record;
    partOf(other.bindings[driver]).*member = {'9'};
    return common::IsSameEntity(other, record.bindings);
  };
  EXPECT_THAT((std::vector<bool>{isSame(members)...}), testing::Each(false));
}

TEST(Merge, EveryPartOfAKeyTellsEntitiesApart) {
  using namespace maintaind;
  const auto dds = [](auto& binding) -> auto& { return binding.dds; };
  const auto someip = [](auto& binding) -> auto& { return binding.someip; };
  const auto all = [](auto& binding) -> auto& { return binding; };
  ExpectOtherEntities<EventInfoWithPubSub>(DriverType::kDds, dds, &DDSEventInfo::serviceId, &DDSEventInfo::instanceId,
                                           &DDSEventInfo::topicName, &DDSEventInfo::domainId, &DDSEventInfo::networkIp);
  ExpectOtherEntities<EventInfoWithPubSub>(DriverType::kSomeip, someip, &SomeipEventInfo::serviceId,
                                           &SomeipEventInfo::instanceId, &SomeipEventInfo::eventId,
                                           &SomeipEventInfo::networkIp);
  ExpectOtherEntities<MethodInfoWithPubSub>(
      DriverType::kDds, dds, &DDSMethodInfo::serviceId, &DDSMethodInfo::instanceId, &DDSMethodInfo::requestTopicName,
      &DDSMethodInfo::methodId, &DDSMethodInfo::domainId, &DDSMethodInfo::networkIp);
  ExpectOtherEntities<MethodInfoWithPubSub>(DriverType::kSomeip, someip, &SomeipMethodInfo::serviceId,
                                            &SomeipMethodInfo::instanceId, &SomeipMethodInfo::methodId,
                                            &SomeipMethodInfo::networkIp);
  ExpectOtherEntities<ServiceInfoWithPubSub>(DriverType::kDds, all, &ServiceInfo::serviceId, &ServiceInfo::instanceId,
                                             &ServiceInfo::domainId, &ServiceInfo::networkIp);
}

EventInfoWithPubSub Event(const std::string& publisher, bool isOnline, std::vector<std::string> subscribers = {}) {
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

TEST(Merge, NetworkCountsUnlessTheSubscriberIsOnALocalTransport) {
  EventInfoWithPubSub elsewhere = Event("", false);
  auto& dds = elsewhere.bindings[DriverType::kDds].dds;
  const auto isMerged = [&elsewhere] {
    EventList list{Event("pub", true), elsewhere};
    QorCommon::GetInstance().MergeEventInfo(list);
    return list.size() == 1;
  };
  dds.networkIp = "10.0.9.9";
  EXPECT_FALSE(isMerged());
  dds.transports = {TransportQos::kShm, TransportQos::kUdp};
  EXPECT_TRUE(isMerged());
  dds.domainId = 1;
  EXPECT_FALSE(isMerged());
}

TEST(Merge, CompareGoesByTheFirstBindingAndNeverClearsItsResult) {
  const QorCommon& common = QorCommon::GetInstance();
  EventInfoWithPubSub both = Event("", false);
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
  std::vector<maintaind::MethodInfoWithPubSub> clients(2, methods[1]);
  QorCommon::GetInstance().MergeNoPubMethodInfo(clients);
  EXPECT_EQ(clients.size(), 1U);
  QorCommon::GetInstance().RemoveOfflineMethods(methods);
  ASSERT_EQ(methods.size(), 1U);
  EXPECT_EQ(methods[0].server, "s");
}

TEST(Merge, FieldsWithoutNotifierAreKnownByTheirGetterOrSetter) {
  maintaind::FieldInfoWithPubSub server;
  auto& binding = server.bindings[DriverType::kSomeip];
  binding.hasGetter = true;
  binding.hasSetter = true;
  binding.someip.setGet.getter.methodId = 1;
  binding.someip.setGet.setter.methodId = 2;
  maintaind::FieldInfoWithPubSub other = server;
  const auto isEqual = [&] {
    bool result = false;
    QorCommon::GetInstance().CompareEntityInfo(result, server, other.bindings);
    return result;
  };
  EXPECT_TRUE(isEqual());
  other.bindings[DriverType::kSomeip].someip.setGet.getter.methodId = 9;
  EXPECT_FALSE(isEqual());
  other.bindings[DriverType::kSomeip].hasGetter = false;
  EXPECT_FALSE(isEqual());
}

TEST(Merge, APublisherWithoutADaemonIsListedOnceHoweverManyDaemonsSeeIt) {
  EventList list{Event("someip:10.0.0.9", false, {"/a", "/b"}), Event("/own", true),
                 Event("someip:10.0.0.9", true, {"/b", "/c"}), Event("/own", true), Event("someip:10.0.0.8", true)};
  list[0].bindings[DriverType::kDds].dds.subnetMask = "255.255.255.255";
  common::JoinForeignReports(list);
  ASSERT_EQ(list.size(), 4U);
  EXPECT_TRUE(list[0].isPublisherOnline);
  EXPECT_THAT(list[0].subscribers, ElementsAre("/b", "/c", "/a"));
  EXPECT_THAT((std::vector{list[1].publisher, list[2].publisher, list[3].publisher}),
              ElementsAre("/own", "/own", "someip:10.0.0.8"));
}

}  // namespace
}  // namespace qor
