// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/log/log_capture.h"
#include "src/datatype/qor_deserializer.h"
#include "src/datatype/qor_someip_deserializer.h"
#include "tests/support/bytes.h"

namespace qor {
namespace {

using namespace std::literals;

using Protocol = QorDeserializer::Protocol;
using Format = QorDeserializer::FormatType;
using Code = QorDeserializer::DeserializationRetCode;
using Policy = maintaind::StructSerializationPolicy;

constexpr char kDefinitions[] = R"([
  {"ShortName": "Speed", "Type": "VALUE", "Primitive": "std::uint16_t"},
  {"ShortName": "Title", "Type": "VALUE", "Primitive": "string"},
  {"ShortName": "Gear", "Type": "ENUMERATION", "DataType": "int8", "value": [{"Label": "P", "Value": "0"}]},
  {"ShortName": "Plate", "Type": "FIXED_STRING", "length": "8"},
  {"ShortName": "Triple", "Type": "ARRAY", "template": "uint8_t", "length": "3"},
  {"ShortName": "Bytes", "Type": "VECTOR", "template": "uint8_t"},
  {"ShortName": "Titles", "Type": "VECTOR", "template": "string"},
  {"ShortName": "Point", "Type": "STRUCTURE", "Subelements": [
    {"Name": "x", "Type": "int8"},
    {"Name": "kind", "Type": "uint8", "IsConstant": "true", "Padding": "9"},
    {"Name": "y", "Type": "int8"}]},
  {"ShortName": "Path", "Type": "VECTOR", "template": "Point"},
  {"ShortName": "Rows", "Type": "ARRAY", "template": "Bytes", "length": "2"},
  {"ShortName": "Box", "Type": "STRUCTURE", "Subelements": [
    {"Name": "id", "Type": "uint8", "Padding": "1"},
    {"Name": "at", "Type": "PointAlias", "Padding": "2"},
    {"Name": "path", "Type": "Path"}]},
  {"ShortName": "PaddedPoint", "Type": "STRUCTURE", "Subelements": [
    {"Name": "x", "Type": "int8", "Padding": "1"}, {"Name": "y", "Type": "int8"}]},
  {"ShortName": "Frame", "Type": "STRUCTURE", "Subelements": [
    {"Name": "first", "Type": "PaddedPoint", "Padding": "2"}, {"Name": "second", "Type": "PaddedPoint"}]},
  {"ShortName": "PointAlias", "Type": "TYPE_REFERENCE", "Typedef": "Point", "Definition": ""},
  {"ShortName": "Names", "Type": "ASSOCIATIVE_MAP", "key": "uint8", "value": "string"},
  {"ShortName": "Places", "Type": "ASSOCIATIVE_MAP", "key": "Point", "value": "Point"},
  {"ShortName": "Either", "Type": "VARIANT", "Subelements": [{"Type": "uint8"}, {"Type": "Point"}]},
  {"ShortName": "Options", "Type": "ASSOCIATIVE_MAP", "key": "uint8", "value": "Either"},
  {"ShortName": "Item", "Type": "STRUCTURE", "Subelements": [{"Name": "options", "Type": "Options"}]},
  {"ShortName": "Items", "Type": "VECTOR", "template": "Item"},
  {"ShortName": "Nothing", "Type": "STRUCTURE", "Subelements": [
    {"Name": "fixed", "Type": "uint32", "IsConstant": "true"}]},
  {"ShortName": "Nothings", "Type": "VECTOR", "template": "Nothing"},
  {"ShortName": "Failure", "Type": "ERROR", "ErrorDomainId": 7, "ErrorDomainName": "Doors", "ErrorCode": [
    {"Id": 2, "Name": "kJammed"}]},
  {"ShortName": "Raw", "Type": "RAWBUFFER"},
  {"ShortName": "Image", "Type": "STRUCTURE", "Subelements": [
    {"Name": "width", "Type": "uint8"}, {"Name": "pixels", "Type": "Raw"}]},
  {"ShortName": "Scalars", "Type": "STRUCTURE", "Subelements": [
    {"Name": "b", "Type": "bool"}, {"Name": "i8", "Type": "int8"}, {"Name": "u8", "Type": "std::uint8_t"},
    {"Name": "i16", "Type": "int16_t"}, {"Name": "u32", "Type": "uint32"}, {"Name": "i64", "Type": "int64"},
    {"Name": "f", "Type": "float32"}, {"Name": "d", "Type": "double"}]},
  {"ShortName": "Chain", "Type": "STRUCTURE", "Subelements": [{"Name": "next", "Type": "Link"}]},
  {"ShortName": "Link", "Type": "VECTOR", "template": "Chain"},
  {"ShortName": "Endless", "Type": "ARRAY", "template": "Nothing", "length": "4000000000"},
  {"ShortName": "Tagged", "Type": "STRUCTURE", "Subelements": [
    {"Name": "a", "Type": "uint16"}, {"Name": "b", "Type": "Bytes", "IsOptional": "true"},
    {"Name": "c", "Type": "Point"}]},
  {"ShortName": "Lever", "Type": "STRUCTURE", "Subelements": [
    {"Name": "gear", "Type": "Gear"}, {"Name": "at", "Type": "Point"}, {"Name": "on", "Type": "bool"}]},
  {"ShortName": "Words", "Type": "STRUCTURE", "Subelements": [
    {"Name": "a", "Type": "uint16"}, {"Name": "b", "Type": "uint16"}]},
  {"ShortName": "Noted", "Type": "STRUCTURE", "Subelements": [
    {"Name": "x", "Type": "uint8"}, {"Name": "note", "Type": "string", "IsConstant": "true"}]},
  {"ShortName": "NotedList", "Type": "VECTOR", "template": "Noted"},
  {"ShortName": "TaggedEither", "Type": "STRUCTURE", "Subelements": [{"Name": "v", "Type": "Either"}]},
  {"ShortName": "Fault", "Type": "FOO"}
])";

bool Query(datatype::DefinitionTexts& texts) {
  for (const auto& definition : nlohmann::json::parse(kDefinitions)) {
    texts.emplace(definition["ShortName"].get<std::string>(), definition.dump());
  }
  return true;
}

/// One payload and what is printed for it, by hand.
struct Golden {
  Protocol protocol;
  Format format;
  const char* type;
  const char* payload;  ///< hexadecimal
  std::string_view text;
};

constexpr auto kDds = Protocol::kDds;
constexpr auto kSomeip = Protocol::kSomeip;
constexpr auto kLine = Format::kOneLine;
constexpr auto kLines = Format::kMultiLine;
constexpr auto kBrief = Format::kOneLineSummary;

const Golden kGoldens[] = {
    // scalars, both byte orders, the extremes
    {kDds, kLine, "Speed", "0102", R"({ "e" : 513 })"},
    {kSomeip, kLine, "Speed", "0102", R"({ "e" : 258 })"},
    {kDds, kLines, "std::int32_t", "FFFFFFFF", "-1\n---"},
    {kDds, kLine, "Scalars", "02 80 FF 0080 FFFFFFFF 0000000000000080 0000C03F 000000000000F8BF",
     R"({ "e" : { "b" : 1, "i8" : -128, "u8" : 255, "i16" : -32768, "u32" : 4294967295, )"
     R"("i64" : -9223372036854775808, "f" : 1.500000, "d" : -1.500000 } })"},
    {kSomeip, kLines, "Scalars", "00 7F 00 7FFF 00000001 7FFFFFFFFFFFFFFF 7F800000 7FF8000000000000",
     "b: 0\ni8: 127\nu8: 0\ni16: 32767\nu32: 1\ni64: 9223372036854775807\nf: inf\nd: nan\n---"},
    {kDds, kLine, "Gear", "FD", R"({ "e" : "Gear::-3" })"},
    // texts
    {kDds, kLine, "Title", "03000000 686900", "{ \"e\" : \"hi\0\" }"sv},  // a counted zero is a character
    {kDds, kLine, "string", "00000000", R"({ "e" : "" })"},
    {kSomeip, kLine, "Title", "00000006 EFBBBF 6869 00", R"({ "e" : "hi" })"},
    {kSomeip, kLines, "Title", "00000004 EFBBBF 00", "\"\"\n---"},
    {kDds, kLine, "Plate", "4142004344454647", R"({ "e" : "AB" })"},
    {kSomeip, kLine, "Plate", "4142434445464748", R"({ "e" : "ABCDEFGH" })"},
    // lists
    {kDds, kLine, "Triple", "010203", R"({ "e" : [ 1, 2, 3 ] })"},
    {kDds, kLines, "Triple", "010203", "[ 1, 2, 3 ]\n---"},
    {kDds, kBrief, "Triple", "010203", R"({ "e" : "<array type: uint8_t, length: 3>" })"},
    {kDds, kLine, "Bytes", "00000000", R"({ "e" : [  ] })"},
    {kDds, kLine, "Bytes", "02000000 FF00", R"({ "e" : [ 255, 0 ] })"},
    {kSomeip, kLine, "Bytes", "00000002 FF00", R"({ "e" : [ 255, 0 ] })"},
    {kDds, kBrief, "Bytes", "10000000 000102030405060708090A0B0C0D0E0F",
     R"({ "e" : "<vector type: uint8_t, length: 16>" })"},
    {kSomeip, kBrief, "Titles", "00000012 00000005 EFBBBF 61 00 00000005 EFBBBF 62 00",
     R"({ "e" : "<vector type: string, length: 2>" })"},
    {kSomeip, kLine, "Titles", "00000009 00000005 EFBBBF 61 00", R"({ "e" : [ "a" ] })"},
    {kDds, kLine, "Path", "02000000 01FF 0203", R"({ "e" : [ { "x" : 1, "y" : -1 }, { "x" : 2, "y" : 3 } ] })"},
    {kSomeip, kLines, "Path", "00000004 01FF 0203", "-\n\tx: 1\n\ty: -1\n-\n\tx: 2\n\ty: 3\n---"},
    {kDds, kLines, "Rows", "01000000 07 02000000 0809", "-[ 7 ]\n-[ 8, 9 ]\n---"},
    // maps
    {kDds, kLine, "Names", "00000000", R"({ "e" : [  ] })"},
    {kDds, kLine, "Names", "02000000 01 01000000 61 02 00000000",
     R"({ "e" : [ { "key" : 1, "value" : "a" }, { "key" : 2, "value" : "" } ] })"},
    {kSomeip, kLines, "Names", "0000000A 01 00000005 EFBBBF 61 00", "-\n\t\"key\": 1\n\t\"value\": \"a\"\n---"},
    {kDds, kLines, "Places", "01000000 0102 0304",
     "-\n\t\"key\": \n\t\tx: 1\n\t\ty: 2\n\t\"value\": \n\t\tx: 3\n\t\ty: 4\n---"},
    // structures: constant members and their padding are not there, padding is passed over
    {kDds, kLine, "Nothing", "", R"({ "e" : {  } })"},
    {kDds, kLine, "Box", "05 AA 0102 BBBB 01000000 0304",
     R"({ "e" : { "id" : 5, "at" : { "x" : 1, "y" : 2 }, "path" : [ { "x" : 3, "y" : 4 } ] } })"},
    {kDds, kLines, "Box", "05 AA 0102 BBBB 01000000 0304",
     "id: 5\nat: \n\tx: 1\n\ty: 2\npath: \n\t-\n\t\tx: 3\n\t\ty: 4\n---"},
    {kSomeip, kLine, "Box", "05 0102 00000002 0304",
     R"({ "e" : { "id" : 5, "at" : { "x" : 1, "y" : 2 }, "path" : [ { "x" : 3, "y" : 4 } ] } })"},
    {kDds, kLine, "Frame", "01AA02 BBBB 03AA04",
     R"({ "e" : { "first" : { "x" : 1, "y" : 2 }, "second" : { "x" : 3, "y" : 4 } } })"},
    {kDds, kLine, "Lever", "FD 0102 01", R"({ "e" : { "gear" : "Gear::-3", "at" : { "x" : 1, "y" : 2 }, "on" : 1 } })"},
    // variants, alone and deep inside
    {kDds, kLine, "Either", "00000000 01000000 09", R"({ "e" : { "index" : 0, "value" : 9 } })"},
    {kSomeip, kLines, "Either", "00000006 00000002 0102", "\n\"index\" : 1\n\"value\" : \n\tx: 1\n\ty: 2\n---"},
    {kDds, kLine, "Items", "01000000 01000000 07 00000000 02000000 0102",
     R"({ "e" : [ { "options" : [ { "key" : 7, "value" : { "index" : 1, "value" : { "x" : 1, "y" : 2 } } } ] } ] })"},
    {kDds, kLines, "Items", "01000000 01000000 07 00000000 01000000 05",
     "-\n\toptions: \n\t\t-\n\t\t\t\"key\": 7\n\t\t\t\"value\": \n\t\t\t\t\"index\" : 0\n\t\t\t\t\"value\" : 5\n---"},
    {kDds, kLine, "Raw", "01FF", R"({ "e" : [ 1, 255 ] })"},
    {kDds, kBrief, "Raw", "01FF", R"({ "e" : "<mbuf type: vector<uint8>, length: 2>" })"},
};

class RenderingTest : public ::testing::Test {
 protected:
  static std::string Render(const Golden& golden, std::span<const std::uint8_t> payload, Code* code = nullptr) {
    QorDeserializer deserializer(golden.protocol, Query, QorDeserializer::DeserializeType::kPadded,
                                 Policy::kAlignOuterLayer, golden.format);
    std::string text;
    const bool isOk = deserializer.Deserialize(golden.type, "e", payload, {}, text);
    EXPECT_EQ(isOk, deserializer.GetDeserializationRetCode() == Code::kSuccess);
    EXPECT_EQ(isOk, deserializer.GetDeserializationRetInfo().empty());
    if (code != nullptr) {
      *code = deserializer.GetDeserializationRetCode();
    }
    return text;
  }
};

TEST_F(RenderingTest, EveryFormInEveryLayout) {
  for (const Golden& golden : kGoldens) {
    SCOPED_TRACE(std::string(golden.type) + " " + golden.payload);
    EXPECT_EQ(Render(golden, test::FromHex(golden.payload)), golden.text);
  }
}

TEST_F(RenderingTest, ACutOrChangedPayloadIsRefusedOrPrintedButNeverReadPast) {
  const log::LogCapture quiet;
  for (const Golden& golden : kGoldens) {
    SCOPED_TRACE(std::string(golden.type) + " " + golden.payload);
    const auto payload = test::FromHex(golden.payload);
    const bool isSelfSized = std::string_view(golden.type) == "Raw";
    for (std::size_t size = 0; size < payload.size(); ++size) {
      Code code{};
      const std::vector<std::uint8_t> cut(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(size));
      const std::string text = Render(golden, cut, &code);
      EXPECT_EQ(code == Code::kOutOfBounds || code == Code::kInvalidData, !isSelfSized) << size;
      EXPECT_LT(text.size(), 400U);
    }
    for (std::size_t at = 0; at < payload.size(); ++at) {
      auto changed = payload;
      changed[at] ^= 0xFF;
      EXPECT_LT(Render(golden, changed).size(), 100 * (payload.size() + 10)) << at;
    }
  }
}

class DeserializerTest : public ::testing::Test {
 protected:
  log::LogCapture log_;
};

TEST_F(DeserializerTest, WhatIsOutOfBoundsIsToldWithItsPlace) {
  QorDeserializer deserializer(kDds, Query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer, kLine);
  // No other test reads this type: the lines are limited by it.
  EXPECT_EQ(deserializer.Deserialize("float64", "e", {1, 2}, {}), "{ \"e\" : ");
  EXPECT_EQ(log_.Count(LogLevel::kError, "Memory out of bound when deserializing 'float64': size=2, offset=0, len=8"),
            1U);
  EXPECT_EQ(log_.Count(LogLevel::kError,
                       "Failed to deserialize[name=e, dataType=float64, stream={ \"e\" : , currentStream=]"),
            1U);
  EXPECT_EQ(deserializer.Deserialize("Bytes", "e", {255, 255, 255, 255, 8}, {}), "{ \"e\" : [ 8, ")
      << "a count of 4 billion";
  EXPECT_EQ(deserializer.Deserialize("Nothings", "e", {255, 255, 255, 255, 8}, {}), "{ \"e\" : ")
      << "elements without bytes";
  EXPECT_EQ(deserializer.Deserialize("Either", "e", {0, 0, 0, 0, 0, 0, 0, 0}, {}), "{ \"e\" : ");
  EXPECT_EQ(deserializer.GetDeserializationRetInfo(), "Receive variant index is invalid[receiveIndex=0, msgSize=2]");
}

TEST_F(DeserializerTest, PaddingIsThereUnlessTheSampleWasMadeWithout) {
  const auto render = [](QorDeserializer::DeserializeType type, Policy policy, const char* payload) {
    QorDeserializer deserializer(kDds, Query, type, policy, kLine);
    return deserializer.Deserialize("Frame", "e", test::FromHex(payload), {});
  };
  constexpr char kText[] = R"({ "e" : { "first" : { "x" : 1, "y" : 2 }, "second" : { "x" : 3, "y" : 4 } } })";
  using Type = QorDeserializer::DeserializeType;
  EXPECT_EQ(render(Type::kUnpadded, Policy::kAlignOuterLayer, "01 02 03 04"), kText);
  EXPECT_EQ(render(Type::kPadded, Policy::kDisableOuterLayerAlignment, "01AA02 03AA04"), kText)
      << "the outermost members have none, those inside do";
}

TEST_F(DeserializerTest, MbufsAndErrorCodesComeBesideThePayload) {
  const std::vector<std::uint8_t> first = {1, 2};
  const std::vector<std::uint8_t> second = {3};
  const std::vector<OutMbufData> mbufs = {{first.data(), 2}, {second.data(), 1}};
  QorDeserializer deserializer(kDds, Query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer, kLine);
  EXPECT_EQ(deserializer.Deserialize("Image", "e", {9}, mbufs),
            R"({ "e" : { "width" : 9, "pixels" : [ 1, 2 ][ 3 ] } })");
  EXPECT_EQ(deserializer.Deserialize("Image", "e", {9}, {}), R"({ "e" : { "width" : 9, "pixels" :  } })");
  deserializer.SetErrorCode(2);
  EXPECT_EQ(deserializer.Deserialize("Failure", "e", {}, {}),
            R"({ "e" : { "errorDomain": "Doors", "errorCode": "kJammed" } })");
  deserializer.SetErrorCode(-5);
  EXPECT_EQ(deserializer.Deserialize("Failure", "e", {}, {}),
            R"({ "e" : { "errorDomain": "Doors", "errorCode": "-5" } })");
}

TEST_F(DeserializerTest, OneValueInsideAPayloadCanBePrinted) {
  QorDeserializer deserializer(kDds, Query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer,
                               kLines);
  QorDeserializer::Message message;
  message.typeName = "Point";
  message.payload = {9, 9, 1, 2, 3};
  message.offset = 2;
  message.depth = 1;
  std::ostringstream stream;
  EXPECT_TRUE(deserializer.Deserialize(message, stream));
  EXPECT_EQ(stream.str(), "\n\tx: 1\n\ty: 2");
  EXPECT_EQ(message.offset, 4U);
  EXPECT_FALSE(deserializer.Deserialize(message, stream));
  EXPECT_EQ(message.retCode, Code::kOutOfBounds);
}

TEST_F(DeserializerTest, JsonIsJson) {
  QorDeserializer deserializer(kDds, Query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer, kLine);
  deserializer.SetJson();
  const auto render = [&](const char* type, const char* payload) {
    return deserializer.Deserialize(type, "e", test::FromHex(payload), {});
  };
  EXPECT_EQ(
      render("Scalars", "01 80 FF 0080 FFFFFFFF 0000000000000080 0000807F 9A9999999999B93F"),
      R"({"b":true,"i8":-128,"u8":255,"i16":-32768,"u32":4294967295,"i64":-9223372036854775808,"f":"inf","d":0.1})");
  EXPECT_EQ(render("Title", "05000000 22 0A C3 A9 FF"), "\"\\\"\\n\\u00e9\\ufffd\"");
  EXPECT_EQ(render("Items", "01000000 01000000 07 00000000 02000000 0102"),
            R"([{"options":[{"key":7,"value":{"index":1,"value":{"x":1,"y":2}}}]}])");
  EXPECT_EQ(render("Gear", "FD"), "-3");
  EXPECT_EQ(render("Lever", "FD 0102 01"), R"({"gear":-3,"at":{"x":1,"y":2},"on":true})");
  EXPECT_EQ(render("Raw", "01FF"), "[[1,255]]");
}

TEST_F(DeserializerTest, TypesThatCannotBeAreRefusedWithTheirNames) {
  QorDeserializer deserializer(kDds, Query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer, kLine);
  const auto expectRefused = [&](const char* type, const char* info) {
    EXPECT_EQ(deserializer.Deserialize(type, "e", {1, 2, 3, 4}, {}), "");
    EXPECT_EQ(deserializer.GetDeserializationRetCode(), Code::kTypeUnknown);
    EXPECT_EQ(deserializer.GetDeserializationRetInfo(), info);
  };
  expectRefused("Chain", "Data type definitions refer to each other in a circle: Chain -> Link -> Chain");
  expectRefused("Endless", "Data type 'Endless' describes more values than a payload can hold");
  expectRefused("Fault", "[Failed to get type definition][typeName=Fault]");
  expectRefused("Nobody", "[Failed to get type definition][typeName=Nobody]");
  EXPECT_EQ(log_.Count(LogLevel::kError, "Failed to deserialize[name=e, dataType=Nobody]"), 1U);

  QorDeserializer other(static_cast<Protocol>(3), Query, QorDeserializer::DeserializeType::kPadded,
                        Policy::kAlignOuterLayer, kLine);
  EXPECT_EQ(other.Deserialize("uint8", "e", {1}, {}), "");
  EXPECT_EQ(log_.Count(LogLevel::kError, "Unable to deserialize unknown protocol data"), 1U);
}

TEST_F(DeserializerTest, NestingHasALimit) {
  const auto query = [](datatype::DefinitionTexts& texts) {
    for (int i = 0; i < 100; ++i) {
      const std::string name = "Nest" + std::to_string(i);
      const std::string inner = i == 99 ? "uint8" : "Nest" + std::to_string(i + 1);
      texts[name] = R"({"ShortName": ")" + name + R"(", "Type": "VECTOR", "template": ")" + inner + R"("})";
    }
    return true;
  };
  QorDeserializer deserializer(kSomeip, query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer,
                               kLine);
  EXPECT_EQ(deserializer.Deserialize("Nest90", "e", {0, 0, 0, 0}, {}), "{ \"e\" : [  ] }");
  EXPECT_EQ(deserializer.Deserialize("Nest0", "e", {0, 0, 0, 0}, {}), "");
  EXPECT_EQ(deserializer.Deserialize("Nest40", "e", {0, 0, 0, 0}, {}), "{ \"e\" : [  ] }") << "60 deep";
}

TEST_F(DeserializerTest, AStructureOfAnySizeAndPaddingIsPrintedWhole) {
  const auto query = [](datatype::DefinitionTexts& texts) {
    const auto add = [&texts](const std::string& name, int members, const std::string& type, const char* padding) {
      std::string list;
      for (int i = 0; i < members; ++i) {
        list += (i == 0 ? "" : ",") + (R"({"Name": "m)" + std::to_string(i) + R"(", "Type": ")" + type +
                                       R"(", "Padding": ")" + padding + R"("})");
      }
      texts[name] = R"({"ShortName": ")" + name + R"(", "Type": "STRUCTURE", "Subelements": [)" + list + "]}";
    };
    add("Sparse0", 1, "uint8", "65535");
    for (int i = 1; i < 15; ++i) {
      add("Sparse" + std::to_string(i), 1, "Sparse" + std::to_string(i - 1), "65535");
    }
    add("SparseRow", 64, "Sparse14", "65535");
    add("SparseAll", 64, "SparseRow", "1024");
    add("Many", 5000, "uint8", "1");
    return true;
  };
  QorDeserializer padded(kDds, query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer, kLine);
  const std::string text = padded.Deserialize("SparseAll", "e", std::vector<std::uint8_t>(4096, 7), {});
  EXPECT_EQ(padded.GetDeserializationRetCode(), Code::kOutOfBounds);
  EXPECT_EQ(std::ranges::count(text, '7'), 1) << "behind the first number are 16 paddings; all are 2^32 bytes";
  QorDeserializer packed(kDds, query, QorDeserializer::DeserializeType::kUnpadded, Policy::kAlignOuterLayer, kLine);
  EXPECT_TRUE(packed.Deserialize("Many", "e", std::vector<std::uint8_t>(5000), {}).ends_with(R"("m4999" : 0 } })"));
}

TEST_F(DeserializerTest, TextIsBoundedByThePayload) {
  const auto query = [](datatype::DefinitionTexts& texts) {
    std::string members = R"({"Name": "x", "Type": "uint8"})";
    for (int i = 0; i < 10000; ++i) {
      members += R"(,{"Name": "m)" + std::to_string(i) + R"(", "Type": "Hollow"})";
    }
    texts["Hollow"] = R"({"ShortName": "Hollow", "Type": "STRUCTURE", "Subelements": []})";
    texts["Wide"] = R"({"ShortName": "Wide", "Type": "STRUCTURE", "Subelements": [)" + members + "]}";
    texts["WideList"] = R"({"ShortName": "WideList", "Type": "VECTOR", "template": "Wide"})";
    return true;
  };
  QorDeserializer deserializer(kDds, query, QorDeserializer::DeserializeType::kPadded, Policy::kAlignOuterLayer, kLine);
  std::vector<std::uint8_t> payload = {0x88, 0x13, 0, 0};
  payload.resize(5004);
  const std::string text = deserializer.Deserialize("WideList", "e", payload, {});
  EXPECT_EQ(deserializer.GetDeserializationRetInfo(), "the value is too long for its payload");
  EXPECT_LT(text.size(), 8'000'000U) << "650 million without a limit";
}

// ---------------------------------------------------------------------------------------- SOME/IP with settings

using maintaind::SerializationNode;
using maintaind::StringEncoding;

/// As Golden, with settings.
struct ConfiguredGolden {
  SerializationNode settings;
  const char* type;
  const char* payload;
  std::string_view text;  ///< of the value alone; empty: refused
  const char* fault = "";
};

SerializationNode Plain() {
  SerializationNode node;
  node.isAddBOM = false;
  return node;
}

template <class Change>
SerializationNode With(Change change) {
  SerializationNode node = Plain();
  change(node);
  return node;
}

SerializationNode Text(StringEncoding encoding, bool hasMark, std::uint8_t lengthSize) {
  return With([&](SerializationNode& node) {
    node.stringEncoding = encoding;
    node.isAddBOM = hasMark;
    node.stringLength = lengthSize;
  });
}

/// The structure "Tagged" with its members' ids 1, 2 and 3.
SerializationNode Tagged(std::uint8_t staticSize = 4) {
  return With([&](SerializationNode& node) {
    node.isChildNodeEnableTlv = true;
    for (std::uint16_t id = 1; id <= 3; ++id) {
      node.children.push_back(Plain());
      node.children.back().dataId = id;
      node.children.back().tlvLengthFieldSize = staticSize;
    }
  });
}

std::vector<ConfiguredGolden> ConfiguredGoldens() {
  constexpr auto kUtf8 = StringEncoding::kUtf8;
  constexpr auto kLe = StringEncoding::kUtf16Le;
  constexpr auto kBe = StringEncoding::kUtf16Be;
  const auto lengths = [](std::uint8_t size) {
    return With([&](SerializationNode& node) {
      node.structLength = node.arrayLength = node.vectorAndMapLength = node.unionLengthField = size;
      node.unionTypeSelectorLength = size == 0 ? 1 : size;
    });
  };
  const auto little = With([](SerializationNode& node) { node.isBigEndian = false; });
  const auto padded = With([](SerializationNode& node) { node.elementPadding = 1; });
  const auto aligned = With([](SerializationNode& node) {
    node.alignment = 4;
    node.children = {Plain(), Plain(), Plain()};
    node.children[2].alignment = 4;
  });
  const auto mixed = With([&](SerializationNode& node) { node.children = {Plain(), little}; });
  const auto plainVectors = With([](SerializationNode& node) { node.plainVectorLength = 1; });
  return {
      {Plain(), "Speed", "0102", "258"},
      {little, "Speed", "0102", "513"},
      {little, "Bytes", "02000000 0102", "[ 1, 2 ]"},
      // texts: encodings, marks, length fields; without one they reach to the end
      {Text(kUtf8, true, 4), "Title", "00000007 EFBBBF C3A9 61 00", "\"\u00e9a\""},
      {Text(kUtf8, false, 1), "Title", "02 6869", "\"hi\""},
      {Text(kUtf8, false, 0), "Title", "686900", "\"hi\""},
      {Text(kUtf8, true, 2), "Title", "0003 414243", "", "Check UTF_8 String BOM is invalid[offset=2]"},
      {Text(kLe, true, 2), "Title", "000A FFFE 4100 3DD8 00DE 0000", "\"A\U0001F600\""},
      {Text(kBe, false, 1), "Title", "06 0041 D800 0042", "\"A\uFFFDB\""},
      {Text(kBe, true, 1), "Title", "04 FEFF 0000", "\"\""},
      {Text(kUtf8, false, 1), "Title", "03 6869", "",
       "Deserialize failed, len is overflow[dataType=string, offset=0, destLen=3]"},
      // fixed strings
      {Text(kUtf8, false, 4), "Plate", "4142430000000000", "\"ABC\""},
      {Text(kUtf8, true, 4), "Plate", "EFBBBF4142000000", "\"AB\""},
      {Text(kLe, true, 4), "Plate", "FFFE4100 42000000", "\"AB\""},
      {Text(kUtf8, false, 4), "Plate", "4142434445464748", "", "Check FixedString terminate is invalid"},
      {Text(kUtf8, true, 4), "Plate", "4142000000000000", "", "Check UTF_8 FixedString BOM is invalid[offset=0]"},
      {Text(kLe, true, 4), "Plate", "FEFF000000000000", "", "Check UTF_16LE FixedString BOM is invalid[offset=0]"},
      {Text(kBe, true, 4), "Plate", "FFFE000000000000", "", "Check UTF_16BE FixedString BOM is invalid[offset=0]"},
      {Text(kUtf8, false, 4), "Plate", "41420000", "", "Insufficiant bytes to deserialize[dataType=Plate]"},
      // length fields of every size; what a structure has beyond its members is passed over
      {lengths(0), "Triple", "010203", "[ 1, 2, 3 ]"},
      {lengths(1), "Triple", "03 010203", "[ 1, 2, 3 ]"},
      {lengths(2), "Bytes", "0002 0102", "[ 1, 2 ]"},
      {lengths(0), "Bytes", "0102", "[ 1, 2 ]"},
      {lengths(1), "Path", "08 03 0102FF 03 0304FF", R"([ { "x" : 1, "y" : 2 }, { "x" : 3, "y" : 4 } ])"},
      {lengths(2), "Names", "000B 01 00000001 61 02 00000000",
       R"([ { "key" : 1, "value" : "a" }, )"
       R"({ "key" : 2, "value" : "" } ])"},
      {lengths(1), "Either", "02 01 09FF", R"({ "index" : 0, "value" : 9 })"},
      {lengths(0), "Either", "01 09", R"({ "index" : 0, "value" : 9 })"},
      {lengths(4), "Either", "000000", "", "Insufficiant variant length field"},
      {lengths(1), "Either", "02 01 09", "", "Insufficiant bytes to deserialize[dataType=Either]"},
      {lengths(1), "Bytes", "05 0102", "", "Deserialize failed, len is overflow[dataType=Bytes, offset=0, destLen=5]"},
      {lengths(1), "Triple", "02 010203", "", "Insufficiant bytes to deserialize[dataType=uint8_t]"},
      {plainVectors, "Bytes", "02 0102", "[ 1, 2 ]"},
      {plainVectors, "Titles", "00000005 00000001 61", "[ \"a\" ]"},
      {plainVectors, "NotedList", "00000002 0102", R"([ { "x" : 1 }, { "x" : 2 } ])"},  // a constant text counts
      {mixed, "Words", "0102 0102", R"({ "a" : 258, "b" : 513 })"},
      // padding behind elements, and behind what varies in size
      {padded, "Triple", "01AA 02AA 03AA", "[ 1, 2, 3 ]"},
      {padded, "Triple", "01AA 02AA 03", "", "Array add padding will overflow[offset=5]"},
      {aligned, "Box", "05 0102 00000002 0304",
       R"({ "id" : 5, "at" : { "x" : 1, "y" : 2 }, )"
       R"("path" : [ { "x" : 3, "y" : 4 } ] })"},
      // tags: any order, optional members, unknown ids, every kind of length field
      {Tagged(), "Tagged", "1001 0005 4003 00000002 0102", R"({ "a" : 5, "c" : { "x" : 1, "y" : 2 } })"},
      {Tagged(1), "Tagged", "4003 02 0102 6002 0003 020708 1001 0005 2009 FFFFFFFF 7FFF 00000001 AA",
       R"({ "a" : 5, "b" : [ 2, 7, 8 ], "c" : { "x" : 1, "y" : 2 } })"},
      {Tagged(1), "TaggedEither", "4001 05 00000001 09", R"({ "v" : { "index" : 0, "value" : 9 } })"},
      {Tagged(), "Tagged", "1001 0005", "", "Find data id failed[dataType=Point]"},
      {Tagged(), "Tagged", "1001 0005 40", "", "Get tlv data id failed[dataType=Tagged]"},
      {Tagged(), "Tagged", "0001 05", "", "Get tlv data id failed[dataType=uint16]"},
      {Tagged(), "Tagged", "1001 00", "", "Insufficiant bytes to deserialize[dataType=uint16]"},
      {Tagged(0), "Tagged", "4003 0102", "", "Get tlv data id failed[dataType=Point]"},
      {Tagged(0), "Tagged", "1001 0005 5003 02 0102", R"({ "a" : 5, "c" : { "x" : 1, "y" : 2 } })"},
  };
}

TEST(ConfiguredRenderingTest, SettingsSayHowEveryFormIsRead) {
  const log::LogCapture quiet;
  for (const ConfiguredGolden& golden : ConfiguredGoldens()) {
    SCOPED_TRACE(std::string(golden.type) + " " + golden.payload);
    qortools::common::QorSomeipDeserializer deserializer(Query, golden.settings, kLine);
    const std::string text = deserializer.Deserialize(golden.type, "e", test::FromHex(golden.payload), {});
    EXPECT_EQ(deserializer.GetDeserializationRetInfo(), golden.fault);
    if (!golden.text.empty()) {
      EXPECT_EQ(text, "{ \"e\" : " + std::string(golden.text) + " }");
    }
  }
}

TEST(ConfiguredRenderingTest, ACutOrChangedPayloadIsNeverReadPast) {
  const log::LogCapture quiet;
  for (const ConfiguredGolden& golden : ConfiguredGoldens()) {
    SCOPED_TRACE(std::string(golden.type) + " " + golden.payload);
    const auto payload = test::FromHex(golden.payload);
    const auto render = [&](std::vector<std::uint8_t> bytes) {
      qortools::common::QorSomeipDeserializer deserializer(Query, golden.settings, kLine);
      const std::string text = deserializer.Deserialize(golden.type, "e", std::move(bytes), {});
      EXPECT_LT(text.size(), 100 * (payload.size() + 10));
    };
    for (std::size_t at = 0; at < payload.size(); ++at) {
      render({payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(at)});
      auto changed = payload;
      changed[at] ^= 0xFF;
      render(std::move(changed));
    }
  }
}

}  // namespace
}  // namespace qor
