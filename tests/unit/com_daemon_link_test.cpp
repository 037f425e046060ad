// SPDX-License-Identifier: Apache-2.0
#include "platform/com/daemon_link.h"

#include <gmock/gmock.h>

#include <fstream>
#include <memory>
#include <set>

#include "platform/log/log_capture.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"
#include "tests/support/dds_event.h"
#include "tests/support/environment.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/scripted_daemon.h"

namespace qor::com {
namespace {

namespace operation = maintaind::node_operation;
using maintaind::EntityRole;
using test::ScriptedDaemon;
using test::WaitUntil;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kApplication = "application under test";

/// A process with the runtime directory of this test.
class DaemonLinkTest : public testing::Test {
 protected:
  DaemonLinkTest() {
    test::SetEnvironment("QOR_RUNTIME_DIR", folder_.Path().c_str());
    test::SetEnvironment("QOR_MAINTAIND_INSTANCE", nullptr);
  }
  ~DaemonLinkTest() override {
    test::SetEnvironment("QOR_RUNTIME_DIR", nullptr);
    test::SetEnvironment("QOR_MAINTAIND_INSTANCE", nullptr);
  }

  static std::vector<std::uint16_t> Methods(const ScriptedDaemon& daemon) {
    std::vector<std::uint16_t> methods;
    for (const auto& request : daemon.Requests()) {
      methods.push_back(request.method);
    }
    return methods;
  }
  static bool WaitForRequests(const ScriptedDaemon& daemon, std::size_t count) {
    return WaitUntil([&] { return daemon.Requests().size() >= count; });
  }
  static maintaind::EventRegisterInfo Event(const std::string& name) {
    maintaind::EventRegisterInfo event;
    event.eventName = name;
    event.bindings[maintaind::DriverType::kDds] = test::DdsEvent();
    return event;
  }
  template <class Operation>
  static typename Operation::Request Decoded(const std::vector<std::uint8_t>& payload) {
    typename Operation::Request request;
    EXPECT_TRUE(maintaind::Decode(payload, request));
    return request;
  }

  test::ScratchFolder folder_;
  log::LogCapture capture_;
};

TEST_F(DaemonLinkTest, RegistersInOrderAndTakesBackWhatIsRemoved) {
  ScriptedDaemon daemon(3, kApplication);
  DaemonLink link(kApplication);
  link.AddNode("/a");
  const auto event = Event("speed");
  const std::uint32_t id = link.AddEvent(EntityRole::kConsumer, event);
  ASSERT_TRUE(WaitForRequests(daemon, 3));
  EXPECT_THAT(Methods(daemon), ElementsAre(operation::Hello::kMethodId, operation::RegisterNode::kMethodId,
                                           operation::RegisterEvent::kMethodId));
  const auto requests = daemon.Requests();
  EXPECT_EQ(Decoded<operation::Hello>(requests[0].payload).applicationName, kApplication);
  EXPECT_EQ(Decoded<operation::RegisterNode>(requests[1].payload), "/a");
  const auto registration = Decoded<operation::RegisterEvent>(requests[2].payload);
  EXPECT_EQ(registration.id, id);
  EXPECT_EQ(registration.role, EntityRole::kConsumer);
  EXPECT_EQ(registration.info, event);

  link.RemoveEntity(id);
  link.AddNode("/a");
  link.RemoveNode("/a");  // one user is left
  link.RemoveNode("/a");
  ASSERT_TRUE(WaitForRequests(daemon, 5));
  EXPECT_THAT(daemon.RequestsOf(operation::UnregisterEntity::kMethodId), ElementsAre(maintaind::Encode(id)));
  EXPECT_THAT(Methods(daemon).back(), operation::UnregisterNode::kMethodId);
}

TEST_F(DaemonLinkTest, RegistersAgainWithEveryDaemonThatComes) {
  DaemonLink link(kApplication);
  link.AddNode("/kept");
  link.AddNode("/removed");
  const std::uint32_t removed = link.AddEvent(EntityRole::kProvider, Event("removed"));
  const std::uint32_t kept = link.AddEvent(EntityRole::kProvider, Event("kept"));
  {
    ScriptedDaemon daemon(1, kApplication);  // comes after the first attempts failed
    ASSERT_TRUE(WaitForRequests(daemon, 5));
    link.RemoveNode("/removed");
    link.RemoveEntity(removed);
    ASSERT_TRUE(WaitForRequests(daemon, 7));
    daemon.DropConnection();
    ASSERT_TRUE(WaitForRequests(daemon, 10));
    const auto methods = Methods(daemon);
    EXPECT_THAT(std::vector(methods.begin() + 7, methods.end()),
                ElementsAre(operation::Hello::kMethodId, operation::RegisterNode::kMethodId,
                            operation::RegisterEvent::kMethodId));
    EXPECT_EQ(Decoded<operation::RegisterEvent>(daemon.Requests().back().payload).id, kept);
  }
  ScriptedDaemon next(2, kApplication);
  ASSERT_TRUE(WaitForRequests(next, 3));
  EXPECT_THAT(next.RequestsOf(operation::RegisterNode::kMethodId),
              ElementsAre(maintaind::Encode(std::string("/kept"))));
  for (const auto& line : capture_.Lines()) {
    EXPECT_LT(line.level, LogLevel::kWarn) << line.text;
  }
}

TEST_F(DaemonLinkTest, LogsEachRefusalOnce) {
  ScriptedDaemon daemon(1, kApplication, [](const ScriptedDaemon::Request& request) -> std::optional<std::string> {
    if (request.method == operation::RegisterNode::kMethodId &&
        request.payload == maintaind::Encode(std::string("/b"))) {
      return "that name is taken";
    }
    return std::nullopt;
  });
  DaemonLink link(kApplication);
  link.AddNode("/a");
  link.AddNode("/b");
  ASSERT_TRUE(WaitUntil([&] { return capture_.CountContaining("that name is taken") == 1; }));
  daemon.DropConnection();
  link.AddNode("/c");
  ASSERT_TRUE(WaitUntil([&] { return daemon.RequestsOf(operation::RegisterNode::kMethodId).size() >= 5; }));
  link.AddNode("/d");  // answered after the second refusal
  ASSERT_TRUE(WaitUntil([&] { return daemon.RequestsOf(operation::RegisterNode::kMethodId).size() >= 6; }));
  EXPECT_EQ(capture_.Count(LogLevel::kError, "The daemon refused node '/b': that name is taken"), 1U);
  EXPECT_EQ(capture_.CountContaining("refused"), 1U);
}

TEST_F(DaemonLinkTest, TakesTheLowestInstanceThatAccepts) {
  std::ofstream(folder_.File("maintaind-1.sock")) << "nobody listens here";
  ScriptedDaemon refusing(2, kApplication, [](const ScriptedDaemon::Request&) { return "another protocol version"; });
  ScriptedDaemon last(10, kApplication);
  ScriptedDaemon taken(9, kApplication);
  DaemonLink link(kApplication);
  link.AddNode("/a");
  ASSERT_TRUE(WaitForRequests(taken, 2));
  EXPECT_EQ(Methods(refusing).size(), 1U);
  EXPECT_THAT(last.Requests(), IsEmpty());
  EXPECT_EQ(capture_.CountContaining("another protocol version"), 1U);
}

TEST_F(DaemonLinkTest, GoesToTheChosenInstanceOnly) {
  test::SetEnvironment("QOR_MAINTAIND_INSTANCE", "7");
  ScriptedDaemon lower(1, kApplication);
  DaemonLink link(kApplication);
  link.AddNode("/a");
  ScriptedDaemon chosen(7, kApplication);
  ASSERT_TRUE(WaitForRequests(chosen, 2));
  EXPECT_THAT(lower.Requests(), IsEmpty());
}

TEST_F(DaemonLinkTest, AnInstanceThatIsNoNumberIsReportedAndIgnored) {
  test::SetEnvironment("QOR_MAINTAIND_INSTANCE", "7a");
  ScriptedDaemon daemon(1, kApplication);
  DaemonLink link(kApplication);
  link.AddNode("/a");
  ASSERT_TRUE(WaitForRequests(daemon, 2));
  EXPECT_EQ(capture_.CountContaining("QOR_MAINTAIND_INSTANCE='7a'"), 1U);
}

TEST_F(DaemonLinkTest, ClosesItsConnectionWhenItGoes) {
  ScriptedDaemon daemon(1, kApplication);
  {
    DaemonLink link(kApplication);
    link.AddNode("/a");
    ASSERT_TRUE(WaitForRequests(daemon, 2));
  }
  DaemonLink link(kApplication);  // the daemon serves one connection at a time
  link.AddNode("/b");
  ASSERT_TRUE(WaitForRequests(daemon, 4));
  EXPECT_EQ(Decoded<operation::RegisterNode>(daemon.Requests()[3].payload), "/b");
}

}  // namespace
}  // namespace qor::com
