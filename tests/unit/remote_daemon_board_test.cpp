// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/remote_daemon_board.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>

#include "platform/log/log_capture.h"

namespace qor::maintaind {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const RemoteDaemon kA{.instance = 0, .address = "10.77.0.2", .port = 4000};
const RemoteDaemon kB{.instance = 0, .address = "10.77.0.3", .port = 4000};

class RemoteDaemonBoardTest : public testing::Test {
 protected:
  using Daemons = RemoteDaemonBoard::Daemons;

  auto Told() { return std::exchange(told_, {}); }

  std::vector<std::pair<ConnectionId, Daemons>> told_;
  RemoteDaemonBoard board_{
      [this](ConnectionId connection, const Daemons& daemons) { told_.emplace_back(connection, daemons); }};
};

TEST_F(RemoteDaemonBoardTest, TellsWatchersEveryChangeAndNothingElse) {
  board_.Set({kA});
  EXPECT_THAT(board_.Watch(1), ElementsAre(kA));
  EXPECT_THAT(board_.Watch(2), ElementsAre(kA));
  board_.Watch(2);
  EXPECT_THAT(Told(), IsEmpty()) << "the answer to a watcher says what there is";
  board_.Set({kB, kA});
  EXPECT_THAT(Told(), ElementsAre(std::pair(1, Daemons{kA, kB}), std::pair(2, Daemons{kA, kB})));
  board_.Set({kA, kB, kA});
  EXPECT_THAT(Told(), IsEmpty()) << "another order is no change, nor is a repetition";
  board_.Close(1);
  board_.Set({});
  EXPECT_THAT(Told(), ElementsAre(std::pair(2, Daemons{})));
}

TEST_F(RemoteDaemonBoardTest, HoldsSoManyDaemonsAndNoMore) {
  const log::LogCapture log;
  Daemons many;
  for (std::uint16_t port = 1; port <= RemoteDaemonBoard::kMaxDaemons + 1; ++port) {
    many.push_back({.instance = 0, .address = "10.77.0.2", .port = port});
  }
  board_.Set(many);
  EXPECT_EQ(board_.Watch(1).size(), RemoteDaemonBoard::kMaxDaemons);
  EXPECT_EQ(log.CountContaining("tools are told of 1024"), 1U);
}

}  // namespace
}  // namespace qor::maintaind
