// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/datatype/definition_tables.h"
#include "src/datatype/qor_deserializer.h"
#include "src/datatype/type_parser.h"

namespace qor::datatype {
namespace {

std::string Structure(const std::string& member) {
  return R"({"ShortName": "S", "Type": "STRUCTURE", "Subelements": [)" + member + "]}";
}

TEST(TypeParserTest, MembersOfEveryCategoryAreRead) {
  TypeDefinition type;
  ASSERT_TRUE(ParseTypeDefinition(Structure(R"({"Name": "a", "Type": "T", "Padding": "4", "IsConstant": "TRUE"},
                                                {"Name": "b", "Type": "U", "IsConstant": "true", "IsOptional": "true"})"),
                                  type));
  ASSERT_EQ(type.members.size(), 2U);
  EXPECT_EQ(type.members[0].padding, 4);
  EXPECT_FALSE(type.members[0].isConstant) << "only \"true\" is";
  EXPECT_TRUE(type.members[1].isConstant && type.members[1].isOptional);
  EXPECT_FALSE(type.isPlane);
  ASSERT_TRUE(ParseTypeDefinition(R"({"ShortName": "E", "Type": "ERROR", "ErrorDomainId": 18446744073709551615,
      "ErrorDomainName": "D", "ErrorCode": [{"Id": -1, "Name": "n"}]})",
                                  type));
  EXPECT_EQ(type.errorDomainId, UINT64_MAX);
  EXPECT_EQ(type.errorCodes.at(0), std::pair(-1, std::string("n")));
  EXPECT_TRUE(type.members.empty()) << "nothing of the definition before is left";
  ASSERT_TRUE(ParseTypeDefinition(R"({"ShortName": "F", "Type": "FIXED_STRING", "length": "16"})", type));
  EXPECT_EQ(type.baseTypeName + std::to_string(type.length), "fixed_string16");
  EXPECT_TRUE(ParseTypeDefinition(R"({"ShortName": "R", "Type": "RAWBUFFER"})", type));
}

TEST(TypeParserTest, WhatIsNoDefinitionIsRefusedWithItsLine) {
  struct {
    std::string text;
    std::string line;  ///< empty: none of its own
  } const cases[] = {
      {"{", "Data type definition '{' format error"},
      {R"({"Type": "VALUE"})", R"(Data type definition '{"Type": "VALUE"}' is not legal)"},
      {R"({"ShortName": 1, "Type": "VALUE"})",
       R"(Data type definition '{"ShortName": 1, "Type": "VALUE"}' is not legal)"},
      {"[]", "Data type definition '[]' is not legal"},
      {R"({"ShortName": "F", "Type": "FOO"})", "Data type 'FOO' is unknown"},
      {Structure(R"({"Name": "m", "Type": "T", "Padding": "0"})"), "Padding of 'm' is illegal"},
      {Structure(R"({"Name": "n", "Type": "T", "Padding": "07"})"), "Padding of 'n' is illegal"},
      {Structure(R"({"Name": "o", "Type": "T", "Padding": ""})"), "Padding of 'o' is illegal"},
      {Structure(R"({"Name": "p", "Type": "T", "Padding": "-1"})"), "Padding of 'p' is illegal"},
      {Structure(R"({"Name": "q", "Type": "T", "Padding": 4})"), "Padding of 'q' is illegal"},
      {Structure(R"({"Name": "m"})"), ""},
      {Structure("7"), ""},
      {R"({"ShortName": "V", "Type": "VALUE", "Primitive": 3})", ""},
      {R"({"ShortName": "A", "Type": "ARRAY", "template": "uint8", "length": 3})", ""},
      {R"({"ShortName": "A", "Type": "ARRAY", "template": "uint8", "length": "4294967296"})", ""},
      {R"({"ShortName": "M", "Type": "ASSOCIATIVE_MAP", "key": "uint8"})", ""},
      {R"({"ShortName": "N", "Type": "ENUMERATION", "DataType": "uint8", "value": [{"Label": "a", "Value": 1}]})", ""},
      {R"({"ShortName": "V", "Type": "VARIANT", "Subelements": [{"Name": "uint8"}]})", ""},
      {R"({"ShortName": "T", "Type": "TYPE_REFERENCE", "Definition": ""})", ""},
      {R"({"ShortName": "E", "Type": "ERROR", "ErrorDomainId": -1, "ErrorDomainName": "", "ErrorCode": []})", ""},
  };
  for (const auto& [text, line] : cases) {
    const log::LogCapture log;
    TypeDefinition type;
    EXPECT_FALSE(ParseTypeDefinition(text, type)) << text;
    EXPECT_EQ(log.Count(LogLevel::kError, line), line.empty() ? 0U : 1U) << text;
  }
}

TEST(DefinitionTablesTest, ThreadsThatMissTogetherAskOnce) {
  DefinitionTables tables;
  std::atomic<int> queries = 0;
  std::barrier start(8);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      const auto found = tables.Find("A", [&](DefinitionTexts& texts) {
        ++queries;
        texts["A"] = R"({"ShortName": "A", "Type": "VECTOR", "template": "uint8"})";
        return true;
      });
      EXPECT_TRUE(found != nullptr && found->templateTypeName == "uint8");
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(queries, 1);
}

TEST(DefinitionTablesTest, AMissIsToldAndAskedForAgain) {
  const log::LogCapture log;
  DefinitionTables tables;
  EXPECT_EQ(tables.Find("A", [](DefinitionTexts&) { return false; }), nullptr);
  EXPECT_EQ(log.Count(LogLevel::kError, "Failed to query all datatype definition from maintaind."), 1U);
  EXPECT_EQ(tables.Find("A", [](DefinitionTexts&) { return true; }), nullptr);
  EXPECT_EQ(log.Count(LogLevel::kError, "Cannot get any avaliable type definition of 'A'"), 1U);
  EXPECT_EQ(log.Count(LogLevel::kInfo, "Cannot get any avaliable type definition, start query[dataType=A]"), 2U);
  EXPECT_EQ(tables.Find("A", [](DefinitionTexts& texts) { return texts.emplace("A", "{").second; }), nullptr);
  EXPECT_EQ(log.Count(LogLevel::kError, "Data type 'A' parse failed"), 1U);
}

TEST(TypeQuestionsTest, ReferencesAreFollowed) {
  const auto query = [](DefinitionTexts& texts) {
    texts["QAlias"] = R"({"ShortName": "QAlias", "Type": "TYPE_REFERENCE", "Typedef": "QGear", "Definition": ""})";
    texts["QGear"] = R"({"ShortName": "QGear", "Type": "ENUMERATION", "DataType": "std::uint16_t", "value": []})";
    texts["QList"] = R"({"ShortName": "QList", "Type": "VECTOR", "template": "QAlias"})";
    texts["QRow"] = R"({"ShortName": "QRow", "Type": "ARRAY", "template": "QAlias", "length": "2"})";
    texts["QPair"] = R"({"ShortName": "QPair", "Type": "STRUCTURE", "Subelements": [
        {"Name": "a", "Type": "QRow"}, {"Name": "b", "Type": "double"}]})";
    texts["QLost"] = R"({"ShortName": "QLost", "Type": "TYPE_REFERENCE", "Typedef": "QNobody", "Definition": ""})";
    texts["QLoop"] = R"({"ShortName": "QLoop", "Type": "TYPE_REFERENCE", "Typedef": "QLoop", "Definition": ""})";
    return true;
  };
  const log::LogCapture log;
  const auto make = [&](QorDeserializer::Protocol protocol) {
    return std::make_unique<QorDeserializer>(protocol, query, QorDeserializer::DeserializeType::kPadded,
                                             maintaind::StructSerializationPolicy::kAlignOuterLayer,
                                             QorDeserializer::FormatType::kOneLine);
  };
  const auto someip = make(QorDeserializer::Protocol::kSomeip);
  EXPECT_TRUE(someip->IsValue("QAlias"));
  EXPECT_FALSE(someip->IsValue("QList") || someip->IsValue("QPair") || someip->IsValue("QLost") ||
               someip->IsValue("QLoop"));
  EXPECT_EQ(log.Count(LogLevel::kError, "QLost Typedef is not found."), 1U);
  EXPECT_EQ(someip->GetBaseTypeSize("QAlias"), 2U);
  EXPECT_EQ(someip->GetBaseTypeSize("std::double"), 8U);
  EXPECT_EQ(someip->GetBaseTypeSize("QLoop"), 0U);
  EXPECT_TRUE(someip->IsUserDefinedType("ERROR"));
  EXPECT_FALSE(someip->IsUserDefinedType("VARIANT") || someip->IsUserDefinedType("int8_t"));
  std::string name = "QAlias";
  EXPECT_TRUE(someip->GetUserMappingDefinedType(name));
  EXPECT_EQ(name, "QGear");
  name = "QLost";
  EXPECT_FALSE(someip->GetUserMappingDefinedType(name));
  EXPECT_EQ(log.Count(LogLevel::kError, "[Failed to get type definition][typeName=QLost]"), 1U);

  QorDeserializer::TypeDefinition pair;
  QorDeserializer::TypeDefinition list;
  ASSERT_TRUE(someip->GetTypeDefinition("QPair", pair) && someip->GetTypeDefinition("QList", list));
  EXPECT_TRUE(someip->IsTriviallyCopyableType(pair));
  EXPECT_FALSE(someip->IsTriviallyCopyableType(list));
  EXPECT_FALSE(make(QorDeserializer::Protocol::kDds)->IsTriviallyCopyableType(pair));
}

}  // namespace
}  // namespace qor::datatype
