// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/tools_common_client_manager.h"

namespace qor::qortools::common {
namespace {

using testing::ElementsAre;

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

TEST_F(ClientManager, HasOneProxyForEachDaemonInOrderAndKeepsThoseThatStay) {
  Online({7, 1, 300, 7});
  EXPECT_THAT(Instances(), ElementsAre(1, 7, 300));
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Create maintaind service proxylist.[instanceList=1&&7&&300]"), 1U);
  const ProxyList before = manager_.GetCurrentProxyList();
  capture_.Clear();
  Online({7, 8, 300});
  EXPECT_THAT(Instances(), ElementsAre(7, 8, 300));
  EXPECT_EQ(manager_.GetCurrentProxyList()[0], before[1]);
  EXPECT_EQ(before[0]->GetHandle().GetInstanceId(), 1) << "a caller's copy outlives the change";
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Clear offline proxy[maintaindInstance=1]"), 1U);
  EXPECT_EQ(capture_.Count(LogLevel::kDebug, "Create maintaind service proxylist.[instanceList=8]"), 1U);
  EXPECT_EQ(capture_.Lines().size(), 2U) << "nothing changed, nothing to say";
  Online({});
  EXPECT_EQ(manager_.GetProxyListSize(), 0U);
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

}  // namespace
}  // namespace qor::qortools::common
