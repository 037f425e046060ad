// SPDX-License-Identifier: Apache-2.0
// Accounts and resource configuration of the host.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/log/log_capture.h"
#include "src/common/accounts.h"
#include "src/common/qor_common.h"
#include "src/common/resource_config.h"
#include "tests/support/scratch_folder.h"

namespace qor {
namespace {

using common::ResourceConfig;

TEST(ResourceConfigFile, NamesOwnerAndFields) {
  const test::ScratchFolder folder;
  folder.Write("qor.json", R"({"fileOwner": "measure:engineers", "currentField": "drive",
                               "fields": {"drive": ["/planner", "/map"], "cockpit": ["/hmi"]}, "other": 1})");
  const ResourceConfig config = ResourceConfig::Load(folder.File("qor.json"));
  EXPECT_EQ(config.FileOwner(), "measure:engineers");
  EXPECT_EQ(config.CurrentField(), "drive");
  EXPECT_EQ(config.FieldOf("/map"), "drive");
  EXPECT_EQ(config.FieldOf("/hmi"), "cockpit");
  EXPECT_EQ(config.FieldOf("/unknown"), "");
}

TEST(ResourceConfigFile, MissingFileMeansOneFieldAndNoOwner) {
  log::LogCapture capture;
  const ResourceConfig config = ResourceConfig::Load("/no/such/file");
  EXPECT_EQ(config.FileOwner(), "");
  EXPECT_EQ(config.FieldOf("/any"), config.CurrentField());
  EXPECT_TRUE(capture.Lines().empty());
}

TEST(ResourceConfigFile, AnyOtherFormIsReportedAndWithoutEffect) {
  for (const std::string& bad : std::vector<std::string>{
           "", "{", "[]", R"({"fileOwner": 3})", R"({"fileOwner": "nocolon"})", R"({"fileOwner": ":group"})",
           R"({"fileOwner": "user:"})", R"({"fileOwner": "a:b:c"})", R"({"currentField": []})", R"({"fields": []})",
           R"({"fields": {"a": "/app"}})", R"({"fields": {"a": [1]}})", R"({"fields": {"a": ["/app"], "b": ["/app"]}})",
           std::string(1 << 21, ' '), std::string(100000, '[')}) {
    log::LogCapture capture;
    EXPECT_FALSE(ResourceConfig::ParseResourceJson(bad).has_value()) << bad.substr(0, 60);
    EXPECT_EQ(capture.Count(LogLevel::kWarn, "qor.json format is wrong."), 1U) << bad.substr(0, 60);
  }
  EXPECT_TRUE(ResourceConfig::ParseResourceJson(R"({"fileOwner": null, "fields": null})").has_value());
}

TEST(ResourceConfigFile, IsWhereTheEnvironmentSays) {
  const test::ScratchFolder folder;
  folder.Write("chosen.json", "no json");
  ASSERT_EQ(::setenv("QOR_RESOURCE_CONFIG", folder.File("chosen.json").c_str(), 1), 0);
  log::LogCapture capture;
  EXPECT_TRUE(QorCommon::GetInstance().IsTheSameField("/app")) << "a bad file has no effect";
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "qor.json format is wrong."), 1U);
  folder.Write("chosen.json", R"({"fields": {"drive": ["/app"]}})");
  EXPECT_FALSE(QorCommon::GetInstance().IsTheSameField("/app"));
  ASSERT_EQ(::setenv("QOR_RESOURCE_CONFIG", folder.Path().c_str(), 1), 0);  // a directory cannot be read
  capture.Clear();
  EXPECT_TRUE(QorCommon::GetInstance().IsTheSameField("/app"));
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "[QorCommon] Cannot read the resource configuration. path=" + folder.Path()),
            1U);
  ::unsetenv("QOR_RESOURCE_CONFIG");
  EXPECT_EQ(ResourceConfig::DefaultPath(), "/etc/qor/qor.json");
}

TEST(Accounts, FilesBelongToTheCallerOrToTheOwnerThatRootWasGiven) {
  log::LogCapture capture;
  EXPECT_EQ(common::OwnerFor(4123456789U, 0, "measure:engineers"), "4123456789:root");
  EXPECT_EQ(QorCommon::GetInstance().Gid2Name(4123456789U), "4123456789");
  EXPECT_EQ(common::OwnerFor(0, 0, "measure:engineers"), "measure:engineers");
  EXPECT_EQ(capture.Count(LogLevel::kVerbose, "User is is root. Change to user:measure group:engineers"), 1U);
  EXPECT_EQ(common::OwnerFor(0, 0, ""), "");
  EXPECT_EQ(capture.Count(LogLevel::kInfo, "FileOwner is set to null."), 1U);
  EXPECT_EQ(capture.Lines().size(), 3U);
}

}  // namespace
}  // namespace qor
