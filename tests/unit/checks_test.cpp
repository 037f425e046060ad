// SPDX-License-Identifier: Apache-2.0
#include "src/common/checks.h"

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/error_texts.h"
#include "src/common/event_name.h"
#include "src/common/qor_common.h"
#include "src/common/text_pattern.h"
#include "src/common/utils/net_process.h"

namespace qor {
namespace {

const QorCommon& Common() { return QorCommon::GetInstance(); }

TEST(Checks, EachTextCheckTakesWhatIsAllowedAndLogsWhatIsNot) {
  using Texts = std::vector<std::string>;
  struct Case {
    bool (QorCommon::*check)(const std::string&) const;
    std::string warning;  // without the text
    Texts good, bad;
  };
  const std::string unsafe = "|;&$<>`\\'~\"{}()*?!\n";
  Texts unsafePaths;
  for (const char c : unsafe) {
    unsafePaths.push_back(std::string("/a") + c);
  }
  const std::string huge(1 << 20, '1');
  for (const auto& [check, warning, good, bad] :
       {Case{&QorCommon::CheckPathForSecurity,
             "[QorCommon] Path has an unsafe character. path=",
             {"", "/a b/[c]-d_e.f#@%^+=,:"},
             unsafePaths},
        Case{&QorCommon::CheckOutputName,
             "[QorCommon] Output name is invalid. name=",
             {std::string(256, 'a'), "aZ09#-.@_"},
             {std::string(257, 'a'), "", "a/b", "a b", "a[b]", "\xC3\xA4"}},
        Case{&QorCommon::CheckIP,
             "[QorCommon] IP is invalid. IP=",
             {"0.0.0.0", "255.255.255.255", "192.168.001.09", "1:2:3:4:5:6:7:8", "ABCD:ef01:0:0:0:0:0:ffff"},
             {"256.1.1.1", "1.2.3", "1.2.3.4.", "::1", "1::8", "1:2:3:4:5:6:7:12345", "", "1.2.3.4\n", " 1.2.3.4",
              huge}},
        Case{&QorCommon::CheckSOMEIPNet,
             "[QorCommon] SomeipNet is invalid. someipNet=",
             {"_eth0", std::string(1 << 20, 'a')},
             {"", "0eth", "eth-0", "eth0 "}},
        Case{&QorCommon::CheckUuid, "[QorCommon] Uuid is invalid. uuid=", {"", "00123", huge}, {"12a", "-1"}}}) {
    for (const std::string& text : good) {
      EXPECT_TRUE((Common().*check)(text)) << text;
    }
    for (const std::string& text : bad) {
      log::LogCapture capture;
      EXPECT_FALSE((Common().*check)(text)) << text.substr(0, 40);
      EXPECT_EQ(capture.Count(LogLevel::kWarn, warning + text), 1U) << text.substr(0, 40);
      EXPECT_EQ(capture.Lines().size(), 1U);
    }
  }
  EXPECT_TRUE(Common().IsValidNumber(huge));
  std::string error;
  EXPECT_FALSE(common::TextPattern("(").Match("(", error).has_value());
  EXPECT_FALSE(error.empty());
}

TEST(Checks, PathNameIsAbsoluteAndGetsASlashAtTheEnd) {
  std::string path = "before";
  EXPECT_EQ(Common().CheckPathName("data", path), -10);
  EXPECT_EQ(Common().CheckPathName("", path), -10);
  for (const char* bad : {"/a b", "/a.b", "/a@", "/\xC3\xA4", "/a\n"}) {
    EXPECT_EQ(Common().CheckPathName(bad, path), -3) << bad;
  }
  EXPECT_EQ(path, "before");
  EXPECT_EQ(Common().CheckPathName("/data", path), 0);
  EXPECT_EQ(path, "/data/");
  EXPECT_EQ(Common().CheckPathName("/aZ0-[x]_/y/", path), 0);
  EXPECT_EQ(path, "/aZ0-[x]_/y/");
}

TEST(Checks, DomainIdIsBelow64OrAny) {
  for (const auto& [id, isGood] : std::map<std::uint16_t, bool>{
           {0, true}, {63, true}, {64, false}, {999, false}, {1000, true}, {1001, false}, {65535, false}}) {
    EXPECT_EQ(Common().CheckDomainID(id), isGood) << id;
  }
}

TEST(Checks, EveryCodeOfAnExportHasItsText) {
  EXPECT_EQ(Common().GetErrMsg(-3), "Path name must be a string of a-z, 0-9, A-Z, -, _, [, ], /");
  EXPECT_EQ(Common().GetErrMsg(-11), "Failed to create the path");
  std::set<std::string> texts;
  for (int code = 0; code >= -12; --code) {
    texts.insert(Common().GetErrMsg(code));
  }
  EXPECT_EQ(texts.size(), 12U) << "eleven codes, and one text for all others";
  EXPECT_EQ(Common().GetErrMsg(-12), "Unknown error");
}

TEST(EventName, UuidStandsBetweenTheLastBrackets) {
  const std::map<std::string, std::pair<std::string, std::string>> cases{
      {"/a/b[12]", {"/a/b", "12"}}, {"/a", {"/a", ""}}, {"a[1][2]", {"a[1]", "2"}}, {"a[]", {"a", ""}},
      {"[5]", {"", "5"}},           {"a]", {"a]", ""}}, {"a[1]b", {"a[1]b", ""}},   {"", {"", ""}}};
  for (const auto& [name, expected] : cases) {
    std::pair<std::string, std::string> parts{"x", "y"};
    EXPECT_TRUE(Common().GetSubEventName(name, parts.first, parts.second));
    EXPECT_EQ(parts, expected) << name;
  }
  std::string both = "/a[3]";
  std::string uuid;
  EXPECT_TRUE(Common().GetNameAndUuid(both, both, uuid));
  EXPECT_EQ(both + " " + uuid, "/a 3");
}

TEST(EventName, LongNamesAreRefusedAndNothingIsSet) {
  std::string pureName = "x";
  std::string uuid = "y";
  log::LogCapture capture;
  EXPECT_FALSE(Common().GetSubEventName(std::string(5001, 'a'), pureName, uuid));
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "Event name length should be not more than 5000."), 1U);
  EXPECT_FALSE(Common().GetNameAndUuid(std::string(5051, 'a'), pureName, uuid));
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "Event name length with uuid should be not more than 5050."), 1U);
  EXPECT_EQ(pureName + uuid, "xy");
  EXPECT_TRUE(Common().GetSubEventName(std::string(5000, 'a'), pureName, uuid));
  EXPECT_TRUE(Common().GetNameAndUuid(std::string(5050, 'a'), pureName, uuid));
}

TEST(NetProcess, AddressesOfOneSegmentGiveOneText) {
  const auto segment = qortools::utils::NetProcess::TransToNetSegment;
  EXPECT_EQ(segment("10.1.2.3", "255.255.255.0"), segment("10.1.2.200", "255.255.255.0"));
  EXPECT_EQ(segment("10.1.2.3", "24"), segment("10.1.2.200", "255.255.255.0"));
  EXPECT_NE(segment("10.1.2.3", "255.255.255.0"), segment("10.1.3.3", "255.255.255.0"));
  EXPECT_EQ(segment("10.1.2.3", "255.255.254.0"), segment("10.1.3.3", "255.255.254.0"));
  EXPECT_EQ(segment("fd00::1:2", "ffff:ffff::"), segment("fd00:0:5::", "32"));
  EXPECT_NE(segment("fd00::1", "128"), segment("fd00::2", "128"));
  EXPECT_EQ(segment("FD00::1", ""), segment("fd00:0:0:0:0:0:0:1", "")) << "one address, two spellings";
  for (const char* unreadable : {"", "33", "-1", "255.255.255", "ffff::"}) {
    EXPECT_NE(segment("10.1.2.3", unreadable), segment("10.1.2.4", unreadable)) << unreadable;
  }
  EXPECT_EQ(segment("", "255.255.255.0"), "");
  EXPECT_EQ(segment("eth0", "255.255.255.0"), "eth0");
}

}  // namespace
}  // namespace qor
