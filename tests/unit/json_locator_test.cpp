// SPDX-License-Identifier: Apache-2.0
#include "platform/com/json_locator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qor::com {
namespace {

std::map<std::string, std::size_t> LinesOf(const std::string& text, const std::vector<std::string>& pointers) {
  JsonLocator locator(text);
  EXPECT_TRUE(locator.Parse());
  std::map<std::string, std::size_t> lines;
  for (const std::string& pointer : pointers) {
    lines[pointer] = 4711;
  }
  locator.Locate(lines);
  return lines;
}

TEST(JsonLocator, FindsTheLineAtWhichEachKindOfValueBegins) {
  const std::string text =
      "\n"
      "{ \"number\": 1\n"
      ", \"list\": [ -2\n"
      "  , 3.5e1\n"
      "  , { \"a/b\": null,\r\n"
      "      \"c~d\":\n"
      "        \"text\\n\" }\n"
      "  , true ], \"last\": 7\n"
      "}\n";
  const std::map<std::string, std::size_t> expected = {
      {"", 2},        {"/number", 2},      {"/list", 3},        {"/list/0", 3}, {"/list/1", 4}, {"/list/2", 5},
      {"/list/3", 8}, {"/list/2/a~1b", 5}, {"/list/2/c~0d", 7}, {"/last", 8},   {"/none", 0}};
  std::vector<std::string> pointers;
  for (const auto& [pointer, line] : expected) {
    pointers.push_back(pointer);
  }
  EXPECT_EQ(LinesOf(text, pointers), expected);
}

TEST(JsonLocator, RefusesEveryTruncation) {
  const std::string text = R"({"a": [1, {"b": "\u00e4\n"}, null], "c": {"d": true}})";
  for (std::size_t length = 0; length < text.size(); ++length) {
    JsonLocator locator(text.substr(0, length));
    EXPECT_FALSE(locator.Parse()) << length;
    EXPECT_EQ(locator.Problems().size(), 1U) << length;
  }
  EXPECT_TRUE(JsonLocator(text).Parse());
}

TEST(JsonLocator, StopsAtTheDepthLimitAndTakesWhatReachesIt) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_TRUE(JsonLocator(nested(JsonLocator::kMaxDepth)).Parse());
  JsonLocator deep(nested(JsonLocator::kMaxDepth + 1));
  EXPECT_FALSE(deep.Parse());
  ASSERT_EQ(deep.Problems().size(), 1U);
  EXPECT_EQ(deep.Problems()[0].message, "nested deeper than 64 levels");
  EXPECT_FALSE(JsonLocator(std::string(1000000, '[')).Parse());
}

TEST(JsonLocator, TellsWhereATextStopsBeingJsonAndWhereAKeyStandsTwice) {
  struct Case {
    std::string text;
    bool isJson;
    std::size_t line;
    std::string pointer, message;
  };
  for (const Case& each :
       {Case{"{\n \"a\": [1, 2,\n ],\n \"b\": 1}", false, 3, "/a/2", "no valid JSON: column 2: syntax error"},
        Case{"{\"a\": 1,\n\"b\": {\"a\": 2},\n\"a\": 3}", true, 3, "/a", ""}}) {
    JsonLocator locator(each.text);
    EXPECT_EQ(locator.Parse(), each.isJson);
    ASSERT_EQ(locator.Problems().size(), 1U);
    EXPECT_EQ(locator.Problems()[0].line, each.line);
    EXPECT_EQ(locator.Problems()[0].pointer, each.pointer);
    EXPECT_THAT(locator.Problems()[0].message, testing::StartsWith(each.message));
  }
}

}  // namespace
}  // namespace qor::com
