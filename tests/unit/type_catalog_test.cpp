// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/type_catalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include <nlohmann/json.hpp>

namespace qor::maintaind {
namespace {

/// One definition of each category that refers to others; Node and Link refer to each other.
TypeCatalog Catalog() {
  return TypeCatalog({
      {"Node", R"({"ShortName":"Node","Type":"STRUCTURE","Subelements":[{"Name":"a","Type":"Link"},
                   {"Name":"b","Type":"Map"},{"Name":"c","Type":"Link"},{"Name":"d","Type":"uint32_t"}]})"},
      {"Link", R"({"ShortName":"Link","Type":"TYPE_REFERENCE","Typedef":"Node","Definition":""})"},
      {"Map", R"({"ShortName":"Map","Type":"ASSOCIATIVE_MAP","key":"Key","value":"List"})"},
      {"Key", R"({"ShortName":"Key","Type":"ENUMERATION","DataType":"Byte","value":[{"Label":"Map","Value":"1"}]})"},
      {"List", R"({"ShortName":"List","Type":"VECTOR","template":"Choice"})"},
      {"Choice", R"({"ShortName":"Choice","Type":"VARIANT","Subelements":[{"Type":"Byte"},{"Type":"Missing"}]})"},
      {"Byte", R"({"ShortName":"Byte","Type":"VALUE","Primitive":"uint8_t"})"},
      {"Alone", R"({"ShortName":"Alone","Type":"RAWBUFFER"})"},
      {"Broken", "{"},
  });
}

std::multiset<std::string> NamesIn(const std::string& array) {
  std::multiset<std::string> names;
  for (const auto& definition : nlohmann::json::parse(array)) {
    names.insert(definition.at("ShortName").get<std::string>());
  }
  return names;
}

TEST(TypeCatalog, FollowsReferencesOfEveryKindAndThroughCycles) {
  const TypeCatalog catalog = Catalog();
  using Names = std::multiset<std::string>;
  EXPECT_EQ(NamesIn(catalog.ReferencedDefinitions({"Node"})), (Names{"Byte", "Choice", "Key", "Link", "List", "Map"}));
  EXPECT_EQ(NamesIn(catalog.ReferencedDefinitions({"Key", "List"})), (Names{"Byte", "Choice"}));
  EXPECT_EQ(NamesIn(catalog.ReferencedDefinitions({"Link"})).count("Link"), 0U);
  EXPECT_EQ(catalog.ReferencedDefinitions({"Alone", "nothing", ""}), "[]");
}

TEST(TypeCatalog, ListsTypesAndWhatTheyName) {
  const TypeCatalog catalog = Catalog();
  EXPECT_EQ(catalog.All().size(), 9U);
  EXPECT_EQ(catalog.Definition("Broken"), "{");
  EXPECT_EQ(catalog.Definition("nothing"), "");
  std::string text;
  for (const auto& type : catalog.References()) {
    text += type.name + testing::PrintToString(type.references) + ";";
  }
  EXPECT_EQ(text,
            "Alone{};Broken{};Byte{};Choice{ \"Byte\" };Key{ \"Byte\" };Link{ \"Node\" };List{ \"Choice\" };"
            "Map{ \"Key\", \"List\" };Node{ \"Link\", \"Map\" };");
}

}  // namespace
}  // namespace qor::maintaind
