// SPDX-License-Identifier: Apache-2.0
// Programs of other people: they publish over DDS, know no daemon, and are listed and measured all the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "platform/maintaind/daemon/daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/eventually.h"
#include "tests/support/scratch_folder.h"

namespace qor {
namespace {

using nlohmann::json;

/// Named by the program that publishes.
class ForeignDdsTest : public testing::TestWithParam<const char*> {
 protected:
  ForeignDdsTest() {
    setenv("QOR_RUNTIME_DIR", folder_.Path().c_str(), 1);
    maintaind::DaemonOptions options;
    options.dds.domains = std::vector<std::uint16_t>{static_cast<std::uint16_t>(domain_)};
    daemon_ = std::make_unique<maintaind::Daemon>(std::move(options));
    EXPECT_TRUE(daemon_->Start().HasValue());
  }

  static test::Finished Qorevent(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), QOR_QOREVENT);
    return test::RunProgram(std::move(arguments));
  }

  /// The entry of the topic in the list; null while there is none.
  static json Listed(const std::string& name) {
    const test::Finished run = Qorevent({"list", "--json"});
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
      json entry = json::parse(line);
      if (entry.value("name", "") == name) {
        return entry;
      }
    }
    return nullptr;
  }

  test::ScratchFolder folder_;
  const int domain_ = 1 + getpid() % 60;
  std::unique_ptr<maintaind::Daemon> daemon_;
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

  const test::Finished hz = Qorevent({"hz", "/" + topic, "--count", "3", "--timeout", "15", "--json"});
  ASSERT_EQ(hz.status, 0) << hz.err;
  EXPECT_THAT(hz.out, testing::HasSubstr("\"rate\""));
  double rate = 0;
  std::istringstream lines(hz.out);
  for (std::string line; std::getline(lines, line);) {
    const json report = json::parse(line);
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
