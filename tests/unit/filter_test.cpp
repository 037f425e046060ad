// SPDX-License-Identifier: Apache-2.0
#include "src/common/entity_filter.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/communicability.h"
#include "src/common/event_entry.h"
#include "src/common/event_list.h"
#include "src/common/qor_common.h"

namespace qor {
namespace {

using common::Communicability;
using common::ResourceConfig;
using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::TransportQos;
using Type = qorevent::CommunicableType;
using Role = qorevent::RoleType;
using testing::ElementsAre;
using testing::IsEmpty;

const QorCommon& Common() { return QorCommon::GetInstance(); }

EventInfoWithPubSub DdsEvent(const std::string& name, std::vector<TransportQos> transports) {
  EventInfoWithPubSub record;
  record.eventName = name;
  record.applicationName = "/app";
  record.hostDomainName = "GEA";
  record.publisher = "/pub";
  auto& dds = record.bindings[DriverType::kDds].dds;
  dds.serviceId = 3;
  dds.networkIp = "10.0.0.1";
  dds.subnetMask = "255.255.255.0";
  dds.domainId = 7;
  dds.topicName = "topic";
  dds.transports = std::move(transports);
  return record;
}

EventInfoWithPubSub SomeipEvent(const std::string& name) {
  EventInfoWithPubSub record;
  record.eventName = name;
  auto& someip = record.bindings[DriverType::kSomeip].someip;
  someip.serviceId = 4;
  someip.networkIp = "10.0.1.1";
  someip.eventId = 0x8001;
  someip.instanceShortName = "left";
  record.subscribers = {"/sub"};
  return record;
}

CommonFilter ByName(const std::string& name) { return {name, "", CommonFilter::kAnyDomain, ""}; }
CommonFilter ByIp(const std::string& ip) { return {"", ip, CommonFilter::kAnyDomain, ""}; }
CommonFilter ByDomain(std::uint16_t id) { return {"", "", id, ""}; }
CommonFilter ByUuid(const std::string& uuid) { return {"", "", CommonFilter::kAnyDomain, uuid}; }

TEST(CommonFilter, EachCriterionSelectsByItself) {
  EventInfoWithPubSub record = DdsEvent("/e", {});
  record.instanceShortName = "front";
  record.uuid = "12";
  for (const CommonFilter& passed : {CommonFilter{}, CommonFilter{"front", "10.0.0.1", 7, "12"},
                                     ByIp("10.0.0.200") /* another address of the segment */}) {
    EXPECT_TRUE(Common().CheckDDSEventFilter(record, passed));
  }
  for (const CommonFilter& refused : {ByName("rear"), ByIp("10.0.1.1"), ByDomain(0), ByUuid("1")}) {
    EXPECT_FALSE(Common().CheckDDSEventFilter(record, refused));
  }
  EXPECT_FALSE(Common().CheckSOMEIPEventFilter(record, {}));

  const EventInfoWithPubSub someip = SomeipEvent("/e");
  EXPECT_TRUE(Common().CheckSOMEIPEventFilter(someip, {"left", "10.0.1.1", 5, "left"})) << "it has no domain";
  EXPECT_FALSE(Common().CheckSOMEIPEventFilter(someip, ByUuid("right")));
  EXPECT_FALSE(Common().CheckSOMEIPEventFilter(someip, ByIp("10.0.1.2"))) << "no mask: the address alone";
  EXPECT_FALSE(Common().CheckDDSEventFilter(someip, {}));
}

TEST(CommonFilter, KeepsWhatEitherBindingPassesUnderTheName) {
  EventInfoWithPubSub both = DdsEvent("/e", {});
  both.bindings[DriverType::kSomeip] = SomeipEvent("").bindings[DriverType::kSomeip];
  const std::vector<EventInfoWithPubSub> all{both, DdsEvent("/other", {}), SomeipEvent("/e"), DdsEvent("/e", {}),
                                             EventInfoWithPubSub{}};
  auto list = all;
  Common().FilterEventInfo("/e", list, ByIp("10.0.1.1"));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].bindings.size(), 2U);
  list = all;
  Common().FilterEventInfo("ALL", list, {});
  EXPECT_EQ(list.size(), 4U);
}

TEST(CommonFilter, MethodsFieldsAndServicesAreSelectedAlike) {
  maintaind::MethodInfoWithPubSub method;
  method.bindings[DriverType::kDds].dds.domainId = 2;
  maintaind::FieldInfoWithPubSub field;
  field.bindings[DriverType::kSomeip].hasSetter = true;
  field.bindings[DriverType::kSomeip].someip.setGet.setter.networkIp = "10.0.0.1";
  maintaind::ServiceInfoWithPubSub service;
  EXPECT_FALSE(Common().CheckServiceEntity(service, {})) << "no binding at all";
  service.bindings[DriverType::kDds];
  service.instanceShortName = "one";
  for (const bool isMeant : {true, false}) {
    EXPECT_EQ(Common().CheckMethodEntity(method, ByDomain(isMeant ? 2 : 3)), isMeant);
    EXPECT_EQ(Common().CheckFieldEntity(field, ByIp(isMeant ? "10.0.0.1" : "10.0.0.2")), isMeant);
    EXPECT_EQ(Common().CheckServiceEntity(service, ByName(isMeant ? "one" : "two")), isMeant);
  }
}

Communicability OnGea(const std::string& config = "{}") {
  return {"GEA", ResourceConfig::ParseResourceJson(config).value()};
}

TEST(Communicable, BySharedMemoryInOneDomainByUdpOverTheNetworkAndByIccAcross) {
  constexpr auto kUdp = TransportQos::kUdp;
  constexpr auto kIcc = TransportQos::kIcc;
  struct Case {
    std::vector<TransportQos> transports;
    bool isLocal, isNetwork, isIcc;
  };
  for (const Case& each :
       {Case{{}, false, false, false}, Case{{kUdp, TransportQos::kShm}, true, true, false},
        Case{{TransportQos::kDshm}, true, false, false}, Case{{TransportQos::kDshmMbuf}, true, false, false},
        Case{{TransportQos::kFshm}, true, false, false}, Case{{TransportQos::kPcie, kIcc, kUdp}, false, true, true}}) {
    const EventInfoWithPubSub record = DdsEvent("/e", each.transports);
    const Communicability onSea("SEA", {});
    EXPECT_EQ(OnGea().FiltByLocal(record), each.isLocal);
    EXPECT_FALSE(onSea.FiltByLocal(record));
    EXPECT_EQ(Common().FiltByNetwork(record), each.isNetwork);
    EXPECT_EQ(onSea.FiltByCross(record), each.isIcc);
    EXPECT_FALSE(OnGea().FiltByCross(record)) << "the same domain";
  }
  EventInfoWithPubSub record = SomeipEvent("/e");
  EXPECT_TRUE(Common().FiltByNetwork(record));
  record.bindings[DriverType::kDds].dds.transports = {TransportQos::kShm};
  EXPECT_FALSE(Common().FiltByNetwork(record)) << "the DDS binding decides";
  EXPECT_FALSE(Common().FiltByNetwork(EventInfoWithPubSub{}));
  record = DdsEvent("/e", {TransportQos::kShm});
  EXPECT_FALSE(OnGea(R"({"fields": {"drive": ["/app"]}})").FiltByLocal(record));
  EXPECT_TRUE(OnGea(R"({"fields": {"drive": ["/app"]}, "currentField": "drive"})").FiltByLocal(record));
}

TEST(Communicable, TheFieldIsAskedBeforeTheTransportsAndNamesOfOddLengthHaveNone) {
  log::LogCapture capture;
  EXPECT_FALSE(OnGea().FiltByLocal(DdsEvent("/e", {TransportQos::kUdp})));
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "[QorCommon][Server fieldName=, Current fieldName=]"), 1U);
  for (const std::size_t length : {0U, 5001U}) {
    EXPECT_FALSE(OnGea().IsTheSameField(std::string(length, 'a')));
    EXPECT_EQ(
        capture.Count(LogLevel::kWarn, "[QorCommon][App name length should not be 0 or greater than 5000][length=" +
                                           std::to_string(length) + "]"),
        1U);
  }
  EXPECT_TRUE(OnGea().IsTheSameField(std::string(5000, 'a')));
}

/// What is listed of one event of each kind, in order: "<name> <binding>".
std::vector<std::string> Listed(qorevent::EventFilter filter) {
  EventInfoWithPubSub both = DdsEvent("/both", {TransportQos::kShm, TransportQos::kUdp});
  both.bindings[DriverType::kSomeip];
  both.subscribers = {"/a", "/b"};
  EventInfoWithPubSub cross = DdsEvent("/cross", {TransportQos::kIcc});
  cross.hostDomainName = "SEA";
  EventInfoWithPubSub idle = SomeipEvent("/idle");
  idle.subscribers.clear();
  std::vector<qorevent::QorEventInfo> entries;
  common::ListEvents(filter, {both, cross, SomeipEvent("/someip"), idle, DdsEvent("/deaf", {})}, OnGea(), entries);
  std::vector<std::string> texts;
  for (const auto& entry : entries) {
    texts.push_back(entry.displayName + " " + entry.binding);
  }
  return texts;
}

TEST(EventListing, ShowsWhatTheTypeAndTheRoleSelectOnceForEachBinding) {
  EXPECT_THAT(Listed({Role::kAll, Type::kAll}),
              ElementsAre("/both DDS", "/both SOMEIP", "/cross DDS", "/someip[left] SOMEIP"));
  EXPECT_THAT(Listed({Role::kPublisher, Type::kLocal}), ElementsAre("/both DDS", "/both SOMEIP"));
  EXPECT_THAT(Listed({Role::kSubscriber, Type::kNetwork}),
              ElementsAre("/both DDS", "/both SOMEIP", "/someip[left] SOMEIP"));
  EXPECT_THAT(Listed({static_cast<Role>(9), Type::kCross}), ElementsAre("/cross DDS"));
  EXPECT_THAT(Listed({Role::kAll, static_cast<Type>(5)}), IsEmpty());
}

TEST(EventListing, LogsWhatDecided) {
  log::LogCapture capture;
  Listed({Role::kAll, Type::kAll});
  EXPECT_THAT(Listed({Role::kPublisher, Type::kUndefined}), IsEmpty());
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "[QorCommon][UNDEFINED]"), 1U);
  for (const char* text :
       {"[QorCommon][FiltByAll][The event is local communicable event][event=/both]",
        "[QorCommon][FiltByAll][The event is cross communicable event][event=/cross]",
        "[QorCommon][FiltByAll][The event is network communicable event][event=/someip]",
        "[QorCommon][GetListResultByCommunicatableType][inputEventList=/both&&/cross&&/someip&&/idle&&/"
        "deaf,outEventList=/both&&/cross&&/someip&&/idle]"}) {
    EXPECT_EQ(capture.Count(LogLevel::kDebug, text), 1U) << text;
  }
}

TEST(EventEntry, CarriesWhatTheToolsPrint) {
  EventInfoWithPubSub record =
      DdsEvent("/e", {TransportQos::kUdp, TransportQos::kDshmMbuf, static_cast<TransportQos>(9)});
  record.bindings[DriverType::kDds].dds.fshmMulticastAddress = "239.1.2.3";
  qorevent::QorEventInfo entry;
  entry.eventId = 99;  // from an earlier use
  Common().SetDDSEventInfo(record, entry);
  EXPECT_EQ(entry.displayName + entry.binding + entry.topicName + entry.publisher, "/eDDStopic/pub");
  EXPECT_THAT(entry.transports, ElementsAre("UDP", "DSHM(MBUF)", "UNKNOWN"));
  EXPECT_THAT(std::vector({entry.serviceId, entry.eventId, entry.domainId}), ElementsAre(3, 0, 7));
  EXPECT_THAT(entry.attributes, testing::IsSupersetOf(common::Attributes{{"History", "KEEP_LAST(10)"},
                                                                         {"FSHM multicast address", "239.1.2.3"}}));

  EventInfoWithPubSub someip = SomeipEvent("/s");
  someip.bindings[DriverType::kSomeip].someip.isReliable = true;
  Common().SetSOMEIPEventInfo(someip, entry);
  EXPECT_EQ(entry.displayName + entry.eventName + entry.binding + entry.topicName, "/s[left]/sSOMEIP");
  EXPECT_THAT(entry.transports, ElementsAre("TCP"));
  EXPECT_THAT(entry.subscribers, ElementsAre("/sub"));
  EXPECT_EQ(entry.eventId, 0x8001);
}

}  // namespace
}  // namespace qor
