// SPDX-License-Identifier: Apache-2.0
// A service of another host and the applications of this one, over real sockets on loopback; service discovery is noted
// only.
#include "platform/maintaind/gateway/imported_service.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/maintaind/gateway/loop_thread.h"
#include "tests/support/eventually.h"

namespace qor::maintaind {
namespace {

using someip::Endpoint;
using someip::Endpoints;
using someip::ServiceClient;
using someip::ServiceServer;
using testing::ElementsAre;

constexpr someip::sd::ServiceKey kKey{0x1234, 1, 1};
constexpr ServiceIndex kIndex{.serviceId = 0x1234, .instanceId = 1, .majorVersion = 1};

OfferedEvent Event(std::uint16_t id, std::vector<std::uint16_t> groups, bool isReliable = false) {
  OfferedEvent event;
  event.eventId = id;
  event.eventGroupIds = std::move(groups);
  event.isReliable = isReliable;
  return event;
}

class ImportedServiceTest : public testing::Test, public BrokerPeers, public BrokerGateway, public RemoteSubscriptions {
 protected:
  ImportedServiceTest() { broker_.SetGateway(this); }

  void OnServiceState(ConnectionId /*connection*/, const ServiceState& state) override { state_ = state; }
  void OnSubscriberChange(ConnectionId /*connection*/, const SubscriberChange& /*change*/) override {}
  void OnOffered(const ServiceOffer& /*offer*/) override {}
  void OnOfferEnded(const ServiceIndex& /*service*/) override {}
  void OnWanted(const ServiceIndex& /*service*/, bool /*isWanted*/) override {}
  void OnSubscriberChange(const SubscriberChange& change) override { imported_->OnSubscriberChange(change); }
  void Subscribe(const someip::sd::Subscription& subscription) override {
    asked_[subscription.eventgroup] = subscription.local;
    noted_.push_back("+" + std::to_string(subscription.eventgroup) + (subscription.local.udp ? " udp" : "") +
                     (subscription.local.tcp ? " tcp" : ""));
  }
  void Unsubscribe(const someip::sd::ServiceKey& /*service*/, std::uint16_t eventgroup) override {
    noted_.push_back("-" + std::to_string(eventgroup));
  }

  void Import(const Endpoints& provider) {
    someip::sd::RemoteService remote;
    remote.key = kKey;
    remote.host = someip::kLoopbackAddress;
    remote.endpoints = provider;
    auto opened = ImportedService::Open({control_, events_.Loop(), ports_.Loop(), ports_.Loop()}, broker_, *this,
                                        {someip::kLoopbackAddress, 3}, remote);
    ASSERT_TRUE(opened) << opened.Error().Message();
    imported_ = std::move(opened).Value();
    ASSERT_TRUE(broker_.Find(1, kIndex));
  }
  /// An application's subscription, as its connection to the daemon tells it.
  void Take(ConnectionId application, std::uint16_t eventgroup, const Endpoint& endpoint, const OfferedEvent& event) {
    EventgroupSubscription subscription;
    subscription.service = kIndex;
    subscription.eventGroupId = eventgroup;
    subscription.address = endpoint.address.Text();
    subscription.port = endpoint.port;
    subscription.isReliable = event.isReliable;
    subscription.events = {event};
    ASSERT_TRUE(broker_.Subscribe(application, subscription));
  }
  template <class Condition>
  bool WaitFor(Condition&& condition) {
    return test::Eventually([&] {
      control_.poll();
      return condition();
    });
  }

  asio::io_context control_{1};
  const asio::executor_work_guard<asio::io_context::executor_type> guard_ = asio::make_work_guard(control_);
  LoopThread events_{"events"};
  LoopThread ports_{"ports"};
  ServiceBroker broker_{*this};
  ServiceState state_;
  std::vector<std::string> noted_;
  std::map<std::uint16_t, Endpoints> asked_;
  std::unique_ptr<ImportedService> imported_;
};

TEST_F(ImportedServiceTest, ATransportThatIsNotThereTakesTheOtherFromNobody) {
  asio::ip::tcp::acceptor silent(control_);  // bound, not listening: a connection is refused
  silent.open(asio::ip::tcp::v4());
  silent.bind({asio::ip::address_v4::loopback(), 0});
  const Endpoint tcp{someip::kLoopbackAddress, silent.local_endpoint().port()};
  Import({.udp = Endpoint{someip::kLoopbackAddress, 40001}, .tcp = tcp});
  Take(1, 5, {someip::kLoopbackAddress, 50001}, Event(0x8001, {5}));
  EXPECT_THAT(noted_, ElementsAre("+5 udp"));
  Take(2, 5, {someip::kLoopbackAddress, 50002}, Event(0x8002, {5}, true));
  control_.run_for(std::chrono::milliseconds(50));
  EXPECT_THAT(noted_, ElementsAre("+5 udp"));

  silent.listen();
  EXPECT_TRUE(WaitFor([&] { return noted_.back() == "+5 udp tcp"; }));
  imported_.reset();
  EXPECT_EQ(noted_.back(), "-5");
  EXPECT_FALSE(state_.isAvailable);
}

TEST_F(ImportedServiceTest, AnEventReachesEverybodyWhateverEventgroupHeTakesItIn) {
  someip::ServiceServerOptions options;
  options.serviceId = kIndex.serviceId;
  options.udpPort = std::uint16_t{0};
  auto provider = std::move(ServiceServer::Open(ports_.Loop(), options)).Value();
  ASSERT_TRUE(provider->AddEvent({.eventId = 0x8001, .eventgroups = {1, 2}, .isField = true, .tp = {{}}}));
  Import({.udp = provider->UdpEndpoint(), .tcp = {}});
  std::atomic<int> received[2] = {0, 0};
  std::vector<std::unique_ptr<ServiceClient>> applications;
  for (std::uint16_t i = 0; i < 2; ++i) {
    someip::ServiceClientOptions client;
    client.serviceId = kIndex.serviceId;
    applications.push_back(std::make_unique<ServiceClient>(events_.Loop(), client));
    applications[i]->SetServer({.udp = Endpoint{someip::kLoopbackAddress, state_.udpPort}, .tcp = {}});
    applications[i]->SetEventHandler(0x8001, [&received, i](const auto&, auto) { ++received[i]; });
    const auto group = static_cast<std::uint16_t>(i + 1);
    Take(i + 1U, group, applications[i]->OpenUdp().Value(), Event(0x8001, {group}));
    ASSERT_TRUE(provider->AddSubscriber(group, *asked_.at(group).udp, false));
  }
  EXPECT_EQ(asked_.at(1), asked_.at(2));
  EXPECT_TRUE(WaitFor([&] {
    EXPECT_TRUE(provider->Notify(0x8001, std::vector<std::uint8_t>(5000, 1)));
    return received[0] > 0 && received[1] > 0;
  }));

  const int before = received[1];
  broker_.Close(1);
  EXPECT_TRUE(WaitFor([&] {
    EXPECT_TRUE(provider->Notify(0x8001, std::vector<std::uint8_t>(10, 1)));
    return received[1] > before;
  })) << "the other one still takes it";
}

}  // namespace
}  // namespace qor::maintaind
