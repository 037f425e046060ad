// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/log/log_capture.h"
#include "src/datatype/qor_deserializer.h"
#include "tests/support/bytes.h"

namespace qor {
namespace {

bool Query(datatype::DefinitionTexts& texts) {
  texts["FieldPoint"] = R"({"ShortName": "FieldPoint", "Type": "STRUCTURE", "Subelements": [
      {"Name": "x", "Type": "uint8"}, {"Name": "y", "Type": "uint8"}]})";
  texts["FieldPoints"] = R"({"ShortName": "FieldPoints", "Type": "VECTOR", "template": "FieldPoint"})";
  texts["FieldNames"] = R"({"ShortName": "FieldNames", "Type": "ASSOCIATIVE_MAP", "key": "string",
      "value": "FieldPoint"})";
  texts["FieldEither"] = R"({"ShortName": "FieldEither", "Type": "VARIANT", "Subelements": [
      {"Type": "uint8"}, {"Type": "FieldPoint"}]})";
  texts["FieldRoot"] = R"({"ShortName": "FieldRoot", "Type": "STRUCTURE", "Subelements": [
      {"Name": "points", "Type": "FieldPoints"}, {"Name": "names", "Type": "FieldNames"},
      {"Name": "either", "Type": "FieldEither"}]})";
  return true;
}

/// Two points, one named point, the second alternative.
constexpr char kPayload[] = "02000000 0102 0304 01000000 01000000 61 0506 06000000 02000000 0708";

class FieldPathTest : public ::testing::Test {
 protected:
  std::string Render(const char* path) {
    QorDeserializer deserializer(QorDeserializer::Protocol::kDds, Query, QorDeserializer::DeserializeType::kPadded,
                                 maintaind::StructSerializationPolicy::kAlignOuterLayer,
                                 QorDeserializer::FormatType::kOneLine);
    std::string text;
    if (deserializer.SetField("FieldRoot", path)) {
      deserializer.Deserialize("FieldRoot", "e", test::FromHex(kPayload), {}, text);
    }
    fault_ = deserializer.GetDeserializationRetInfo();
    return text;
  }

  const log::LogCapture quiet_;
  std::string fault_;
};

TEST_F(FieldPathTest, PartsOfEveryKindAreFound) {
  EXPECT_EQ(Render("points[1]"), R"({ "x" : 3, "y" : 4 })");
  EXPECT_EQ(Render("points[0].y"), "2");
  EXPECT_EQ(Render("names[0].key"), "\"a\"");
  EXPECT_EQ(Render("names[0].value.x"), "5");
  EXPECT_EQ(Render("either[1].y"), "8");
  EXPECT_EQ(fault_, "");
}

TEST_F(FieldPathTest, WhatThisSampleDoesNotHaveIsAbsent) {
  for (const char* path : {"points[2].x", "names[1].key", "either[0]"}) {
    EXPECT_EQ(Render(path), "") << path;
    EXPECT_EQ(fault_, "this sample has no such part") << path;
  }
}

TEST_F(FieldPathTest, WhatTheTypeDoesNotHaveIsToldWithWhatItHas) {
  struct {
    const char* path;
    const char* fault;
  } const cases[] = {
      {"point", "'FieldRoot' has no member 'point'; it has: points, names, either"},
      {"points[0].z", "'FieldPoint' has no member 'z'; it has: x, y"},
      {"points.x", "'FieldPoints' has no members, so not 'x' either"},
      {"points[0][0]", "'FieldPoint' has no elements"},
      {"points[-1]", "'-1' is no number of an element"},
      {"points[1", "a '[' has no ']'"},
      {"points[1]x", "expected '.' or '[' before 'x'"},
      {"names[0]", "an entry of a map has a 'key' and a 'value': say which"},
      {"names[0].x", "an entry of a map has a 'key' and a 'value', not 'x'"},
      {"either[2]", "'FieldEither' has 2 alternatives, from 0 on"},
      {"points.", "'FieldPoints' has no members, so not '' either"},
  };
  for (const auto& [path, fault] : cases) {
    EXPECT_EQ(Render(path), "");
    EXPECT_EQ(fault_, fault) << path;
  }
}

}  // namespace
}  // namespace qor
