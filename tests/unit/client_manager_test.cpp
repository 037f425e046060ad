// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/tools_common_client_manager.h"

namespace qor::qortools::common {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A manager that is told by the test which daemons are online. Nothing listens on their sockets.
class ClientManager : public testing::Test {
 protected:
  void Online(const std::vector<std::uint16_t>& instances) {
    ara::com::ServiceHandleContainer<ToolsServiceHandle> handles;
    for (const std::uint16_t instance : instances) {
      handles.emplace_back(instance, "/nonexistent/maintaind-" + std::to_string(instance) + ".sock");
    }
    manager_.ServiceAvailabilityCallback(handles);
  }
  std::vector<std::uint16_t> Instances() {
    std::vector<std::uint16_t> instances;
    for (const auto& proxy : manager_.GetCurrentProxyList()) {
      instances.push_back(proxy->GetHandle().GetInstanceId());
    }
    return instances;
  }

  ToolsCommonClientManager manager_;
  log::LogCapture capture_;
};

TEST_F(ClientManager, HasOneProxyForEachDaemonInOrder) {
  EXPECT_EQ(manager_.GetProxyListSize(), 0U);
  Online({7, 1, 300, 7});
  EXPECT_EQ(manager_.GetProxyListSize(), 3U);
  EXPECT_THAT(Instances(), ElementsAre(1, 7, 300));
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Create maintaind service proxylist.[instanceList=1&&7&&300]"), 1U);
  capture_.Clear();
  manager_.PrintOnlineMaintaindService();
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Print online maintaind service.[instanceList=1&&7&&300]"), 1U);
}

TEST_F(ClientManager, FollowsChangesAtTheNextLookAndKeepsWhatStayed) {
  Online({1, 2});
  const ProxyList before = manager_.GetCurrentProxyList();
  Online({2, 3});
  capture_.Clear();
  const ProxyList after = manager_.GetCurrentProxyList();
  ASSERT_EQ(after.size(), 2U);
  EXPECT_EQ(after[0], before[1]);
  EXPECT_EQ(after[1]->GetHandle().GetInstanceId(), 3);
  EXPECT_EQ(before[0]->GetHandle().GetInstanceId(), 1) << "a caller's copy outlives the change";
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Clear offline proxy[maintaindInstance=1]"), 1U);
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Create maintaind service proxylist.[instanceList=3]"), 1U);
  EXPECT_THAT(Instances(), ElementsAre(2, 3));
  EXPECT_EQ(capture_.Lines().size(), 2U) << "nothing changed, nothing to say";
  Online({});
  EXPECT_THAT(Instances(), IsEmpty());
}

TEST_F(ClientManager, ADaemonThatWasGoneForAMomentIsNotOffline) {
  Online({1});
  const ProxyList before = manager_.GetCurrentProxyList();
  capture_.Clear();
  Online({});
  Online({1});
  EXPECT_EQ(manager_.GetCurrentProxyList(), before);
  EXPECT_EQ(capture_.Lines().size(), 0U);
}

TEST_F(ClientManager, IsOnePerProcess) {
  EXPECT_EQ(ToolsCommonClientManager::GetInstance(), ToolsCommonClientManager::GetInstance());
}

}  // namespace
}  // namespace qor::qortools::common
