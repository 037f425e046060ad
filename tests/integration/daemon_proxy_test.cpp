// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "platform/ipc/stream_client.h"
#include "platform/maintaind/daemon/network_tools_service.h"
#include "platform/maintaind/daemon/tools_service_impl.h"
#include "platform/maintaind/service/tools_service_proxy.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"

namespace qor::maintaind::proxy {
namespace {

using test::DaemonThread;
using test::QuietDaemon;
using test::RawApplication;
using test::RawPeer;
using Proxy = QORMaintaindToolsServiceProxy;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto kProvider = EntityRole::kProvider;

/// The tools service of a daemon without applications, as other hosts see it.
class NetworkTools {
 public:
  explicit NetworkTools(com::Deployment deployment) : deployment_(std::move(deployment)) {
    const auto port = service_.Open(someip::kLoopbackAddress);
    EXPECT_TRUE(port) << (port ? "" : port.Error().Message());
    address_ = "127.0.0.1:" + std::to_string(port ? port.Value() : 0);
    thread_ = std::thread([this] { loop_.run(); });
  }
  ~NetworkTools() {
    asio::post(loop_, [this] { service_.Close(); });  // then the loop has nothing more to do
    thread_.join();
  }

  const std::string& Address() const { return address_; }

 private:
  const com::Deployment deployment_;
  Registry registry_{{}};
  ToolsServiceImpl impl_{registry_, deployment_};
  ToolsServiceSkeleton skeleton_{impl_};
  asio::io_context loop_;
  NetworkToolsService service_{loop_, skeleton_};
  std::string address_;
  std::thread thread_;
};

class DaemonProxyTest : public testing::Test {
 protected:
  template <class T>
  T Get(ara::core::Future<T> answer) {
    auto result = answer.GetResult();
    EXPECT_TRUE(result.HasValue()) << result.Error().Message();
    return result ? std::move(result).Value() : T{};
  }
  template <class T>
  std::string ErrorOf(ara::core::Future<T> answer) {
    const auto result = answer.GetResult();
    return result ? "a value" : std::to_string(result.Error().Value()) + ": " + result.Error().Message();
  }

  test::RuntimeFolder folder_;
};

TEST_F(DaemonProxyTest, ListsWhatApplicationsRegistered) {
  const DaemonThread daemon(QuietDaemon());
  RawApplication motor(daemon.SocketPath(), "/motor");
  RawApplication panel(daemon.SocketPath(), "/panel");
  FieldRegistration limit{3, kProvider, {}};
  limit.info.fieldName = "/limit";
  limit.info.nodeName = "/motor";
  ServiceRegistration service{4, kProvider, {}};
  service.info.serviceName = "Motor";
  service.info.nodeName = "/motor";
  ASSERT_EQ(motor.Ask<node_operation::RegisterEvent>(test::Publish(1, "/motor", "speed")), "ok");
  ASSERT_EQ(motor.Ask<node_operation::RegisterMethod>(test::SomeipMethod(2, kProvider, "/motor", "/reset", 1)), "ok");
  ASSERT_EQ(motor.Ask<node_operation::RegisterField>(limit), "ok");
  ASSERT_EQ(motor.Ask<node_operation::RegisterService>(service), "ok");
  ASSERT_EQ(panel.Ask<node_operation::RegisterEvent>(test::Subscribe(1, "/panel", "speed")), "ok");

  Proxy proxy = daemon.Tool();
  const auto events = Get(proxy.QueryEventInfo("ALL"));
  ASSERT_EQ(events.size(), 1U);
  EXPECT_THAT(events[0].subscribers, ElementsAre("/panel"));
  EXPECT_EQ(Get(proxy.QueryEventInfo("/speed")), events);
  EXPECT_TRUE(Get(proxy.QueryEventInfo("/other")).empty());
  EXPECT_EQ(Get(proxy.QueryMethodInfo("/reset")).at(0).server, "/motor");
  EXPECT_EQ(Get(proxy.QueryFieldInfo("ALL")).at(0).server, "/motor");
  EXPECT_EQ(Get(proxy.QueryServiceInfo("Motor")).at(0).server, "/motor");
  EXPECT_EQ(daemon.Nodes(), "/motor >/speed >/reset >/limit >Motor; /panel </speed;");
  const auto node = Get(proxy.QueryNodeInfo("/motor")).at(0);
  EXPECT_EQ(node.processId, static_cast<std::uint32_t>(::getpid()));
  EXPECT_THAT(node.identity, testing::MatchesRegex("[^:]+:[^:]+"));
  QuerySubEventInfoIndex index;
  index.topicName = "speed";
  EXPECT_EQ(Get(proxy.QuerySubNodeEventInfo(index)).subscribers.at(0).nodeName, "/panel");

  ASSERT_EQ(panel.Ask<node_operation::UnregisterEntity>(1), "ok");
  EXPECT_TRUE(Get(proxy.QueryEventInfo("ALL")).at(0).subscribers.empty()) << "no answer is kept beyond a change";
  ASSERT_EQ(panel.Ask<node_operation::UnregisterNode>("/panel"), "ok");
  EXPECT_EQ(Get(proxy.QueryNodeInfo("ALL")).size(), 1U);
}

TEST_F(DaemonProxyTest, TellsTheDeployedTypes) {
  std::filesystem::create_directories(folder_.File("deployment/types"));
  folder_.Write("deployment/types/a.json",
                R"([{"ShortName":"Speed","Type":"STRUCTURE","Subelements":[{"Name":"value","Type":"Number"}]},
             {"ShortName":"Number","Type":"VALUE","Primitive":"uint32_t"}, {"broken": 1}])");
  auto options = QuietDaemon();
  options.deploymentDir = folder_.Path() + "/deployment";
  const DaemonThread daemon(options);
  RawApplication motor(daemon.SocketPath(), "/motor");
  auto speed = test::Publish(1, "/motor", "speed");
  speed.info.dataTypeName = "Speed";
  ASSERT_EQ(motor.Ask<node_operation::RegisterEvent>(speed), "ok");
  auto reset = test::SomeipMethod(2, kProvider, "/motor", "/reset", 1);
  reset.info.inputTypeNames = {"Speed", "uint8_t"};
  reset.info.outputTypeName = "Number";
  ASSERT_EQ(motor.Ask<node_operation::RegisterMethod>(reset), "ok");

  Proxy proxy = daemon.Tool();
  QueryDataTypeIndex index;
  index.entityName = "/speed";
  const auto shown = Get(proxy.QueryEventShow(index));
  EXPECT_THAT(shown.topLevelTypeJson, HasSubstr("Subelements"));
  EXPECT_THAT(shown.typeListJson, HasSubstr("uint32_t"));
  index.domainId = 5;
  EXPECT_EQ(Get(proxy.QueryEventShow(index)).dataTypeName, "") << "there is none in this domain";
  index = {};
  index.entityName = "/reset";
  index.instanceShortName = "front";
  const auto method = Get(proxy.QueryMethodType(index));
  EXPECT_THAT(method.inputTypeJson, ElementsAre(HasSubstr("Speed"), ""));
  EXPECT_THAT(method.outputTypeJson, HasSubstr("Number"));
  EXPECT_EQ(method.typeListJson, "[]") << "what it refers to stands in the definitions above already";
  index.instanceShortName = "rear";
  EXPECT_TRUE(Get(proxy.QueryMethodType(index)).inputTypeJson.empty());

  EXPECT_EQ(Get(proxy.QueryAllDataType()).size(), 2U);
  EXPECT_THAT(Get(proxy.QueryDataType("Number")).definitionJson, HasSubstr("uint32_t"));
  EXPECT_EQ(Get(proxy.QueryDataType("nothing")).definitionJson, "");
  EXPECT_THAT(Get(proxy.QueryDataTypeRefList()).at(1).references, ElementsAre("Number"));
}

TEST_F(DaemonProxyTest, ToolsOfOtherHostsAreAnsweredByTcp) {
  constexpr std::size_t kSize = 16U << 20U;  // more than the system keeps for a peer
  com::Deployment deployment;
  deployment.types["Large"] = "{\"ShortName\":\"" + std::string(kSize, 'x') + "\"}";
  auto daemon = std::make_unique<NetworkTools>(std::move(deployment));
  Proxy proxy({0, daemon->Address()});
  EXPECT_GT(Get(proxy.QueryDataType("Large")).definitionJson.size(), kSize);
  const std::string reason = "4: latency measurement is not available";
  EXPECT_EQ(ErrorOf(proxy.QueryLatencyStatus({})), reason);
  EXPECT_EQ(ErrorOf(proxy.QueryLatencyResult({})), reason);
  EXPECT_EQ(ErrorOf(proxy.SwitchLatencyMode({})), reason);

  RawPeer oversized(daemon->Address());
  const auto registering = oversized.Call(NodeService::ServiceIdentifier, node_operation::Hello::kMethodId,
                                          Encode(ApplicationHello{.applicationName = "app"}));
  ASSERT_TRUE(registering);
  EXPECT_EQ(registering->header.returnCode, someip::ReturnCode::kUnknownService);
  constexpr std::uint16_t kTools = QORMaintaindToolsService::ServiceIdentifier;
  const auto large = RawPeer::RequestBytes(kTools, 1, RawPeer::Bytes(NetworkToolsService::kMaxRequest + 1));
  EXPECT_TRUE(oversized.Send(std::span(large).first(someip::kHeaderSize))) << "the length alone is enough";
  EXPECT_TRUE(oversized.IsClosedByPeer());

  std::vector<std::unique_ptr<RawPeer>> peers;  // beside the proxy
  for (std::size_t i = 1; i < NetworkToolsService::kMaxConnectionsOfHost; ++i) {
    peers.push_back(std::make_unique<RawPeer>(daemon->Address()));
  }
  const auto requestOfLarge =
      RawPeer::RequestBytes(kTools, operation::QueryDataType::kMethodId, Encode(std::string("Large")));
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(peers[0]->Send(requestOfLarge));
  }
  EXPECT_TRUE(RawPeer(daemon->Address()).IsClosedByPeer()) << "one too many of this host";
  for (int i = 0; i < 3; ++i) {
    const auto answer = peers[0]->Receive();
    EXPECT_GT(answer ? answer->payload.size() : 0, kSize) << "answer " << i;
  }

  EXPECT_TRUE(Get(proxy.QueryEventInfo("ALL")).empty()) << "the others do not notice";
  daemon.reset();
  EXPECT_TRUE(test::Eventually([&] {
    return ErrorOf(proxy.QueryEventInfo("ALL"))
        .ends_with("cannot connect to '" + proxy.GetHandle().GetAddress() + "': Connection refused");
  }));
}

TEST_F(DaemonProxyTest, ASilentDaemonAndOneThatAnswersWronglyAreToldApart) {
  auto options = QuietDaemon();
  options.answerFilter = [](const someip::MessageHeader& request,
                            ServiceAnswer answer) -> std::optional<ServiceAnswer> {
    switch (request.methodId) {
      case operation::QueryEventInfo::kMethodId:
        return std::nullopt;
      case operation::QueryNodeInfo::kMethodId:
        return ServiceAnswer{someip::ReturnCode::kOk, std::make_shared<ServiceAnswer::Payload>(3)};
      default:
        return answer;
    }
  };
  const DaemonThread daemon(options);
  Proxy proxy = daemon.Tool();
  auto silent = proxy.QueryEventInfo("ALL");
  EXPECT_EQ(ErrorOf(proxy.QueryNodeInfo("ALL")), "9: the daemon's answer cannot be read beyond byte 0 of 3");
  EXPECT_TRUE(Get(proxy.QueryMethodInfo("ALL")).empty()) << "it does not wait for the one before";
  EXPECT_EQ(silent.wait_for(milliseconds(0)), ara::core::FutureStatus::kTimeout);
}

TEST_F(DaemonProxyTest, LostConnectionFailsWhatIsUnderWayAndTheNextCallConnectsAnew) {
  auto options = QuietDaemon();
  options.answerFilter = [](const someip::MessageHeader&, const ServiceAnswer&) { return std::nullopt; };
  auto silent = std::make_unique<DaemonThread>(options);
  Proxy proxy = silent->Tool();
  auto pending = proxy.QueryEventInfo("ALL");
  EXPECT_EQ(pending.wait_for(milliseconds(20)), ara::core::FutureStatus::kTimeout);
  silent.reset();
  EXPECT_THAT(ErrorOf(std::move(pending)), testing::StartsWith(std::to_string(ipc::kConnectionLost) + ": "));
  EXPECT_THAT(ErrorOf(proxy.QueryEventInfo("ALL")), testing::StartsWith(std::to_string(ipc::kConnectFailed) + ": "));
  const DaemonThread back(QuietDaemon());
  EXPECT_TRUE(Get(proxy.QueryEventInfo("ALL")).empty());
}

}  // namespace
}  // namespace qor::maintaind::proxy
