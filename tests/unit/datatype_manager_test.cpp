// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/qor_datatype_manager.h"

#include <gtest/gtest.h>

#include "platform/log/log_capture.h"

namespace qor {
namespace {

class QorDatatypeManagerTest : public ::testing::Test {
 protected:
  QorDatatypeManagerTest() {
    types_.SetDataTypeInfo({
        {"Speed", R"({"ShortName": "Speed", "Type": "VALUE", "Primitive": "float32"})"},
        {"Plate", R"({"ShortName": "Plate", "Type": "FIXED_STRING", "length": "8"})"},
        {"Alias", R"({"ShortName": "Alias", "Type": "TYPE_REFERENCE", "Typedef": "Gear", "Definition": ""})"},
        {"Gear", R"({"ShortName": "Gear", "Type": "ENUMERATION", "DataType": "uint8",
                     "value": [{"Label": "P", "Value": "0"}, {"Label": "D", "Value": "3"}]})"},
        {"Row", R"({"ShortName": "Row", "Type": "ARRAY", "template": "Speed", "length": "4"})"},
        {"Car", R"({"ShortName": "Car", "Type": "STRUCTURE", "Subelements": [
            {"Name": "gear", "Type": "Alias"}, {"Name": "row", "Type": "Row", "IsOptional": "true"},
            {"Name": "version", "Type": "uint8", "IsConstant": "true", "Value": "2"},
            {"Name": "next", "Type": "Car"}]})"},
        {"Loop", R"({"ShortName": "Loop", "Type": "TYPE_REFERENCE", "Typedef": "Loop", "Definition": ""})"},
        {"Bad", "{"},
    });
  }

  const log::LogCapture log_;
  QorDatatypeManager types_;
};

TEST_F(QorDatatypeManagerTest, ATypeIsNamedByWhatItLeadsTo) {
  EXPECT_EQ(types_.GetMessageName("Speed"), "float32");
  EXPECT_EQ(types_.GetMessageName("Plate"), "fixed_string");
  EXPECT_EQ(types_.GetMessageName("Alias"), "Gear");
  EXPECT_EQ(types_.GetMessageName("Car"), "Car");
  EXPECT_EQ(types_.GetMessageName("Loop"), "");
  EXPECT_EQ(types_.GetMessageName("Nobody"), "");
  EXPECT_EQ(log_.Count(LogLevel::kWarn, "Can't find datatype Nobody jsonstring."), 1U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "Parse datatype json for method failed."), 2U);
}

TEST_F(QorDatatypeManagerTest, RowsHaveWhatTheDefinitionSays) {
  QorDatatypeManager::Rows rows;
  ASSERT_TRUE(types_.GetShowDataTypeResult("Car", rows));
  ASSERT_EQ(rows.size(), 4U);
  EXPECT_EQ(rows[1].name + "|" + rows[1].type + "|" + rows[1].isOptional + "|" + rows[1].primitive, "row|Row|true|");
  EXPECT_EQ(rows[2].isConstant + "|" + rows[2].value + "|" + rows[2].primitive, "true|2|uint8");
  ASSERT_TRUE(types_.GetShowDataTypeResult("Alias", rows));
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].name + "|" + rows[0].type, "DataType|uint8");
  EXPECT_EQ(rows[2].name + "|" + rows[2].value, "D|3");
  ASSERT_TRUE(types_.GetShowDataTypeResult("Plate", rows));
  EXPECT_EQ(rows[0].primitive + "|" + rows[0].value, "fixed_string|8");
  EXPECT_FALSE(types_.GetShowDataTypeResult("Loop", rows));
  EXPECT_EQ(log_.CountContaining("Parse jsonfile failed for TypeReference. File content:"), 1U);
  EXPECT_FALSE(types_.GetShowDataTypeResult("Bad", rows));
  EXPECT_EQ(log_.Count(LogLevel::kError, "Parse jsonfile failed. File content:{"), 1U);
}

TEST_F(QorDatatypeManagerTest, TheTreeNamesATypeThatStandsAboveOnlyOnce) {
  std::string text;
  ASSERT_TRUE(types_.GetShowMessageTypeResult("Car", text));
  EXPECT_EQ(text,
            "gear: Alias\n"
            "  DataType: uint8\n"
            "  P = 0\n"
            "  D = 3\n"
            "row: Row, optional\n"
            "  template: Speed = 4\n"
            "    float32\n"
            "version: uint8 = 2, constant\n"
            "next: Car\n");
}

}  // namespace
}  // namespace qor
