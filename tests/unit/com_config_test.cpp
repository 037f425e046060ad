// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "platform/com/application_name.h"
#include "platform/com/config_store.h"
#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/log/log_capture.h"
#include "tests/support/dds_event.h"
#include "tests/support/runtime_folder.h"

namespace qor::com {
namespace {

using maintaind::DriverType;
using maintaind::EntityRole;
using maintaind::EventRegisterInfo;

EventRegisterInfo Event(const std::string& name, const std::string& topic) {
  EventRegisterInfo event;
  event.eventName = name;
  event.bindings[DriverType::kDds].dds.topicName = topic;
  return event;
}

std::string TopicOf(const std::optional<EventRegisterInfo>& event) {
  return event ? event->bindings.at(DriverType::kDds).dds.topicName : "none";
}

TEST(ConfigStore, LooksAtRunTimeEntriesThenAtTheDeploymentOfTheProcess) {
  int loads = 0;
  ConfigStore store([&loads] {
    ++loads;
    Deployment deployment;
    deployment.events = {Event("a", "deployed a"), Event("b", "deployed b"), Event("a", "second a")};
    deployment.faults = {{"services/x.json", 3, "/events/2", "defined twice"}};
    return deployment;
  });
  log::LogCapture capture;
  store.Add(EntityRole::kProvider, "a", Event("a", "added"));
  EXPECT_EQ(TopicOf(store.Find(EntityRole::kProvider, "a")), "added");
  EXPECT_EQ(loads, 0) << "nobody asked for the deployment";
  EXPECT_EQ(TopicOf(store.Find(EntityRole::kConsumer, "a")), "deployed a");
  EXPECT_EQ(TopicOf(store.Find(EntityRole::kConsumer, "b")), "deployed b");
  EXPECT_EQ(TopicOf(store.Find(EntityRole::kConsumer, "c")), "none");
  store.Add(EntityRole::kProvider, "a", Event("a", "replaced"));
  EXPECT_EQ(TopicOf(store.Find(EntityRole::kProvider, "a")), "replaced");
  EXPECT_EQ(loads, 1);
  EXPECT_EQ(capture.CountContaining("services/x.json:3: /events/2: defined twice"), 1U);
}

TEST(HelperAddConfig, RegistersUnderThePathOfTheNodeWithTheNetworkOfTheOptions) {
  EventRegisterInfo event = Event("speed", "topic");
  event.bindings[DriverType::kDds].dds.networkIp = "10.0.0.1";
  ASSERT_TRUE(Helper::AddConfig(false, {"/tool/", "127.0.0.2", "net"}, event));
  const auto found = ConfigStore::Instance().Find(EntityRole::kConsumer, "/tool/speed");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->eventName, "speed");
  EXPECT_EQ(found->bindings.at(DriverType::kDds).dds.networkIp, "127.0.0.2");
  EXPECT_FALSE(ConfigStore::Instance().Find(EntityRole::kProvider, "/tool/speed"));

  EventRegisterInfo someip;
  someip.eventName = "speed";
  someip.bindings[DriverType::kSomeip].someip.networkName = "recorded";
  ASSERT_TRUE(Helper::AddConfig(true, {"/tool/", "127.0.0.2", "net"}, someip));
  const auto provided = ConfigStore::Instance().Find(EntityRole::kProvider, "/tool/speed");
  EXPECT_EQ(provided->bindings.at(DriverType::kSomeip).someip.networkName, "net");
}

TEST(HelperAddConfig, RefusesWhatIsNotOneNamedBinding) {
  log::LogCapture capture;
  EventRegisterInfo event = Event("", "topic");
  EXPECT_FALSE(Helper::AddConfig(true, {"/refused/", "", ""}, event));
  event.eventName = "e";
  event.bindings[DriverType::kSomeip] = {};
  EXPECT_FALSE(Helper::AddConfig(true, {"/refused/", "", ""}, event));
  event.bindings.clear();
  EXPECT_FALSE(Helper::AddConfig(true, {"/refused/", "", ""}, event));
  EXPECT_FALSE(ConfigStore::Instance().Find(EntityRole::kProvider, "/refused/e"));
  EXPECT_EQ(capture.CountContaining("exactly one binding"), 3U);
}

TEST(ApplicationName, IsTheChosenOneElseTheProgram) {
  const char* before = std::getenv("QOR_APP_NAME");
  const std::string saved = before != nullptr ? before : "";
  test::SetEnvironment("QOR_APP_NAME", "chosen");
  EXPECT_EQ(ApplicationName(), "chosen");
  test::SetEnvironment("QOR_APP_NAME", "");
  EXPECT_EQ(ApplicationName(), std::filesystem::read_symlink("/proc/self/exe").filename());
  test::SetEnvironment("QOR_APP_NAME", before != nullptr ? saved.c_str() : nullptr);
}

TEST(NodeHandle, SaysWhyItCannotPublishOrSubscribe) {
  log::LogCapture capture;
  for (const char* name : {"", "node", "/no-de", "/n de"}) {
    NodeHandle node(name);
    EXPECT_FALSE(node.Ok()) << name;
    EXPECT_FALSE(node.Advertise("e"));
  }
  EXPECT_EQ(capture.CountContaining("is no node name"), 4U);
  EXPECT_EQ(capture.CountContaining("is not running"), 4U);

  NodeHandle node("/Node_1/x");
  ASSERT_TRUE(node.Ok());
  EventRegisterInfo event;
  event.eventName = "over icc";
  event.bindings[DriverType::kDds] = test::DdsEvent({maintaind::TransportQos::kIcc});
  ASSERT_TRUE(Helper::AddConfig(true, {}, event));
  EXPECT_FALSE(node.Subscribe("unheard of", [](const RecvBuffer&) {}));
  EXPECT_FALSE(node.Advertise("over icc"));
  node.Shutdown();
  EXPECT_FALSE(node.Advertise("over icc"));
  for (const char* reason : {"There is no configuration of event 'unheard of'",
                             "Event 'over icc' cannot be published: this platform cannot drive",
                             "Node '/Node_1/x' cannot use event 'over icc'"}) {
    EXPECT_EQ(capture.CountContaining(reason), 1U) << reason;
  }
}

}  // namespace
}  // namespace qor::com
