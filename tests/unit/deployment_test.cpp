// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "src/common/records/codec.h"
#include "src/common/records/pdu_description.h"
#include "src/common/records/serialization_node.h"
#include "src/common/records/to_json.h"
#include "tests/support/scratch_folder.h"

namespace qor::com {
namespace {

using maintaind::DriverType;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

class DeploymentTest : public testing::Test {
 protected:
  DeploymentTest() {
    fs::create_directory(folder_.File("types"));
    fs::create_directory(folder_.File("services"));
  }

  Deployment Load() const { return LoadDeployment(folder_.Path()); }

  /// Each fault as "<file below the folder>:<line> <key>".
  std::vector<std::string> Places(const Deployment& deployment) const {
    std::vector<std::string> places;
    for (const DeploymentFault& fault : deployment.faults) {
      places.push_back(fault.file.substr(folder_.Path().size() + 1) + ":" + std::to_string(fault.line) + " " +
                       fault.key);
    }
    return places;
  }

  /// A list's second entry that has one fault.
  struct BadEntry {
    std::string text;
    const char* line;
    const char* key;      ///< below the entry
    const char* message;  ///< part of it
    bool isKept = false;  ///< the entry still loads
  };
  /// The fault is the only one, and the good entry is loaded.
  template <class List>
  void ExpectFault(const BadEntry& entry, const std::string& file, const std::string& place, List Deployment::*list) {
    SCOPED_TRACE(entry.text);
    const Deployment deployment = Load();
    ASSERT_THAT(Places(deployment), ElementsAre(file + ":" + entry.line + " " + place + entry.key));
    EXPECT_THAT(deployment.faults[0].message, HasSubstr(entry.message));
    EXPECT_EQ((deployment.*list).size(), entry.isKept ? 2U : 1U);
  }

  test::ScratchFolder folder_;
};

/// One service with `entries` in the place of its lists; the entries begin on line 2.
std::string Service(const std::string& entries) {
  return R"({"services": [{"name": "S", "dds": {"serviceId": 7}, "someip": {"serviceId": 8, "instanceId": 1},)"
         "\n" +
         entries + "}]}";
}

TEST_F(DeploymentTest, AnEventTakesOverWhatItsServiceSaysAndAddsItsOwn) {
  folder_.Write("types/speed.json", R"({"ShortName": "Speed", "Type": "VALUE", "Primitive": "uint32"})");
  folder_.Write("services/chassis.json", R"json({"services": [{
    "name": "Chassis", "application": "chassis", "uuid": "12",
    "dds": {"serviceId": "0x0101", "instanceId": 2, "domain": 5, "networkIp": "127.0.0.1", "subnetMask": "255.0.0.0",
            "majorVersion": 3, "transports": ["UDP"]},
    "someip": {"serviceId": 300, "instanceId": 4, "udpPort": 30501, "majorVersion": 9, "instanceShortName": "Front"},
    "events": [{
      "name": "/chassis/speed", "type": "Speed", "uuid": "77", "resource": "r",
      "serialization": {"type": "ROS", "structPolicy": "DISABLE_OUTER_LAYER_ALIGNMENT"},
      "dds": {"topic": "speed", "domain": 6, "transports": ["SHM", "DSHM(MBUF)"], "keyed": true, "partition": "a,b",
              "maxSampleSize": 4, "dataRepresentation": "XCDR2", "publishMode": "ASYNCHRONOUS",
              "qos": {"reliability": "BEST_EFFORT", "durability": "TRANSIENT_LOCAL",
                      "history": {"kind": "KEEP_ALL", "depth": 3}},
              "e2e": {"protected": true, "profile": 5, "dataId": 99}},
      "someip": {"eventId": "0x8001", "eventGroups": [1, 2], "tcpPort": 30502, "reliable": true,
                 "tp": {"enabled": true, "maxSegmentLength": 1008, "separationTimeUs": 10}}}]}]})json");

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), IsEmpty());
  ASSERT_EQ(deployment.services.size(), 1U);
  const maintaind::ServiceRegisterInfo& service = deployment.services[0];
  EXPECT_EQ(service.serviceName, "Chassis");
  EXPECT_EQ(service.uuid, "12");
  EXPECT_THAT(service.eventNames, ElementsAre("/chassis/speed"));
  EXPECT_EQ(service.bindings.at(DriverType::kDds).serviceId, 0x0101);
  EXPECT_EQ(service.bindings.at(DriverType::kDds).domainId, 5);
  EXPECT_EQ(service.bindings.at(DriverType::kSomeip).majorVersion, 9U);

  maintaind::EventRegisterInfo event;
  event.serializeConfig.type = maintaind::SerializationType::kRos;
  event.serializeConfig.structPolicy = maintaind::StructSerializationPolicy::kDisableOuterLayerAlignment;
  auto& dds = event.bindings[DriverType::kDds].dds;
  dds.dataRepresentation = maintaind::DataRepresentation::kXcdr2;
  dds.publishMode = maintaind::PublishMode::kAsynchronous;
  dds.dataMode = maintaind::DataMode::kMbuf;
  dds.qos = {maintaind::DurabilityQos::kTransientLocal,
             {maintaind::HistoryKind::kKeepAll, 3},
             maintaind::ReliabilityKind::kBestEffort};
  event.bindings[DriverType::kSomeip];
  auto expected = maintaind::ToJson(event);
  expected.merge_patch(nlohmann::ordered_json::parse(R"json({
    "eventName": "/chassis/speed", "applicationName": "chassis", "dataTypeName": "Speed", "uuid": "77", "resource": "r",
    "bindings": {
      "0": {"dds": {"serviceId": 257, "instanceId": 2, "networkIp": "127.0.0.1", "subnetMask": "255.0.0.0",
                    "domainId": 6, "topicName": "speed", "maxSampleSize": 4, "transports": ["SHM", "DSHM(MBUF)"],
                    "typeName": "Speed", "e2e": {"isProtected": true, "profile": 5, "dataId": 99}, "isKeyed": true,
                    "partition": "a,b"}},
      "1": {"someip": {"serviceId": 300, "instanceId": 4, "majorVersion": 9, "eventId": 32769, "eventGroupIds": [1, 2],
                       "instanceShortName": "Front", "udpPort": 30501, "tcpPort": 30502, "isReliable": true,
                       "tp": {"isEnabled": true, "maxSegmentLength": 1008, "separationTimeUs": 10}}}}})json"));
  ASSERT_EQ(deployment.events.size(), 1U);
  EXPECT_EQ(maintaind::ToJson(deployment.events[0]), expected);
}

TEST_F(DeploymentTest, MethodsAndFieldsAreReadWithEachOfTheirParts) {
  folder_.Write("services/s.json", Service(R"(
    "methods": [{"name": "Open", "inputs": ["uint8", "string"], "output": "bool",
                 "dds": {"requestTopic": "open_rq", "replyTopic": "open_rp", "methodId": 3},
                 "someip": {"methodId": 17, "udpPort": 40000, "fireAndForget": true}}],
    "fields": [{"name": "Lock", "type": "bool",
                "dds": {"notifier": {"topic": "lock"}, "setter": {"requestTopic": "a", "replyTopic": "b"}},
                "someip": {"getter": {"methodId": 18, "tcpPort": 40001, "reliable": true}}}])"));

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), IsEmpty());
  ASSERT_EQ(deployment.methods.size(), 1U);
  const maintaind::MethodRegisterInfo& method = deployment.methods[0];
  EXPECT_THAT(method.inputTypeNames, ElementsAre("uint8", "string"));
  EXPECT_EQ(method.outputTypeName, "bool");
  EXPECT_EQ(method.bindings.at(DriverType::kDds).dds.requestTopicName, "open_rq");
  EXPECT_EQ(method.bindings.at(DriverType::kDds).dds.serviceId, 7);
  EXPECT_TRUE(method.bindings.at(DriverType::kSomeip).someip.isFireAndForget);
  ASSERT_EQ(deployment.fields.size(), 1U);
  const maintaind::FieldInfo& dds = deployment.fields[0].bindings.at(DriverType::kDds);
  EXPECT_TRUE(dds.hasNotifier && dds.hasSetter && !dds.hasGetter);
  EXPECT_TRUE(dds.dds.notify.event.isFieldNotifier);
  EXPECT_EQ(dds.dds.notify.event.typeName, "bool");
  EXPECT_EQ(dds.dds.setGet.setter.replyTopicName, "b");
  const maintaind::FieldInfo& someip = deployment.fields[0].bindings.at(DriverType::kSomeip);
  EXPECT_TRUE(!someip.hasNotifier && !someip.hasSetter && someip.hasGetter);
  EXPECT_EQ(someip.someip.setGet.getter.methodId, 18);
  EXPECT_THAT(deployment.services[0].methodNames, ElementsAre("Open"));
  EXPECT_THAT(deployment.services[0].fieldNames, ElementsAre("Lock"));
}

TEST_F(DeploymentTest, EveryCategoryOfTypesLoadsAsItStands) {
  const std::string types = R"([
    {"ShortName": "Count", "Type": "VALUE", "Primitive": "std::uint16_t"},
    {"ShortName": "Name", "Type": "FIXED_STRING", "length": "16"},
    {"ShortName": "Wheels", "Type": "ARRAY", "template": "Count", "length": "4"},
    {"ShortName": "List", "Type": "VECTOR", "template": "Wheels"},
    {"ShortName": "Map", "Type": "ASSOCIATIVE_MAP", "key": "string", "value": "List"},
    {"ShortName": "Gear", "Type": "ENUMERATION", "DataType": "int8", "value": [{"Label": "R", "Value": "-1"}]},
    {"ShortName": "State", "Type": "STRUCTURE", "IsPlane": "true", "Subelements": [
      {"Name": "gear", "Type": "Gear", "Padding": "3"},
      {"Name": "kind", "Type": "Count", "IsConstant": "true", "Value": "5", "IsOptional": "false"}]},
    {"ShortName": "Either", "Type": "VARIANT", "Subelements": [{"Type": "Gear"}, {"Type": "State"}]},
    {"ShortName": "Alias", "Type": "TYPE_REFERENCE", "Typedef": "Either", "Definition": ""},
    {"ShortName": "Fault", "Type": "ERROR", "ErrorDomainId": 18446744073709551615, "ErrorDomainName": "D",
     "ErrorCode": [{"Id": -5, "Name": "Bad"}]},
    {"ShortName": "Raw", "Type": "RAWBUFFER"}])";
  folder_.Write("types/all.json", types);

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), IsEmpty());
  const auto expected = nlohmann::ordered_json::parse(types);
  ASSERT_EQ(deployment.types.size(), expected.size());
  for (const auto& definition : expected) {
    EXPECT_EQ(deployment.types.at(definition["ShortName"]), definition.dump());
  }
}

TEST_F(DeploymentTest, ABadTypeIsReportedWhereItStandsAndItsNeighbourLoads) {
  const auto type = [](const std::string& rest) { return R"({"ShortName": "A", "Type": )" + rest + "}"; };
  const auto structure = [&](const std::string& member) {
    return type(R"("STRUCTURE", "Subelements": [)" + member + "]");
  };
  const auto domain = [&](const std::string& id) {
    return type(R"("ERROR", "ErrorDomainId": 1, "ErrorDomainName": "D", "ErrorCode": [{"Id": )" + id +
                R"(, "Name": "B"}])");
  };
  const BadEntry entries[] = {
      {"5", "2", "", "expected an object"},
      {R"({"Type": "RAWBUFFER"})", "2", "", "\"ShortName\" is missing"},
      {R"({"ShortName": "uint8", "Type": "RAWBUFFER"})", "2", "/ShortName", "reserved"},
      {"{\"ShortName\": \"A\",\n\"Type\": \"FOO\"}", "3", "/Type", "\"STRUCTURE\""},
      {type(R"("VALUE", "Primitive": "uint24")"), "2", "/Primitive", "primitive type"},
      {type(R"("FIXED_STRING", "length": 5)"), "2", "/length", "expected a text"},
      {type(R"("ARRAY", "template": "bool", "length": "4294967296")"), "2", "/length", "decimal number"},
      {type(R"("ASSOCIATIVE_MAP", "value": "bool")"), "2", "", "\"key\" is missing"},
      {type(R"("ENUMERATION", "DataType": "float", "value": [])"), "2", "/DataType", "integer type"},
      {type(R"("ENUMERATION", "DataType": "int8", "value": [{"Label": "R", "Value": "x"}])"), "2", "/value/0/Value",
       "an integer"},
      {structure("\n"
                 R"({"Name": "m", "Type": "bool", "Padding": "0"})"),
       "3", "/Subelements/0/Padding", "from 1 to 65535"},
      {structure(R"({"Name": "m", "Type": "bool", "Padding": "04"})"), "2", "/Subelements/0/Padding",
       "from 1 to 65535"},
      {type(R"("VARIANT", "Subelements": {})"), "2", "/Subelements", "expected a list"},
      {domain("2147483648"), "2", "/ErrorCode/0/Id", "32 bits"},
      {type(R"("VECTOR", "template": "bool", "lenght": "3")"), "2", "/lenght", "no such key", true},
      {type(R"("VECTOR", "template": "Nope")"), "2", "/template", "no type \"Nope\"", true},
      {R"({"ShortName": "Good", "Type": "VECTOR", "template": "bool"})", "2", "/ShortName", "defined already"}};
  for (const BadEntry& entry : entries) {
    folder_.Write("types/t.json", "[{\"ShortName\": \"Good\", \"Type\": \"RAWBUFFER\"},\n" + entry.text + "]");
    ExpectFault(entry, "types/t.json", "/1", &Deployment::types);
  }
}

TEST_F(DeploymentTest, ABadEventIsReportedWhereItStandsAndItsNeighbourLoads) {
  const auto event = [](const std::string& rest) { return R"({"name": "a")" + rest + "}"; };
  const auto dds = [&](const std::string& rest) {
    return event(R"(, "dds": {"topic": "t", "typeName": "T", )" + rest + "}");
  };
  const auto someip = [&](const std::string& rest) { return event(R"(, "someip": {"udpPort": 1, )" + rest + "}"); };
  const auto named = [](const std::string& start) {
    return "{" + start + R"("dds": {"topic": "t", "typeName": "T"}})";
  };
  const std::string grouped = R"("eventId": "0x8001", "eventGroups": [1], )";
  const BadEntry entries[] = {
      {named(""), "3", "", "\"name\" is missing"},
      {named(R"("name": "", )"), "3", "/name", "not empty"},
      {named(R"("name": "a[1]", )"), "3", "/name", "brackets"},
      {named(R"("name": "good", )"), "3", "/name", "defined already"},
      {named(R"("name": "a", "uuid": "1a", )"), "3", "/uuid", "decimal digits"},
      {event(""), "3", "", "expected a binding"},
      {event(R"(, "dds": {"typeName": "T"})"), "3", "/dds", "\"topic\""},
      {event(R"(, "dds": {"topic": "t"})"), "3", "/dds", "\"typeName\""},
      {dds("\n\"domain\": 233"), "4", "/dds/domain", "from 0 to 232"},
      {dds(R"("instanceId": -1)"), "3", "/dds/instanceId", "from 0 to 65535"},
      {dds(R"("instanceId": "0x10000")"), "3", "/dds/instanceId", "from 0 to 65535"},
      {dds(R"("transports": [])"), "3", "/dds/transports", "at least one"},
      {dds("\"transports\": [\"SHM\",\n\"TCP\"]"), "4", "/dds/transports/1", "\"DSHM(MBUF)\""},
      {dds(R"("networkIp": "127.0.0")"), "3", "/dds/networkIp", "address"},
      {dds(R"("subnetMask": "255.0.255.0")"), "3", "/dds/subnetMask", "255.255.255.0"},
      {dds(R"("qos": {"history": {"depth": 0}})"), "3", "/dds/qos", "depth"},
      {dds(R"("e2e": {"protected": true, "profile": 6})"), "3", "/dds/e2e", "4, 5 or 7"},
      {dds(R"("participantGuid": "")"), "3", "/dds/participantGuid", "no such key", true},
      {dds(R"("qos": {"reliable": true})"), "3", "/dds/qos/reliable", "durability, history, reliability", true},
      {event(R"(, "type": "Nope", "dds": {"topic": "t"})"), "3", "/type", "no type \"Nope\"", true},
      {someip(R"("eventId": 1, "eventGroups": [1])"), "3", "/someip/eventId", "0x8000"},
      {someip(R"("eventId": "0x8001")"), "3", "/someip", "\"eventGroups\""},
      {someip(grouped + R"("reliable": true)"), "3", "/someip", "\"tcpPort\""},
      {someip(grouped + R"("tp": {"maxSegmentLength": 1000})"), "3", "/someip/tp", "multiple of 16"}};
  for (const BadEntry& entry : entries) {
    folder_.Write("services/s.json", Service(R"("events": [{"name": "good", "dds": {"topic": "t", "typeName": "T"}},)"
                                             "\n" +
                                             entry.text + "]"));
    ExpectFault(entry, "services/s.json", "/services/0/events/1", &Deployment::events);
  }
}

TEST_F(DeploymentTest, ABadFileIsReportedAndTheOtherFilesLoad) {
  folder_.Write("services/a.json", "{\"services\": [\n{\"name\": \"A\"},\n]}");
  folder_.Write("services/b.json", R"({"services": [{"name": "B"}]})");
  folder_.Write("services/c.json", "{\"service\": []}");
  folder_.Write("services/d.txt", "not read");
  fs::create_directory(folder_.File("types/folder.json"));

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), ElementsAre("types/folder.json:0 ", "services/a.json:3 /services/1",
                                              "services/c.json:1 ", "services/c.json:1 /service"));
  ASSERT_EQ(deployment.services.size(), 1U);
  EXPECT_EQ(deployment.services[0].serviceName, "B");
}

TEST_F(DeploymentTest, OneNameInTwoFilesKeepsTheFirstInNameOrderUnlessTheUuidDiffers) {
  const auto serviceWith = [](const std::string& name, const std::string& topic, const std::string& uuid) {
    return R"({"services": [{"name": ")" + name + R"(", "events": [{"name": "e", "uuid": ")" + uuid +
           R"(", "dds": {"topic": ")" + topic + R"(", "typeName": "T"}}]}]})";
  };
  folder_.Write("services/2.json", serviceWith("B", "second", "1"));
  folder_.Write("services/1.json", serviceWith("A", "first", "1"));
  folder_.Write("services/3.json", serviceWith("C", "third", "2"));

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), ElementsAre("services/2.json:1 /services/0/events/0/name"));
  EXPECT_THAT(deployment.faults.at(0).message, HasSubstr("services/1.json"));
  ASSERT_EQ(deployment.events.size(), 2U);
  EXPECT_EQ(deployment.events[0].bindings.at(DriverType::kDds).dds.topicName, "first");
  EXPECT_EQ(deployment.events[1].bindings.at(DriverType::kDds).dds.topicName, "third");
  EXPECT_THAT(deployment.services[1].eventNames, IsEmpty());
}

TEST_F(DeploymentTest, AServiceThatCannotBeUsedTakesItsEventsAlongAndAllFaultsAreTold) {
  folder_.Write(
      "services/s.json",
      "{\"services\": [{\"name\": \"S\",\n\"dds\": {\"serviceId\": 65536},\n"
      "\"events\": [{\"name\": \"e\", \"dds\": {\"topic\": \"t\", \"typeName\": \"T\"}},\n{\"name\": \"f\"}]}]}");
  const Deployment deployment = Load();
  EXPECT_THAT(Places(deployment),
              ElementsAre("services/s.json:2 /services/0/dds/serviceId", "services/s.json:4 /services/0/events/1"));
  EXPECT_TRUE(deployment.services.empty() && deployment.events.empty());
}

TEST_F(DeploymentTest, AFileFullOfFaultsIsCutShort) {
  folder_.Write("types/t.json", nlohmann::json(std::vector<int>(1000)).dump());
  const Deployment deployment = Load();
  ASSERT_EQ(deployment.faults.size(), 201U);
  EXPECT_THAT(deployment.faults.back().message, HasSubstr("more than 200 faults"));
}

TEST(DeploymentFolder, OneThatDoesNotExistIsOneFault) {
  const Deployment deployment = LoadDeployment("/nonexistent/deployment");
  ASSERT_EQ(deployment.faults.size(), 1U);
  EXPECT_EQ(FaultText(deployment.faults[0]), "/nonexistent/deployment: expected a folder with types/ and services/");
}

TEST_F(DeploymentTest, SerializationSettingsAreInheritedAndTravelEncoded) {
  folder_.Write("services/s.json", Service(R"("events": [
    {"name": "a", "someip": {"eventId": "0x8001", "eventGroups": [1], "udpPort": 5}, "serialization": {"type": "SOMEIP", "settings": {
       "bigEndian": false, "stringEncoding": "UTF-16LE", "childNodeEnableTlv": true,
       "children": [{"dataId": 5, "stringLength": 2}, {"dataId": 6, "bigEndian": true}]}}},
    {"name": "p", "someip": {"eventId": "0x8002", "eventGroups": [1], "udpPort": 5}, "serialization": {"type": "PDU", "pdu": {
       "length": 8, "signals": [{"name": "s", "bitPosition": 4, "bitLength": 12, "signed": true, "factor": "0.5"},
                                {"name": "t", "bitLength": 1, "initialValue": 1}]}}}])"));

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), IsEmpty());
  ASSERT_EQ(deployment.events.size(), 2U);
  maintaind::SerializationNode node;
  ASSERT_TRUE(maintaind::Decode(deployment.events[0].serializeConfig.serializedConfig, node));
  EXPECT_FALSE(node.isBigEndian);
  EXPECT_TRUE(node.isChildNodeEnableTlv);
  ASSERT_EQ(node.children.size(), 2U);
  EXPECT_EQ(node.children[0].dataId, 5);
  EXPECT_EQ(node.children[0].stringLength, 2);
  EXPECT_EQ(node.children[0].stringEncoding, maintaind::StringEncoding::kUtf16Le);
  EXPECT_FALSE(node.children[0].isBigEndian || node.children[0].isChildNodeEnableTlv);
  EXPECT_TRUE(node.children[1].isBigEndian);
  maintaind::PduDescription pdu;
  ASSERT_TRUE(maintaind::Decode(deployment.events[1].serializeConfig.serializedConfig, pdu));
  EXPECT_EQ(pdu.length, 8U);
  ASSERT_EQ(pdu.signals.size(), 2U);
  EXPECT_EQ(pdu.signals[0].bitPosition, 4U);
  EXPECT_TRUE(pdu.signals[0].isSigned && !pdu.signals[0].hasInitialValue);
  EXPECT_TRUE(pdu.signals[1].hasInitialValue);
}

TEST_F(DeploymentTest, SerializationsThatCannotBeAreRefused) {
  const auto event = [](const std::string& name, const std::string& serialization) {
    return R"({"name": ")" + name + R"(", "dds": {"topic": "t", "typeName": "T"}, "serialization": )" + serialization +
           "}";
  };
  folder_.Write("services/s.json",
                Service("\"events\": [" + event("a", R"({"type": "SOMEIP", "settings": {"stringLength": 3}})") + ",\n" +
                        event("b", R"({"type": "SOMEIP", "settings": {"children": [{"dataId": 4096}]}})") + ",\n" +
                        event("c", R"({"type": "CM", "settings": {}})") + ",\n" + event("d", R"({"type": "PDU"})") +
                        ",\n" + event("e", R"({"type": "PDU", "pdu": {"signals": [{"name": "s", "bitLength": 65}]}})") +
                        ",\n" + event("f", R"({"type": "PDU", "pdu": {"signals": [
                            {"name": "s", "bitLength": 1, "factor": "x"}, {"name": "s", "bitLength": 1}]}})") +
                        ",\n" + event("g", R"({"type": "PDU", "pdu": {"length": 2, "signals": [
                            {"name": "last", "bitPosition": 15, "bitLength": 8, "bigEndian": true},
                            {"name": "s", "bitPosition": 14, "bitLength": 8, "bigEndian": true},
                            {"name": "t", "bitPosition": 9, "bitLength": 8},
                            {"name": "u", "bitLength": 3, "initialValue": 8}]}})") +
                        "]"));

  const Deployment deployment = Load();

  EXPECT_EQ(deployment.events.size(), 0U);
  const std::string at = "services/s.json:";
  const std::string events = " /services/0/events/";
  EXPECT_THAT(Places(deployment),
              ElementsAre(at + "2" + events + "0/serialization/settings/stringLength",
                          at + "3" + events + "1/serialization/settings/children/0/dataId",
                          at + "4" + events + "2/serialization/settings", at + "5" + events + "3/serialization",
                          at + "6" + events + "4/serialization/pdu/signals/0/bitLength",
                          at + "8" + events + "5/serialization/pdu/signals/0/factor",
                          at + "8" + events + "5/serialization/pdu/signals/1/name",
                          at + "11" + events + "6/serialization/pdu/signals/1/bitPosition",
                          at + "12" + events + "6/serialization/pdu/signals/2/bitPosition",
                          at + "13" + events + "6/serialization/pdu/signals/3/initialValue"));
}

}  // namespace
}  // namespace qor::com
