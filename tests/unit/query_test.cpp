// SPDX-License-Identifier: Apache-2.0
#include "src/common/query.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/tools_common_client_manager.h"

namespace qor {
namespace {

using ara::core::ErrorCode;
using ara::core::Future;
using ara::core::Promise;
using maintaind::EventInfoWithPubSub;
using testing::ElementsAre;
using EventList = std::vector<EventInfoWithPubSub>;
using Answer = std::optional<ara::core::Result<EventList>>;
using Handle = qortools::common::ToolsServiceHandle;

/// Stands in for the proxy of one daemon; without an answer it stays silent.
class Daemon {
 public:
  Daemon(const Handle& handle, Answer answer) : handle_(handle), answer_(std::move(answer)) {}

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

TEST(Collect, KeepsTheAnswersOfTheOthersWhenOneDaemonIsSilentAndNamesIt) {
  const Handle kSilent(5, "10.77.0.2:4000");
  const Handle kFailing(6, "10.77.0.2:4001");
  const log::LogCapture capture;
  EventList collected{Event("/before")};
  common::Answers answers;
  std::vector<std::shared_ptr<Daemon>> daemons{
      std::make_shared<Daemon>(Handle(5, "/run/qor/maintaind-5.sock"), EventList{Event("/b"), Event("/a")}),
      std::make_shared<Daemon>(kSilent, std::nullopt),
      std::make_shared<Daemon>(kFailing, ErrorCode(9, "shutting down")),
      std::make_shared<Daemon>(Handle(7, ""), EventList{}),
      std::make_shared<Daemon>(Handle(9, ""), EventList{Event("/c")})};
  EXPECT_EQ(common::CollectEvents(daemons, "/name", common::ReportOfGetInfoResult(), collected, answers,
                                  std::chrono::milliseconds(1)),
            -1);
  EXPECT_EQ(answers.answered, 3U) << "an error is no answer";
  EXPECT_THAT(answers.silent, ElementsAre(kSilent)) << "but it is no silence either";
  EXPECT_THAT(answers.missing, ElementsAre(kSilent, kFailing));
  for (const auto& daemon : daemons) {
    EXPECT_THAT(daemon->AskedFor(), ElementsAre("/name"));
  }
  EXPECT_EQ(collected, (EventList{Event("/before"), Event("/b"), Event("/a"), Event("/c")}));
  std::vector<std::pair<LogLevel, std::string>> lines;
  for (const auto& line : capture.Lines()) {
    lines.emplace_back(line.level, line.text);
  }
  EXPECT_THAT(
      lines,
      ElementsAre(
          std::pair(LogLevel::kDebug, "EventInfoWithPubSub list size is 2[instanceId=5]"),
          std::pair(LogLevel::kWarn, "Disconnect to Maintaind in QorCommon::GetInfoResult()[instanceId=5]"),
          std::pair(LogLevel::kWarn, "Get result from Maintaind failed in QorCommon::GetInfoResult()[instanceId=6]"),
          std::pair(LogLevel::kDebug, "EventInfoWithPubSub list size is zero[instanceId=7]"),
          std::pair(LogLevel::kDebug, "EventInfoWithPubSub list size is 1[instanceId=9]")));
}

}  // namespace
}  // namespace qor
