// SPDX-License-Identifier: Apache-2.0
#include "src/common/query.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/qor_common.h"

namespace qor {
namespace {

using ara::core::ErrorCode;
using ara::core::Future;
using ara::core::Promise;
using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using testing::ElementsAre;
using EventList = std::vector<EventInfoWithPubSub>;
using Answer = std::optional<ara::core::Result<EventList>>;
using Handle = qortools::common::ToolsServiceHandle;

/// Stands in for the proxy of one daemon; without an answer it stays silent.
class Daemon {
 public:
  Daemon(std::uint16_t instance, Answer answer) : handle_(instance, ""), answer_(std::move(answer)) {}

  const Handle& GetHandle() const { return handle_; }
  Future<EventList> QueryEventInfo(const std::string& name) {
    askedFor_.push_back(name);
    if (answer_.has_value()) {
      promise_.SetResult(*answer_);
    }
    return promise_.get_future();
  }
  const std::vector<std::string>& AskedFor() const { return askedFor_; }

 private:
  Handle handle_;
  Answer answer_;
  std::vector<std::string> askedFor_;
  Promise<EventList> promise_;
};

EventInfoWithPubSub Event(const std::string& name) {
  EventInfoWithPubSub record;
  record.eventName = name;
  return record;
}

std::vector<std::pair<LogLevel, std::string>> Lines(const log::LogCapture& capture) {
  std::vector<std::pair<LogLevel, std::string>> lines;
  for (const auto& line : capture.Lines()) {
    lines.emplace_back(line.level, line.text);
  }
  return lines;
}

class Collect : public testing::Test {
 protected:
  int Run(const common::QueryReport& report) {
    std::vector<std::shared_ptr<Daemon>> daemons{
        std::make_shared<Daemon>(3, EventList{Event("/b"), Event("/a")}), std::make_shared<Daemon>(5, std::nullopt),
        std::make_shared<Daemon>(6, ErrorCode(9, "shutting down")), std::make_shared<Daemon>(7, EventList{}),
        std::make_shared<Daemon>(9, EventList{Event("/c")})};
    const int code =
        common::CollectEvents(daemons, "/name", report, collected_, answers_, std::chrono::milliseconds(1));
    for (const auto& daemon : daemons) {
      EXPECT_THAT(daemon->AskedFor(), ElementsAre("/name"));
    }
    return code;
  }

  log::LogCapture capture_;
  common::Answers answers_;
  EventList collected_{Event("/before")};
};

TEST_F(Collect, KeepsTheAnswersOfTheOthersWhenOneDaemonIsSilent) {
  EXPECT_EQ(Run(common::ReportOfQueryAll()), -1);
  ASSERT_EQ(collected_.size(), 4U);
  EXPECT_EQ(collected_[1].eventName, "/b");
  EXPECT_EQ(collected_[3].eventName, "/c");
  EXPECT_EQ(answers_.answered, 3U) << "an error is no answer";
  EXPECT_THAT(answers_.silent, ElementsAre(5)) << "but it is no silence either";
  EXPECT_TRUE(answers_.IsAny());
  EXPECT_FALSE(answers_.IsAll());
  EXPECT_THAT(Lines(capture_),
              ElementsAre(std::pair(LogLevel::kDebug, "[QueryAll][EventInfoWithPubSub list size is 2]"),
                          std::pair(LogLevel::kWarn, "Disconnect To Maintaind."),
                          std::pair(LogLevel::kWarn, "Get result from Maintaind failed."),
                          std::pair(LogLevel::kDebug, "[QueryAll][EventInfoWithPubSub list size is 0]"),
                          std::pair(LogLevel::kDebug, "[QueryAll][EventInfoWithPubSub list size is 1]")));
}

TEST_F(Collect, NamesTheDaemonInQueriesOfOneEvent) {
  EXPECT_EQ(Run(common::ReportOfGetInfoResult()), -1);
  EXPECT_THAT(
      Lines(capture_),
      ElementsAre(
          std::pair(LogLevel::kDebug, "EventInfoWithPubSub list size is 2[instanceId=3]"),
          std::pair(LogLevel::kWarn, "Disconnect to Maintaind in QorCommon::GetInfoResult()[instanceId=5]"),
          std::pair(LogLevel::kWarn, "Get result from Maintaind failed in QorCommon::GetInfoResult()[instanceId=6]"),
          std::pair(LogLevel::kDebug, "EventInfoWithPubSub list size is zero[instanceId=7]"),
          std::pair(LogLevel::kDebug, "EventInfoWithPubSub list size is 1[instanceId=9]")));
}

TEST(Query, WithoutDaemonsFindsNothingAndSaysWhatItLookedFor) {
  log::LogCapture capture;
  EventList list{Event("/old")};
  EXPECT_EQ(QorCommon::GetInstance().Query({"front", "10.0.0.1", 1000, "3"}, "/e[12]", list), 0);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "[Query index][type=front, networkIP=10.0.0.1, domainId=1000, uuid=12]"),
            1U);
  QorCommon::EventEntries entries(1);
  EXPECT_EQ(QorCommon::GetInstance().QueryAll({}, {}, entries), 0);
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(capture.Count(LogLevel::kVerbose, "Start to query ALL."), 1U);
  EXPECT_EQ(QorCommon::GetInstance().Query({}, std::string(5001, 'a'), list), -1);
}

}  // namespace
}  // namespace qor
