// SPDX-License-Identifier: Apache-2.0
#include "platform/com/daemon_link.h"

#include <gmock/gmock.h>

#include <memory>

#include "platform/log/log_capture.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/dds_event.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"

namespace qor::com {
namespace {

using maintaind::EntityRole;
using test::DaemonThread;
using test::Eventually;
using test::QuietDaemon;

/// An application, and what the daemons of its runtime directory know of it.
class DaemonLinkTest : public testing::Test {
 protected:
  ~DaemonLinkTest() override { test::SetEnvironment("QOR_MAINTAIND_INSTANCE", nullptr); }

  static maintaind::EventRegisterInfo Event(const std::string& name, const std::string& node) {
    maintaind::EventRegisterInfo event;
    event.eventName = name;
    event.nodeName = node;
    event.bindings[maintaind::DriverType::kDds] = test::DdsEvent();
    return event;
  }
  static void ExpectNodes(const DaemonThread& daemon, const std::string& expected) {
    EXPECT_TRUE(Eventually([&] { return daemon.Nodes() == expected; })) << daemon.Nodes();
  }

  test::RuntimeFolder folder_;
  log::LogCapture capture_;
  std::unique_ptr<DaemonLink> link_ = std::make_unique<DaemonLink>("application under test");
};

TEST_F(DaemonLinkTest, RegistersInOrderAndTakesBackWhatIsRemoved) {
  const DaemonThread daemon(QuietDaemon(3));
  link_->AddNode("/a");
  const std::uint32_t id = link_->AddEvent(EntityRole::kConsumer, Event("speed", "/a"));
  ExpectNodes(daemon, "/a <speed;");
  link_->RemoveEntity(id);
  link_->AddNode("/a");
  link_->RemoveNode("/a");  // one user is left
  link_->AddNode("/b");
  ExpectNodes(daemon, "/a; /b;");
  link_->RemoveNode("/a");
  ExpectNodes(daemon, "/b;");
  link_.reset();
  ExpectNodes(daemon, "");
}

TEST_F(DaemonLinkTest, RegistersAgainWithEveryDaemonThatComes) {
  link_->AddNode("/kept");
  link_->AddNode("/removed");
  const std::uint32_t removed = link_->AddEvent(EntityRole::kProvider, Event("removed", "/removed"));
  (void)link_->AddEvent(EntityRole::kProvider, Event("kept", "/kept"));
  {
    const DaemonThread daemon(QuietDaemon(1));
    ExpectNodes(daemon, "/kept >kept; /removed >removed;");
    link_->RemoveEntity(removed);
    link_->RemoveNode("/removed");
    ExpectNodes(daemon, "/kept >kept;");
  }
  for (const auto next : std::initializer_list<std::uint16_t>{1, 2}) {
    const DaemonThread daemon(QuietDaemon(next));
    ExpectNodes(daemon, "/kept >kept;");
  }
  for (const auto& line : capture_.Lines()) {
    EXPECT_LT(line.level, LogLevel::kWarn) << line.text;
  }
}

TEST_F(DaemonLinkTest, LogsEachRefusalOnce) {
  const std::string refusal = "The daemon refused node '': ";
  link_->AddNode("/a");
  link_->AddNode("");
  {
    const DaemonThread daemon(QuietDaemon(1));
    EXPECT_TRUE(Eventually([&] { return capture_.CountContaining(refusal) == 1; }));
  }
  const DaemonThread daemon(QuietDaemon(1));
  ExpectNodes(daemon, "/a;");
  link_->AddNode("/b");
  ExpectNodes(daemon, "/a; /b;");  // after the second refusal
  EXPECT_EQ(capture_.CountContaining("refused"), 1U);
}

TEST_F(DaemonLinkTest, TakesTheLowestInstanceThatAccepts) {
  folder_.Write("maintaind-1.sock", "nobody listens here");
  auto options = QuietDaemon(2);
  options.answerFilter = [](const someip::MessageHeader& request, const maintaind::ServiceAnswer& answer) {
    const bool isTool = request.serviceId != maintaind::NodeService::ServiceIdentifier;
    return std::optional(isTool ? answer
                                : maintaind::ErrorAnswer(someip::ReturnCode::kNotOk, "another protocol version"));
  };
  const DaemonThread refusing(options);
  const DaemonThread last(QuietDaemon(10));
  const DaemonThread taken(QuietDaemon(9));
  link_->AddNode("/a");
  ExpectNodes(taken, "/a;");
  ExpectNodes(refusing, "");
  EXPECT_EQ(last.Nodes(), "");
  EXPECT_EQ(capture_.CountContaining("another protocol version"), 1U);
}

TEST_F(DaemonLinkTest, GoesToTheChosenInstanceOnlyUnlessTheChoiceIsNoNumber) {
  test::SetEnvironment("QOR_MAINTAIND_INSTANCE", "7");
  const DaemonThread lower(QuietDaemon(1));
  link_->AddNode("/a");
  {
    const DaemonThread chosen(QuietDaemon(7));
    ExpectNodes(chosen, "/a;");
    EXPECT_EQ(lower.Nodes(), "");
  }
  test::SetEnvironment("QOR_MAINTAIND_INSTANCE", "7a");
  ExpectNodes(lower, "/a;");
  EXPECT_EQ(capture_.CountContaining("QOR_MAINTAIND_INSTANCE='7a'"), 1U);
}

}  // namespace
}  // namespace qor::com
