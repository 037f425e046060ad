// SPDX-License-Identifier: Apache-2.0
#include "src/common/entity_filter.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/communicability.h"
#include "src/common/event_list.h"
#include "src/common/qor_common.h"

namespace qor {
namespace {

using common::Communicability;
using common::ResourceConfig;
using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::TransportQos;
using qorevent::CommunicableType;
using qorevent::RoleType;
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
  dds.domainId = 7;
  dds.networkIp = "10.0.0.1";
  dds.subnetMask = "255.255.255.0";
  dds.topicName = "topic";
  dds.transports = std::move(transports);
  return record;
}

EventInfoWithPubSub SomeipEvent(const std::string& name) {
  EventInfoWithPubSub record;
  record.eventName = name;
  record.applicationName = "/app";
  auto& someip = record.bindings[DriverType::kSomeip].someip;
  someip.serviceId = 4;
  someip.eventId = 0x8001;
  someip.networkIp = "10.0.1.1";
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
  log::LogCapture capture;
  auto list = all;
  Common().FilterEventInfo("/e", list, ByIp("10.0.1.1"));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].bindings.size(), 2U);
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "Filter event info with instanceShortName finished. Size is 2"), 1U);
  list = all;
  Common().FilterEventInfo("ALL", list, {});
  EXPECT_EQ(list.size(), 4U);
}

TEST(CommonFilter, MethodsFieldsAndServicesAreSelectedAlike) {
  maintaind::MethodInfoWithPubSub method;
  method.bindings[DriverType::kDds].dds.domainId = 2;
  EXPECT_TRUE(Common().CheckMethodEntity(method, ByDomain(2)));
  EXPECT_FALSE(Common().CheckMethodEntity(method, ByDomain(3)));
  maintaind::FieldInfoWithPubSub field;
  field.bindings[DriverType::kSomeip].hasSetter = true;
  field.bindings[DriverType::kSomeip].someip.setGet.setter.networkIp = "10.0.0.1";
  EXPECT_TRUE(Common().CheckFieldEntity(field, ByIp("10.0.0.1")));
  EXPECT_FALSE(Common().CheckFieldEntity(field, ByIp("10.0.0.2")));
  maintaind::ServiceInfoWithPubSub service;
  EXPECT_FALSE(Common().CheckServiceEntity(service, {})) << "no binding at all";
  service.bindings[DriverType::kDds];
  service.instanceShortName = "one";
  EXPECT_TRUE(Common().CheckServiceEntity(service, ByName("one")));
  EXPECT_FALSE(Common().CheckServiceEntity(service, ByName("two")));
}

Communicability OnGea(const std::string& config = "{}") {
  return {"GEA", ResourceConfig::ParseResourceJson(config).value()};
}

TEST(Communicable, LocallyBySharedMemoryInOneDomainAndField) {
  for (const TransportQos transport :
       {TransportQos::kShm, TransportQos::kDshm, TransportQos::kDshmMbuf, TransportQos::kFshm}) {
    EXPECT_TRUE(OnGea().FiltByLocal(DdsEvent("/e", {TransportQos::kUdp, transport})));
  }
  const EventInfoWithPubSub record = DdsEvent("/e", {TransportQos::kShm});
  EXPECT_FALSE(OnGea().FiltByLocal(DdsEvent("/e", {TransportQos::kUdp, TransportQos::kIcc, TransportQos::kPcie})));
  EXPECT_FALSE(Communicability("SEA", {}).FiltByLocal(record));
  EXPECT_FALSE(OnGea(R"({"fields": {"drive": ["/app"]}})").FiltByLocal(record));
  EXPECT_TRUE(OnGea(R"({"fields": {"drive": ["/app"]}, "currentField": "drive"})").FiltByLocal(record));
}

TEST(Communicable, TheFieldIsAskedBeforeTheTransports) {
  const log::LogCapture capture;
  EXPECT_FALSE(OnGea().FiltByLocal(DdsEvent("/e", {TransportQos::kUdp})));
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "[QorCommon][Server fieldName=, Current fieldName=]"), 1U);
}

TEST(Communicable, OverTheNetworkByUdpOrBySomeipAlone) {
  EXPECT_TRUE(Common().FiltByNetwork(DdsEvent("/e", {TransportQos::kShm, TransportQos::kUdp})));
  EXPECT_TRUE(Common().FiltByNetwork(SomeipEvent("/e")));
  EXPECT_FALSE(Common().FiltByNetwork(DdsEvent("/e", {})));
  EXPECT_FALSE(Common().FiltByNetwork(EventInfoWithPubSub{}));
  EventInfoWithPubSub both = SomeipEvent("/e");
  both.bindings[DriverType::kDds].dds.transports = {TransportQos::kShm};
  EXPECT_FALSE(Common().FiltByNetwork(both)) << "the DDS binding decides";
}

TEST(Communicable, AcrossDomainsByIcc) {
  const EventInfoWithPubSub record = DdsEvent("/e", {TransportQos::kIcc});
  log::LogCapture capture;
  EXPECT_FALSE(OnGea().FiltByCross(record)) << "the same domain";
  EXPECT_TRUE(Communicability("SEA", {}).FiltByCross(record));
  EXPECT_FALSE(Communicability("SEA", {}).FiltByCross(DdsEvent("/f", {TransportQos::kShm})));
  for (const char* text : {"[QorCommon][ICC unavailable][eventName=/e]", "[QorCommon][FiltByCross][eventName=/e]"}) {
    EXPECT_EQ(capture.Count(LogLevel::kDebug, text), 1U) << text;
  }
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "[QorCommon][ICC available in DP_Linux and DP_Core]"), 2U);
}

TEST(Communicable, ApplicationNamesOfOddLengthHaveNoField) {
  log::LogCapture capture;
  EXPECT_FALSE(OnGea().IsTheSameField(""));
  EXPECT_FALSE(OnGea().IsTheSameField(std::string(5001, 'a')));
  EXPECT_TRUE(OnGea().IsTheSameField(std::string(5000, 'a')));
  const std::string text = "[QorCommon][App name length should not be 0 or greater than 5000][length=";
  EXPECT_EQ(capture.Count(LogLevel::kWarn, text + "0]"), 1U);
  EXPECT_EQ(capture.Count(LogLevel::kWarn, text + "5001]"), 1U);
  EXPECT_FALSE(OnGea(R"({"fields": {"drive": ["/app"]}, "currentField": "cockpit"})").IsTheSameField("/app"));
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "[QorCommon][Server fieldName=drive, Current fieldName=cockpit]"), 1U);
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
  using Role = RoleType;
  using Type = CommunicableType;
  EXPECT_THAT(Listed({Role::kAll, Type::kAll}),
              ElementsAre("/both DDS", "/both SOMEIP", "/cross DDS", "/someip[left] SOMEIP"));
  EXPECT_THAT(Listed({Role::kPublisher, Type::kLocal}), ElementsAre("/both DDS", "/both SOMEIP"));
  EXPECT_THAT(Listed({Role::kSubscriber, Type::kNetwork}),
              ElementsAre("/both DDS", "/both SOMEIP", "/someip[left] SOMEIP"));
  EXPECT_THAT(Listed({static_cast<Role>(9), Type::kCross}), ElementsAre("/cross DDS"));
  EXPECT_THAT(Listed({Role::kAll, Type::kUndefined}), IsEmpty());
  EXPECT_THAT(Listed({Role::kAll, static_cast<Type>(5)}), IsEmpty());
}

TEST(EventListing, LogsWhatDecided) {
  log::LogCapture capture;
  Listed({RoleType::kAll, CommunicableType::kAll});
  Listed({RoleType::kPublisher, CommunicableType::kLocal});
  Listed({RoleType::kSubscriber, CommunicableType::kNetwork});
  Listed({RoleType::kPublisher, CommunicableType::kCross});
  Listed({RoleType::kPublisher, CommunicableType::kUndefined});
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "[QorCommon][UNDEFINED]"), 1U);
  for (const char* text :
       {"[QorCommon][FiltByAll][The event is local communicable event][event=/both]",
        "[QorCommon][FiltByAll][The event is cross communicable event][event=/cross]",
        "[QorCommon][FiltByAll][The event is network communicable event][event=/someip]",
        "[QorCommon][ALL][eventName=/someip]", "[QorCommon][LOCAL][eventName=/both]",
        "[QorCommon][NETWORK][eventName=/both]", "[FiltByNetwork][eventName=/both]",
        "[QorCommon][CROSS][eventName=/cross]",
        "[QorCommon][GetListResultByCommunicatableType][inputEventList=/both&&/cross&&/someip&&/idle&&/"
        "deaf,outEventList=/both&&/cross&&/someip&&/idle]",
        "[QorCommon][GetListResultWithFilter EventFilter::Type is ALL]",
        "[QorCommon][GetListResultWithFilter EventFilter::Type is SUBSCRIBER]"}) {
    EXPECT_EQ(capture.Count(LogLevel::kDebug, text), 1U) << text;
  }
  for (const char* text : {"[QorCommon][FiltByLocal event][eventName=/both]",
                           "[QorCommon][FiltByNetwork][eventName=/someip]", "Get result pub: subs_ size:1"}) {
    EXPECT_EQ(capture.Count(LogLevel::kDebug, text), 2U) << text;
  }
  for (const char* text :
       {"[QorCommon][GetListResultWithFilter EventFilter::Type is PUBLISHER]", "Get result pub:/pub subs_ size:2"}) {
    EXPECT_EQ(capture.Count(LogLevel::kDebug, text), 3U) << text;
  }
}

TEST(EventEntry, CarriesWhatTheToolsPrint) {
  EventInfoWithPubSub record =
      DdsEvent("/e", {TransportQos::kUdp, TransportQos::kDshmMbuf, static_cast<TransportQos>(9)});
  record.bindings[DriverType::kDds].dds.fshmMulticastAddress = "239.1.2.3";
  record.subscribers = {"/sub"};
  qorevent::QorEventInfo entry;
  entry.eventId = 99;  // from an earlier use
  Common().SetDDSEventInfo(record, entry);
  EXPECT_EQ(entry.displayName, "/e");
  EXPECT_EQ(entry.binding, "DDS");
  EXPECT_THAT(entry.transports, ElementsAre("UDP", "DSHM(MBUF)", "UNKNOWN"));
  EXPECT_EQ(entry.serviceId, 3);
  EXPECT_EQ(entry.eventId, 0);
  EXPECT_EQ(entry.domainId, 7);
  EXPECT_EQ(entry.topicName, "topic");
  EXPECT_EQ(entry.publisher, "/pub");
  EXPECT_THAT(entry.subscribers, ElementsAre("/sub"));
  EXPECT_THAT(entry.attributes, testing::Contains(std::pair<std::string, std::string>("History", "KEEP_LAST(10)")));
  EXPECT_THAT(Common().GetDDSAttributeList(record),
              testing::Contains(std::pair<std::string, std::string>("FSHM multicast address", "239.1.2.3")));

  EventInfoWithPubSub someip = SomeipEvent("/s");
  someip.bindings[DriverType::kSomeip].someip.isReliable = true;
  Common().SetSOMEIPEventInfo(someip, entry);
  EXPECT_EQ(entry.displayName, "/s[left]");
  EXPECT_EQ(entry.eventName, "/s");
  EXPECT_EQ(entry.binding, "SOMEIP");
  EXPECT_THAT(entry.transports, ElementsAre("TCP"));
  EXPECT_EQ(entry.eventId, 0x8001);
  EXPECT_EQ(entry.topicName, "");
}

TEST(EventEntry, DshmIsUsedWithAndWithoutMbuf) {
  EXPECT_FALSE(Common().IsUsingDSHM({}));
  EXPECT_FALSE(Common().IsUsingDSHM({TransportQos::kUdp, TransportQos::kShm, TransportQos::kFshm}));
  EXPECT_TRUE(Common().IsUsingDSHM({TransportQos::kUdp, TransportQos::kDshm}));
  EXPECT_TRUE(Common().IsUsingDSHM({TransportQos::kDshmMbuf}));
}

}  // namespace
}  // namespace qor
