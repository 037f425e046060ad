// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "src/common/records/to_json.h"

namespace qor::com {
namespace {

using maintaind::DriverType;
using maintaind::TransportQos;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

class DeploymentTest : public testing::Test {
 protected:
  DeploymentTest() {
    std::string pattern = testing::TempDir() + "/qor-deployment-XXXXXX";
    directory_ = ::mkdtemp(pattern.data());
  }
  ~DeploymentTest() override { fs::remove_all(directory_); }

  void Write(const std::string& name, const std::string& text) const {
    fs::create_directories((directory_ / name).parent_path());
    std::ofstream(directory_ / name) << text;
  }
  Deployment Load() const { return LoadDeployment(directory_.string()); }

  /// Each fault as "<file below the folder>:<line> <key>".
  std::vector<std::string> Places(const Deployment& deployment) const {
    std::vector<std::string> places;
    for (const DeploymentFault& fault : deployment.faults) {
      places.push_back(fs::path(fault.file).lexically_relative(directory_).string() + ":" + std::to_string(fault.line) +
                       " " + fault.key);
    }
    return places;
  }

  fs::path directory_;
};

/// One service with `entries` in the place of its lists; the entries begin on line 2.
std::string Service(const std::string& entries) {
  return R"({"services": [{"name": "S", "dds": {"serviceId": 7}, "someip": {"serviceId": 8, "instanceId": 1},)"
         "\n" +
         entries + "}]}";
}

TEST_F(DeploymentTest, AnEventTakesOverWhatItsServiceSaysAndAddsItsOwn) {
  Write("types/speed.json", R"({"ShortName": "Speed", "Type": "VALUE", "Primitive": "uint32"})");
  Write("services/chassis.json", R"json({"services": [{
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

  maintaind::EventRegisterInfo expected;
  expected.eventName = "/chassis/speed";
  expected.applicationName = "chassis";
  expected.dataTypeName = "Speed";
  expected.uuid = "77";
  expected.resource = "r";
  expected.serializeConfig.type = maintaind::SerializationType::kRos;
  expected.serializeConfig.structPolicy = maintaind::StructSerializationPolicy::kDisableOuterLayerAlignment;
  maintaind::DDSEventInfo& dds = expected.bindings[DriverType::kDds].dds;
  dds.serviceId = 0x0101;
  dds.instanceId = 2;
  dds.networkIp = "127.0.0.1";
  dds.subnetMask = "255.0.0.0";
  dds.domainId = 6;
  dds.topicName = "speed";
  dds.typeName = "Speed";
  dds.transports = {TransportQos::kShm, TransportQos::kDshmMbuf};
  dds.dataMode = maintaind::DataMode::kMbuf;
  dds.isKeyed = true;
  dds.partition = "a,b";
  dds.maxSampleSize = 4;
  dds.dataRepresentation = maintaind::DataRepresentation::kXcdr2;
  dds.publishMode = maintaind::PublishMode::kAsynchronous;
  dds.qos = {maintaind::DurabilityQos::kTransientLocal,
             {maintaind::HistoryKind::kKeepAll, 3},
             maintaind::ReliabilityKind::kBestEffort};
  dds.e2e.isProtected = true;
  dds.e2e.profile = 5;
  dds.e2e.dataId = 99;
  maintaind::SomeipEventInfo& someip = expected.bindings[DriverType::kSomeip].someip;
  someip.serviceId = 300;
  someip.instanceId = 4;
  someip.majorVersion = 9;
  someip.instanceShortName = "Front";
  someip.udpPort = 30501;
  someip.tcpPort = 30502;
  someip.isReliable = true;
  someip.eventId = 0x8001;
  someip.eventGroupIds = {1, 2};
  someip.tp = {true, 1008, 10};
  ASSERT_EQ(deployment.events.size(), 1U);
  EXPECT_TRUE(deployment.events[0] == expected) << maintaind::ToJson(deployment.events[0]).dump(1);
}

TEST_F(DeploymentTest, MethodsAndFieldsAreReadWithEachOfTheirParts) {
  Write("services/s.json", Service(R"(
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
  Write("types/all.json", types);

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), IsEmpty());
  const auto expected = nlohmann::ordered_json::parse(types);
  ASSERT_EQ(deployment.types.size(), expected.size());
  for (const auto& definition : expected) {
    EXPECT_EQ(deployment.types.at(definition["ShortName"]), definition.dump());
  }
}

struct BadEntry {
  const char* name;
  const char* text;     ///< of a type, or of the lists of a service
  const char* place;    ///< "<line> <key>" of the one fault
  const char* message;  ///< part of it
  bool isKept = false;  ///< the entry still loads
};
void PrintTo(const BadEntry& entry, std::ostream* stream) { *stream << entry.name; }

std::string NameOf(const testing::TestParamInfo<BadEntry>& info) { return info.param.name; }

class BadTypeTest : public DeploymentTest, public testing::WithParamInterface<BadEntry> {};

TEST_P(BadTypeTest, IsReportedWhereItStandsAndItsNeighbourLoads) {
  Write("types/t.json", std::string("[{\"ShortName\": \"Good\", \"Type\": \"RAWBUFFER\"},\n") + GetParam().text + "]");
  const Deployment deployment = Load();
  EXPECT_THAT(Places(deployment), ElementsAre(std::string("types/t.json:") + GetParam().place));
  EXPECT_THAT(deployment.faults.at(0).message, HasSubstr(GetParam().message));
  EXPECT_TRUE(deployment.types.contains("Good"));
  EXPECT_EQ(deployment.types.size(), GetParam().isKept ? 2U : 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Types, BadTypeTest,
    testing::Values(
        BadEntry{"NoObject", "5", "2 /1", "expected an object"},
        BadEntry{"NoShortName", R"({"Type": "RAWBUFFER"})", "2 /1", "\"ShortName\" is missing"},
        BadEntry{"ReservedName", R"({"ShortName": "uint8", "Type": "RAWBUFFER"})", "2 /1/ShortName", "reserved"},
        BadEntry{"NoType", R"({"ShortName": "A"})", "2 /1", "\"Type\" is missing"},
        BadEntry{"UnknownCategory", "{\"ShortName\": \"A\",\n\"Type\": \"FOO\"}", "3 /1/Type", "\"STRUCTURE\""},
        BadEntry{"UnknownPrimitive", R"({"ShortName": "A", "Type": "VALUE", "Primitive": "uint24"})", "2 /1/Primitive",
                 "primitive type"},
        BadEntry{"LengthIsNumber", R"({"ShortName": "A", "Type": "FIXED_STRING", "length": 5})", "2 /1/length",
                 "expected a text"},
        BadEntry{"LengthTooLarge", R"({"ShortName": "A", "Type": "ARRAY", "template": "bool", "length": "4294967296"})",
                 "2 /1/length", "decimal number"},
        BadEntry{"MapWithoutKey", R"({"ShortName": "A", "Type": "ASSOCIATIVE_MAP", "value": "bool"})", "2 /1",
                 "\"key\" is missing"},
        BadEntry{"EnumerationOfFloat", R"({"ShortName": "A", "Type": "ENUMERATION", "DataType": "float", "value": []})",
                 "2 /1/DataType", "integer type"},
        BadEntry{
            "LabelWithoutNumber",
            R"({"ShortName": "A", "Type": "ENUMERATION", "DataType": "int8", "value": [{"Label": "R", "Value": "x"}]})",
            "2 /1/value/0/Value", "an integer"},
        BadEntry{"PaddingZero",
                 "{\"ShortName\": \"A\", \"Type\": \"STRUCTURE\", \"Subelements\": [\n"
                 "{\"Name\": \"m\", \"Type\": \"bool\", \"Padding\": \"0\"}]}",
                 "3 /1/Subelements/0/Padding", "from 1 to 65535"},
        BadEntry{
            "PaddingWithLeadingZero",
            R"({"ShortName": "A", "Type": "STRUCTURE", "Subelements": [{"Name": "m", "Type": "bool", "Padding": "04"}]})",
            "2 /1/Subelements/0/Padding", "from 1 to 65535"},
        BadEntry{"MemberWithoutName", R"({"ShortName": "A", "Type": "STRUCTURE", "Subelements": [{"Type": "bool"}]})",
                 "2 /1/Subelements/0", "\"Name\" is missing"},
        BadEntry{"SubelementsNoList", R"({"ShortName": "A", "Type": "VARIANT", "Subelements": {}})", "2 /1/Subelements",
                 "expected a list"},
        BadEntry{
            "ErrorIdTooLarge",
            R"({"ShortName": "A", "Type": "ERROR", "ErrorDomainId": 1, "ErrorDomainName": "D", "ErrorCode": [{"Id": 2147483648, "Name": "B"}]})",
            "2 /1/ErrorCode/0/Id", "32 bits"},
        BadEntry{"UnknownKey", R"({"ShortName": "A", "Type": "VECTOR", "template": "bool", "lenght": "3"})",
                 "2 /1/lenght", "no such key", true},
        BadEntry{"UndefinedElement", R"({"ShortName": "A", "Type": "VECTOR", "template": "Nope"})", "2 /1/template",
                 "no type \"Nope\"", true},
        BadEntry{"DefinedTwice", R"({"ShortName": "Good", "Type": "VECTOR", "template": "bool"})", "2 /1/ShortName",
                 "defined already"}),
    NameOf);

class BadServiceTest : public DeploymentTest, public testing::WithParamInterface<BadEntry> {};

TEST_P(BadServiceTest, IsReportedWhereItStandsAndItsNeighbourLoads) {
  Write("services/s.json",
        Service(std::string(R"("events": [{"name": "good", "dds": {"topic": "t", "typeName": "T"}},)") + "\n" +
                GetParam().text + "]"));
  const Deployment deployment = Load();
  EXPECT_THAT(Places(deployment), ElementsAre(std::string("services/s.json:") + GetParam().place));
  EXPECT_THAT(deployment.faults.at(0).message, HasSubstr(GetParam().message));
  ASSERT_EQ(deployment.events.size(), GetParam().isKept ? 2U : 1U);
  EXPECT_EQ(deployment.events[0].eventName, "good");
  EXPECT_EQ(deployment.services.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Events, BadServiceTest,
    testing::Values(
        BadEntry{"NoName", R"({"dds": {"topic": "t", "typeName": "T"}})", "3 /services/0/events/1",
                 "\"name\" is missing"},
        BadEntry{"EmptyName", R"({"name": "", "dds": {"topic": "t", "typeName": "T"}})", "3 /services/0/events/1/name",
                 "not empty"},
        BadEntry{"NameWithBracket", R"({"name": "a[1]", "dds": {"topic": "t", "typeName": "T"}})",
                 "3 /services/0/events/1/name", "brackets"},
        BadEntry{"DefinedTwice", R"({"name": "good", "dds": {"topic": "t", "typeName": "T"}})",
                 "3 /services/0/events/1/name", "defined already"},
        BadEntry{"UuidNoNumber", R"({"name": "a", "uuid": "1a", "dds": {"topic": "t", "typeName": "T"}})",
                 "3 /services/0/events/1/uuid", "decimal digits"},
        BadEntry{"NoBinding", R"({"name": "a"})", "3 /services/0/events/1", "expected a binding"},
        BadEntry{"NoTopic", R"({"name": "a", "dds": {"typeName": "T"}})", "3 /services/0/events/1/dds", "\"topic\""},
        BadEntry{"NoTypeName", R"({"name": "a", "dds": {"topic": "t"}})", "3 /services/0/events/1/dds", "\"typeName\""},
        BadEntry{"DomainTooLarge",
                 "{\"name\": \"a\", \"dds\": {\"topic\": \"t\", \"typeName\": \"T\",\n\"domain\": 233}}",
                 "4 /services/0/events/1/dds/domain", "from 0 to 232"},
        BadEntry{"NegativeNumber", R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "instanceId": -1}})",
                 "3 /services/0/events/1/dds/instanceId", "from 0 to 65535"},
        BadEntry{"FractionalNumber", R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "instanceId": 1.0}})",
                 "3 /services/0/events/1/dds/instanceId", "from 0 to 65535"},
        BadEntry{"HexadecimalTooLarge",
                 R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "instanceId": "0x10000"}})",
                 "3 /services/0/events/1/dds/instanceId", "from 0 to 65535"},
        BadEntry{"NoTransports", R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "transports": []}})",
                 "3 /services/0/events/1/dds/transports", "at least one"},
        BadEntry{
            "UnknownTransport",
            "{\"name\": \"a\", \"dds\": {\"topic\": \"t\", \"typeName\": \"T\", \"transports\": [\"SHM\",\n\"TCP\"]}}",
            "4 /services/0/events/1/dds/transports/1", "\"DSHM(MBUF)\""},
        BadEntry{"BadAddress", R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "networkIp": "127.0.0"}})",
                 "3 /services/0/events/1/dds/networkIp", "address"},
        BadEntry{"MaskWithHole",
                 R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "subnetMask": "255.0.255.0"}})",
                 "3 /services/0/events/1/dds/subnetMask", "255.255.255.0"},
        BadEntry{"DepthZero",
                 R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "qos": {"history": {"depth": 0}}}})",
                 "3 /services/0/events/1/dds/qos", "depth"},
        BadEntry{"UnknownProfile",
                 R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "e2e": {"protected": true, "profile": 6}}})",
                 "3 /services/0/events/1/dds/e2e", "4, 5 or 7"},
        BadEntry{"KeyOfTheRunningSystem",
                 R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "participantGuid": ""}})",
                 "3 /services/0/events/1/dds/participantGuid", "no such key", true},
        BadEntry{"MistypedKeyInside",
                 R"({"name": "a", "dds": {"topic": "t", "typeName": "T", "qos": {"reliable": true}}})",
                 "3 /services/0/events/1/dds/qos/reliable", "durability, history, reliability", true},
        BadEntry{"UndefinedType", R"({"name": "a", "type": "Nope", "dds": {"topic": "t"}})",
                 "3 /services/0/events/1/type", "no type \"Nope\"", true},
        BadEntry{"MethodIdForEvent", R"({"name": "a", "someip": {"eventId": 1, "eventGroups": [1], "udpPort": 1}})",
                 "3 /services/0/events/1/someip/eventId", "0x8000"},
        BadEntry{"NoEventGroup", R"({"name": "a", "someip": {"eventId": "0x8001", "udpPort": 1}})",
                 "3 /services/0/events/1/someip", "\"eventGroups\""},
        BadEntry{
            "ReliableWithoutTcp",
            R"({"name": "a", "someip": {"eventId": "0x8001", "eventGroups": [1], "udpPort": 1, "reliable": true}})",
            "3 /services/0/events/1/someip", "\"tcpPort\""},
        BadEntry{
            "SegmentNotInUnits",
            R"({"name": "a", "someip": {"eventId": "0x8001", "eventGroups": [1], "udpPort": 1, "tp": {"maxSegmentLength": 1000}}})",
            "3 /services/0/events/1/someip/tp", "multiple of 16"}),
    NameOf);

TEST_F(DeploymentTest, ABadFileIsReportedAndTheOtherFilesLoad) {
  Write("services/a.json", "{\"services\": [\n{\"name\": \"A\"},\n]}");
  Write("services/b.json", R"({"services": [{"name": "B"}]})");
  Write("services/c.json", "{\"service\": []}");
  Write("services/d.txt", "not read");
  fs::create_directories(directory_ / "types" / "folder.json");

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
  Write("services/2.json", serviceWith("B", "second", "1"));
  Write("services/1.json", serviceWith("A", "first", "1"));
  Write("services/3.json", serviceWith("C", "third", "2"));

  const Deployment deployment = Load();

  EXPECT_THAT(Places(deployment), ElementsAre("services/2.json:1 /services/0/events/0/name"));
  EXPECT_THAT(deployment.faults.at(0).message, HasSubstr("services/1.json"));
  ASSERT_EQ(deployment.events.size(), 2U);
  EXPECT_EQ(deployment.events[0].bindings.at(DriverType::kDds).dds.topicName, "first");
  EXPECT_EQ(deployment.events[1].bindings.at(DriverType::kDds).dds.topicName, "third");
  EXPECT_THAT(deployment.services[1].eventNames, IsEmpty());
}

TEST_F(DeploymentTest, AServiceThatCannotBeUsedTakesItsEventsAlongAndAllFaultsAreTold) {
  Write("services/s.json",
        "{\"services\": [{\"name\": \"S\",\n\"dds\": {\"serviceId\": 65536},\n"
        "\"events\": [{\"name\": \"e\", \"dds\": {\"topic\": \"t\", \"typeName\": \"T\"}},\n{\"name\": \"f\"}]}]}");
  const Deployment deployment = Load();
  EXPECT_THAT(Places(deployment),
              ElementsAre("services/s.json:2 /services/0/dds/serviceId", "services/s.json:4 /services/0/events/1"));
  EXPECT_THAT(deployment.services, IsEmpty());
  EXPECT_THAT(deployment.events, IsEmpty());
}

TEST_F(DeploymentTest, AFileFullOfFaultsIsCutShort) {
  std::string list;
  for (int i = 0; i < 1000; ++i) {
    list += (i == 0 ? "" : ",") + std::string("1");
  }
  Write("types/t.json", "[" + list + "]");
  const Deployment deployment = Load();
  ASSERT_EQ(deployment.faults.size(), 201U);
  EXPECT_THAT(deployment.faults.back().message, HasSubstr("more than 200 faults"));
}

TEST(DeploymentFolder, OneThatDoesNotExistIsOneFault) {
  const Deployment deployment = LoadDeployment("/nonexistent/deployment");
  ASSERT_EQ(deployment.faults.size(), 1U);
  EXPECT_EQ(FaultText(deployment.faults[0]), "/nonexistent/deployment: expected a folder with types/ and services/");
}

TEST(DeploymentFolder, FaultTextNamesFileLineAndKey) {
  EXPECT_EQ(FaultText({"d/s.json", 7, "/services/0", "expected a text"}), "d/s.json:7: /services/0: expected a text");
}

}  // namespace
}  // namespace qor::com
