// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/qor_event_echo.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/log/log_capture.h"
#include "src/common/records/codec.h"
#include "src/common/tools_common_client_manager.h"
#include "src/qorevent/echo_option_check.h"
#include "src/qorevent/sample_renderer.h"
#include "tests/support/bytes.h"

namespace qor::qorevent {
namespace {

TEST(EchoOptionTest, TheFirstThatIsWrongHasItsLine) {
  const auto with = [](auto change) {
    EchoOptions options;
    change(options);
    return options;
  };
  struct {
    std::string name;
    EchoOptions options;
    std::string line;  ///< empty: all is well
  } const cases[] = {
      {"/a/b[c]", {}, ""},
      {"/a" + std::string(4998, 'b'), {}, ""},
      {"/a[b][c/d]", {}, ""},
      {"/a]", {}, ""},  // "A-z" has the brackets too
      {"", {}, "Event name length should not be 0 or greater than 5000."},
      {std::string(5001, '/'), {}, "Event name length should not be 0 or greater than 5000."},
      {"a/b", {}, "Event 'a/b' format error"},
      {"/1a", {}, "Event '/1a' format error"},
      {"/a//b", {}, "Event '/a//b' format error"},
      {"/a/b[]", {}, "Event '/a/b[]' format error"},
      {"/a/b[c]d", {}, "Event '/a/b[c]d' format error"},
      {"/a/", {}, "Event '/a/' format error"},
      {"/a", with([](auto& o) { o.ddsNetwork = "127.0.0.01"; }), "DDS Network '127.0.0.01' format error"},
      {"/a", with([](auto& o) { o.ddsNetwork = "10.0.0.255"; }), ""},
      {"/a", with([](auto& o) { o.someipNetwork = "1net"; }), "SOME/IP Network '1net' format error"},
      {"/a", with([](auto& o) { o.networkIp = "127.0.0.01"; }), ""},
      {"/a", with([](auto& o) { o.networkIp = "1:2:3:4:5:6:7:abCD"; }), ""},
      {"/a", with([](auto& o) { o.networkIp = "256.0.0.1"; }), "Network IP '256.0.0.1' format error"},
      {"/a", with([](auto& o) { o.uuid = "7x"; }), "Event uuid '7x' format error"},
      {"/a", with([](auto& o) { o.domainId = 233; }), "DomainId '233' range error"},
  };
  for (const auto& [name, options, line] : cases) {
    const log::LogCapture log;
    EXPECT_EQ(CheckParam(name, options), line.empty()) << name;
    EXPECT_EQ(log.Count(LogLevel::kError, line), line.empty() ? 0U : 1U) << name << " " << line;
  }
}

TEST(QorEventEchoTest, WithoutADaemonNothingStartsAndStoppingNothingIsTold) {
  qortools::common::ToolsCommonClientManager::GetInstance()->ServiceAvailabilityCallback({});
  const log::LogCapture log;
  QorEventEcho echo;
  EXPECT_EQ(echo.Echo("a/b", {}, [](const std::string&) {}), QorEventEcho::EchoResult::kBadParam);
  echo.Stop("/a");
  EXPECT_EQ(log.Count(LogLevel::kWarn, "Event is not echoing, ignore[eventName=/a]"), 1U);
}

class SampleRendererTest : public ::testing::Test {
 protected:
  static bool Query(datatype::DefinitionTexts& texts) {
    texts["EchoWord"] = R"({"ShortName": "EchoWord", "Type": "VALUE", "Primitive": "uint16"})";
    texts["EchoImage"] = R"({"ShortName": "EchoImage", "Type": "RAWBUFFER"})";
    texts["EchoNote"] =
        R"({"ShortName": "EchoNote", "Type": "STRUCTURE", "Subelements": [{"Name": "a\n b", "Type": "string"}]})";
    return true;
  }

  SampleInfo Render(maintaind::DriverType driver, const char* payload, std::uint16_t encapsulation = 1,
                    const EchoRendering& rendering = {}) {
    SampleRenderer renderer(event_.eventName, event_, event_.bindings.count(maintaind::DriverType::kDds) != 0,
                            rendering, Query);
    fault_ = renderer.Fault();
    const auto bytes = test::FromHex(payload);
    com::RecvBuffer sample;
    sample.payload = bytes;
    sample.encapsulation = encapsulation;
    SampleInfo info;
    isRendered_ = renderer.Render(driver, sample, info);
    size_ = info.payload.size();
    return info;
  }

  const log::LogCapture log_;
  maintaind::EventRegisterInfo event_;
  std::string fault_;
  bool isRendered_ = false;
  std::size_t size_ = 0;
};

TEST_F(SampleRendererTest, TheFormOfThePayloadFollowsFromTheRegistration) {
  using maintaind::DriverType;
  using maintaind::SerializationType;
  event_.eventName = "/e";
  event_.dataTypeName = "EchoWord";
  event_.bindings[DriverType::kSomeip];
  EXPECT_EQ(Render(DriverType::kSomeip, "0102").text, R"({ "/e" : 258 })");
  event_.bindings[DriverType::kDds];
  EXPECT_EQ(Render(DriverType::kDds, "0102").text, R"({ "/e" : 513 })");
  EXPECT_EQ(Render(DriverType::kSomeip, "0102").text, R"({ "/e" : 513 })") << "one payload goes over both bindings";
  EXPECT_EQ(Render(DriverType::kDds, "0102", 0).text, R"({ "/e" : 258 })") << "a big-endian encapsulation";
  event_.serializeConfig.type = SerializationType::kSomeip;
  EXPECT_EQ(Render(DriverType::kDds, "0102").text, R"({ "/e" : 258 })");
  maintaind::SerializationNode settings;
  settings.isBigEndian = false;
  event_.serializeConfig.serializedConfig = maintaind::Encode(settings);
  EXPECT_EQ(Render(DriverType::kSomeip, "0102").text, R"({ "/e" : 513 })");
  event_.serializeConfig.serializedConfig.pop_back();
  Render(DriverType::kSomeip, "0102");
  EXPECT_EQ(fault_, "its serialization settings cannot be read");
}

TEST_F(SampleRendererTest, AnEventWithoutATypeLeavesTheText) {
  event_.bindings[maintaind::DriverType::kDds].dds.typeName = "EchoWord";
  EXPECT_EQ(Render(maintaind::DriverType::kDds, "0102").text, R"({ "" : 513 })") << "the type that discovery tells";
  event_.bindings.clear();
  const SampleInfo info = Render(maintaind::DriverType::kDds, "0102");
  EXPECT_EQ(info.text, "");
  EXPECT_EQ(info.retCode, QorDeserializer::DeserializationRetCode::kTypeUnknown);
  EXPECT_EQ(info.retInfo, "its type is not known");
  EXPECT_EQ(fault_, "its type is not known");
  EXPECT_EQ(size_, 2U);
  event_.dataTypeName = "EchoNobody";
  Render(maintaind::DriverType::kDds, "0102");
  EXPECT_EQ(fault_, "there is no definition of its type 'EchoNobody'");
  EXPECT_EQ(log_.Count(LogLevel::kError, "Cannot get any avaliable type definition of 'EchoNobody'"), 0U)
      << "the tool says it once";
}

TEST_F(SampleRendererTest, APduIsCutToItsLength) {
  event_.serializeConfig.type = maintaind::SerializationType::kPdu;
  maintaind::PduDescription pdu;
  pdu.length = 2;
  pdu.signals.resize(1);
  pdu.signals[0].name = "s";
  pdu.signals[0].bitLength = 16;
  event_.serializeConfig.serializedConfig = maintaind::Encode(pdu);
  EXPECT_EQ(Render(maintaind::DriverType::kSomeip, "0102FF").text, R"({ "" : { "s" : 513 } })");
  EXPECT_EQ(size_, 2U);
  Render(maintaind::DriverType::kSomeip, "01");
  EXPECT_FALSE(isRendered_);
  EXPECT_EQ(log_.Count(LogLevel::kError, "[QorEventEcho][Failed to truncate msg]"), 1U);
}

TEST_F(SampleRendererTest, WhatTheTerminalCannotTakeIsFilteredAndMbufsAreTheValue) {
  event_.dataTypeName = "EchoNote";
  event_.bindings[maintaind::DriverType::kDds];
  EchoRendering rendering;
  rendering.format = QorDeserializer::FormatType::kMultiLine;
  rendering.textFilter = [](std::string_view text) { return std::to_string(text.size()) + " bytes"; };
  EXPECT_EQ(Render(maintaind::DriverType::kDds, "05000000 0A 613A2031", 1, rendering).text, "4 bytes: \"5 bytes\"\n---")
      << "neither a name nor a value can begin a line";
  rendering.textFilter = nullptr;
  EXPECT_EQ(Render(maintaind::DriverType::kDds, "05000000 0A 613A2031", 1, rendering).text, "a\n b: \"\na: 1\"\n---");

  event_.dataTypeName = "EchoImage";
  SampleRenderer renderer("", event_, true, {}, Query);
  const std::vector<std::uint8_t> pixels = {7, 8};
  const std::vector<OutMbufData> mbufs = {{pixels.data(), 2}};
  com::RecvBuffer sample;
  sample.mbufs = mbufs;
  SampleInfo info;
  ASSERT_TRUE(renderer.Render(maintaind::DriverType::kDds, sample, info));
  EXPECT_EQ(info.text, R"({ "" : [ 7, 8 ] })");
}

}  // namespace
}  // namespace qor::qorevent
