// SPDX-License-Identifier: Apache-2.0
// Programs of other people: they publish over DDS, know no daemon, and are listed and measured all the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/dds_event.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"

namespace qor {
namespace {

using nlohmann::json;

/// Named by the program that publishes.
class ForeignDdsTest : public testing::TestWithParam<const char*> {
 protected:
  static std::vector<json> Qorevent(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), QOR_QOREVENT);
    arguments.push_back("--json");
    std::istringstream lines(test::RunProgram(std::move(arguments)).out);
    std::vector<json> objects;
    for (std::string line; std::getline(lines, line);) {
      objects.push_back(json::parse(line));
    }
    return objects;
  }
  /// The entry of the topic in the list; null while there is none.
  static json Listed(const std::string& name) {
    for (const json& entry : Qorevent({"list"})) {
      if (entry.value("name", "") == name) {
        return entry;
      }
    }
    return nullptr;
  }
  static maintaind::DaemonOptions Options(std::uint16_t domain) {
    maintaind::DaemonOptions options;
    options.dds.domains = {{domain}};
    return options;
  }

  test::RuntimeFolder folder_;
  const std::uint16_t domain_ = test::DomainOfThisProcess();
  test::DaemonThread daemon_{Options(domain_)};
};

TEST_P(ForeignDdsTest, IsListedMeasuredAndGoneWithItsProgram) {
  const std::string program = std::string(QOR_FOREIGN_PROGRAMS) + "/" + GetParam();
  if (access(program.c_str(), X_OK) != 0) {
    GTEST_SKIP() << program << " was not built: its DDS implementation is not installed";
  }
  const std::string topic = std::string("foreign/") + GetParam();
  test::ChildProcess publisher({program, std::to_string(domain_), topic, "100"});
  json entry;
  ASSERT_TRUE(test::Eventually([&] { return !(entry = Listed("/" + topic)).is_null(); })) << publisher.Err();
  EXPECT_EQ(entry["topic"], topic);
  EXPECT_EQ(entry["binding"], "DDS");
  EXPECT_EQ(entry["domainId"], domain_);
  EXPECT_THAT(entry["transports"], testing::Contains("UDP"));
  EXPECT_EQ(entry["state"], "online");
  EXPECT_THAT(entry["publisher"], testing::StartsWith("dds:"));

  double rate = 0;
  for (const json& report : Qorevent({"hz", "/" + topic, "--count", "3", "--timeout", "15"})) {
    if (report.contains("rate") && report["rate"].is_number()) {
      rate = report["rate"];
    }
  }
  EXPECT_NEAR(rate, 100, 20);

  publisher.Signal(SIGKILL);
  EXPECT_TRUE(test::Eventually([&] { return Listed("/" + topic).is_null(); }));
}

INSTANTIATE_TEST_SUITE_P(Programs, ForeignDdsTest, testing::Values("fastdds_publisher", "cyclone_publisher"),
                         [](const auto& program) { return std::string(program.param); });

}  // namespace
}  // namespace qor
