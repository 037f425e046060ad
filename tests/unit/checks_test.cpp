// SPDX-License-Identifier: Apache-2.0
#include "src/common/checks.h"

#include <gmock/gmock.h>

#include <initializer_list>
#include <map>
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

TEST(Checks, SafePathHasNoneOfTheNineteenCharacters) {
  EXPECT_TRUE(Common().CheckPathForSecurity(""));
  EXPECT_TRUE(Common().CheckPathForSecurity("/a b/[c]-d_e.f#@%^+=,:"));
  const std::string unsafe = "|;&$<>`\\'~\"{}()*?!\n";
  ASSERT_EQ(unsafe.size(), 19U);
  log::LogCapture capture;
  for (const char c : unsafe) {
    EXPECT_FALSE(Common().CheckPathForSecurity(std::string("/a") + c)) << c;
  }
  EXPECT_EQ(capture.Lines().size(), unsafe.size());
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

TEST(Checks, OutputNameHas256CharactersAtMost) {
  EXPECT_TRUE(Common().CheckOutputName(std::string(256, 'a')));
  EXPECT_FALSE(Common().CheckOutputName(std::string(257, 'a')));
  EXPECT_FALSE(Common().CheckOutputName(""));
  EXPECT_TRUE(Common().CheckOutputName("aZ09#-.@_"));
  for (const char* bad : {"a/b", "a b", "a[b]", "\xC3\xA4"}) {
    EXPECT_FALSE(Common().CheckOutputName(bad)) << bad;
  }
}

TEST(Checks, IpIsDottedOrHasEightGroups) {
  for (const char* good :
       {"0.0.0.0", "255.255.255.255", "192.168.001.09", "1:2:3:4:5:6:7:8", "ABCD:ef01:0:0:0:0:0:ffff"}) {
    EXPECT_TRUE(Common().CheckIP(good)) << good;
  }
  log::LogCapture capture;
  const std::vector<std::string> bad{
      "256.1.1.1",           "1.2.3", "1.2.3.4.",  "::1",      "1::8",
      "1:2:3:4:5:6:7:12345", "",      "1.2.3.4\n", " 1.2.3.4", std::string(1 << 20, '1')};
  for (const std::string& ip : bad) {
    EXPECT_FALSE(Common().CheckIP(ip)) << ip.substr(0, 40);
    EXPECT_EQ(capture.Count(LogLevel::kWarn, "[QorCommon] IP is invalid. IP=" + ip), 1U);
  }
  EXPECT_EQ(capture.Lines().size(), bad.size());
}

TEST(Checks, SomeipNetIsAnIdentifier) {
  EXPECT_TRUE(Common().CheckSOMEIPNet("_eth0"));
  log::LogCapture capture;
  for (const char* bad : {"", "0eth", "eth-0", "eth0 "}) {
    EXPECT_FALSE(Common().CheckSOMEIPNet(bad)) << bad;
    EXPECT_EQ(capture.Count(LogLevel::kWarn, std::string("[QorCommon] SomeipNet is invalid. someipNet=") + bad), 1U);
  }
}

TEST(Checks, NumbersAndUuidsAreDigitsOrEmpty) {
  EXPECT_TRUE(Common().IsValidNumber(""));
  EXPECT_TRUE(Common().IsValidNumber("00123"));
  EXPECT_FALSE(Common().IsValidNumber("-1"));
  EXPECT_TRUE(Common().CheckUuid(""));
  log::LogCapture capture;
  EXPECT_FALSE(Common().CheckUuid("12a"));
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "[QorCommon] Uuid is invalid. uuid=12a"), 1U);
  EXPECT_EQ(capture.Lines().size(), 1U);
}

TEST(Checks, LongTextsMatchLikeShortOnes) {
  EXPECT_TRUE(Common().IsValidNumber(std::string(1 << 20, '7')));
  EXPECT_TRUE(Common().CheckSOMEIPNet(std::string(1 << 20, 'a')));
}

TEST(Checks, APatternThatDoesNotCompileFailsToMatch) {
  std::string error;
  EXPECT_FALSE(common::TextPattern("(").Match("(", error).has_value());
  EXPECT_FALSE(error.empty());
}

TEST(Checks, DomainIdIsBelow64OrAny) {
  for (const auto good : std::initializer_list<std::uint16_t>{0, 63, 1000}) {
    EXPECT_TRUE(Common().CheckDomainID(good)) << good;
  }
  log::LogCapture capture;
  for (const auto bad : std::initializer_list<std::uint16_t>{64, 999, 1001, 65535}) {
    EXPECT_FALSE(Common().CheckDomainID(bad)) << bad;
    EXPECT_EQ(capture.Count(LogLevel::kWarn, "[QorCommon] DomainID is invalid. domainID=" + std::to_string(bad)), 1U);
  }
}

TEST(Checks, EveryCodeOfAnExportHasItsText) {
  EXPECT_EQ(
      Common().GetErrMsg(-2),
      "File name cannot exceed 256 characters and can only contain the following characters: a-z, 0-9, A-Z, -, _, "
      "@, #, .");
  EXPECT_EQ(Common().GetErrMsg(-3), "Path name must be a string of a-z, 0-9, A-Z, -, _, [, ], /");
  EXPECT_EQ(Common().GetErrMsg(-5), "The same active file exists");
  EXPECT_EQ(Common().GetErrMsg(-11), "Failed to create the path");
  std::map<std::string, int> texts;
  for (int code = -1; code >= -11; --code) {
    ++texts[Common().GetErrMsg(code)];
  }
  EXPECT_EQ(texts.size(), 11U) << "two codes with one text";
  for (const int unknown : {0, 1, -12}) {
    EXPECT_EQ(Common().GetErrMsg(unknown), "Unknown error");
  }
}

TEST(EventName, UuidStandsBetweenTheLastBrackets) {
  struct Case {
    std::string name, pure, uuid;
  };
  for (const auto& [name, pure, uuid] :
       {Case{"/a/b[12]", "/a/b", "12"}, Case{"/a", "/a", ""}, Case{"a[1][2]", "a[1]", "2"}, Case{"a[]", "a", ""},
        Case{"[5]", "", "5"}, Case{"a]", "a]", ""}, Case{"a[1]b", "a[1]b", ""}, Case{"", "", ""}}) {
    std::string pureName = "x";
    std::string found = "y";
    EXPECT_TRUE(Common().GetSubEventName(name, pureName, found));
    EXPECT_EQ(pureName, pure) << name;
    EXPECT_EQ(found, uuid) << name;
  }
  std::string both = "/a[3]";
  std::string uuid;
  log::LogCapture capture;
  EXPECT_TRUE(Common().GetNameAndUuid(both, both, uuid));
  EXPECT_EQ(both, "/a");
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "[GetNameAndUuid][pureName=/a, uuid=3]"), 1U);
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
