// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/neighbour_daemons.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/maintaind/daemon/daemon_offer.h"
#include "platform/maintaind/daemon/tools_service_impl.h"

namespace qor::maintaind {
namespace {

using someip::Ipv4Address;
using someip::sd::RemoteService;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Ipv4Address kHost{0x0A4D0002};
constexpr Ipv4Address kOtherHost{0x0A4D0003};
constexpr Ipv4Address kLower{0x01000000};  // than the own one

class NeighbourDaemonsTest : public testing::Test {
 protected:
  NeighbourDaemonsTest() { board_.Watch(1); }

  void Offer(Ipv4Address host, std::uint16_t serviceInstance, std::uint16_t daemonInstance,
             RemoteService::State state = RemoteService::State::kOffered) {
    auto offer = OfferOfDaemon(daemonInstance, serviceInstance, {host, 4000});
    neighbours_.OnOffer({.key = offer.key,
                         .host = host,
                         .endpoints = offer.endpoints,
                         .configuration = std::move(offer.configuration),
                         .state = state});
  }
  void Stop(Ipv4Address host, std::uint16_t serviceInstance) {
    Offer(host, serviceInstance, 0, RemoteService::State::kStopped);
  }
  /// What the tools are told of with the next refresh, such as "10.77.0.2/3 10.77.0.3/0;" for each time.
  std::string Told() {
    neighbours_.Refresh();
    return std::exchange(told_, {});
  }

  com::Deployment deployment_;
  Registry registry_{{}};
  ToolsServiceImpl impl_{registry_, deployment_};
  ToolsServiceSkeleton skeleton_{impl_};
  asio::io_context loop_;
  NetworkToolsService tools_{loop_, skeleton_};
  std::string told_;
  RemoteDaemonBoard board_{[this](ConnectionId /*watcher*/, const RemoteDaemonBoard::Daemons& daemons) {
    for (const RemoteDaemon& daemon : daemons) {
      told_ += daemon.address + "/" + std::to_string(daemon.instance) + " ";
    }
    told_ += ";";
  }};
  NeighbourDaemons neighbours_{tools_, board_, 7};
};

TEST_F(NeighbourDaemonsTest, ToolsAreToldOnceOfOneDaemonAHost) {
  for (std::uint16_t instance = 500; instance > 0; --instance) {
    Offer(kHost, instance, instance);
  }
  Offer(kOtherHost, 9, 0);
  EXPECT_EQ(Told(), "10.77.0.3/0 10.77.0.2/500 ;") << "the one that came first";
  for (int i = 0; i < 100; ++i) {
    Stop(kOtherHost, 9);
    Stop(kHost, 1);
    Offer(kHost, 1, 5);
    Offer(kOtherHost, 9, 0);
  }
  EXPECT_EQ(Told(), "");
  Stop(kHost, 500);
  EXPECT_EQ(Told(), "10.77.0.3/0 10.77.0.2/5 ;") << "another one that is there";
  Stop(kOtherHost, 9);
  EXPECT_EQ(Told(), "10.77.0.2/5 ;");
}

TEST_F(NeighbourDaemonsTest, TheHostWithTheHigherAddressTakesAnInstanceThatNobodyHas) {
  Offer(kHost, 1, 0);
  const auto opened = neighbours_.Open(someip::kLoopbackAddress);
  ASSERT_TRUE(opened) << opened.Error().Message();
  auto offer = opened.Value();
  EXPECT_NE(offer.key.instance, 1) << "the lower half of the address, which is taken";
  EXPECT_EQ(offer.configuration[0].value, "7");
  EXPECT_FALSE(neighbours_.GiveWay(offer.key, {someip::kLoopbackAddress.value + 0x10000}));
  EXPECT_FALSE(neighbours_.GiveWay({0x1234, 1, 1}, kLower)) << "a service of an application";
  std::uint32_t changes = 0;
  for (; const auto other = neighbours_.GiveWay(offer.key, kLower); ++changes) {
    EXPECT_NE(other->key, offer.key);
    EXPECT_EQ(other->endpoints, offer.endpoints);
    EXPECT_FALSE(neighbours_.GiveWay(offer.key, kLower)) << "the same once more";
    offer = *other;
  }
  EXPECT_EQ(changes, NeighbourDaemons::kMaxInstances - 2) << "a host that claims all that there are is given up";
}

}  // namespace
}  // namespace qor::maintaind
