// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/service_broker.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace qor::maintaind {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr ServiceIndex kService{.serviceId = 0x1234, .instanceId = 1, .majorVersion = 1};

ServiceOffer OfferAt(std::uint16_t udpPort) {
  ServiceOffer offer;
  offer.service = kService;
  offer.address = "127.0.0.1";
  offer.udpPort = udpPort;
  return offer;
}

EventgroupSubscription SubscriptionAt(std::uint16_t port) {
  EventgroupSubscription subscription;
  subscription.service = kService;
  subscription.eventGroupId = 5;
  subscription.address = "127.0.0.1";
  subscription.port = port;
  return subscription;
}

/// Notes what each connection is told: "<connection>: at <port>", "... gone", "... +<port>", "... -<port>".
class ServiceBrokerTest : public testing::Test, public BrokerPeers {
 protected:
  void OnServiceState(ConnectionId connection, const ServiceState& state) override {
    Note(connection, state.isAvailable ? "at " + std::to_string(state.udpPort) : "gone");
  }
  void OnSubscriberChange(ConnectionId connection, const SubscriberChange& change) override {
    Note(connection, (change.isSubscribed ? "+" : "-") + std::to_string(change.subscription.port));
  }
  std::vector<std::string> Told() { return std::exchange(told_, {}); }

  ServiceBroker broker_{*this, {.services = 2, .subscriptions = 2}};

 private:
  void Note(ConnectionId connection, const std::string& text) {
    told_.push_back(std::to_string(connection) + ": " + text);
  }
  std::vector<std::string> told_;
};

TEST_F(ServiceBrokerTest, UsersLearnWhereTheProviderIsAndItWhoSubscribed) {
  EXPECT_TRUE(broker_.Find(2, kService));
  EXPECT_THAT(Told(), ElementsAre("2: gone"));
  EXPECT_TRUE(broker_.Subscribe(2, SubscriptionAt(20)));
  EXPECT_THAT(Told(), IsEmpty());
  EXPECT_TRUE(broker_.Offer(1, OfferAt(100)));
  EXPECT_THAT(Told(), ElementsAre("2: at 100", "1: +20"));
  EXPECT_TRUE(broker_.Offer(1, OfferAt(100)));
  EXPECT_THAT(Told(), IsEmpty()) << "nothing that users have to know has changed";
  EXPECT_TRUE(broker_.Find(3, kService));
  EXPECT_TRUE(broker_.Subscribe(3, SubscriptionAt(30)));
  EXPECT_TRUE(broker_.Subscribe(3, SubscriptionAt(30)));
  EXPECT_THAT(Told(), ElementsAre("3: at 100", "1: +30"));
  EXPECT_TRUE(broker_.Unsubscribe(2, SubscriptionAt(20)));
  EXPECT_FALSE(broker_.Unsubscribe(2, SubscriptionAt(30))) << "that is another's";
  EXPECT_THAT(Told(), ElementsAre("1: -20"));
  EXPECT_TRUE(broker_.StopOffer(1, kService));
  EXPECT_THAT(Told(), ElementsAre("2: gone", "3: gone"));
}

TEST_F(ServiceBrokerTest, TheEndOfAConnectionEndsWhatItHad) {
  EXPECT_TRUE(broker_.Offer(1, OfferAt(100)));
  EXPECT_TRUE(broker_.Find(2, kService));
  EXPECT_TRUE(broker_.Subscribe(2, SubscriptionAt(20)));
  Told();
  EXPECT_FALSE(broker_.Offer(3, OfferAt(300))) << "the first provider keeps the service";
  EXPECT_FALSE(broker_.StopOffer(3, kService));
  broker_.Close(1);
  EXPECT_THAT(Told(), ElementsAre("2: gone"));
  EXPECT_TRUE(broker_.Offer(3, OfferAt(300)));
  EXPECT_THAT(Told(), ElementsAre("2: at 300", "3: +20"));
  broker_.Close(2);
  EXPECT_THAT(Told(), ElementsAre("3: -20"));
  EXPECT_TRUE(broker_.StopOffer(3, kService));
  EXPECT_THAT(Told(), IsEmpty());
}

/// A gateway that notes what it is told.
class NotedGateway : public BrokerGateway {
 public:
  void OnOffered(const ServiceOffer& offer) override { told.push_back("at " + std::to_string(offer.udpPort)); }
  void OnOfferEnded(const ServiceIndex& /*service*/) override { told.emplace_back("ended"); }
  void OnWanted(const ServiceIndex& /*service*/, bool isWanted) override {
    told.emplace_back(isWanted ? "wanted" : "unwanted");
  }
  void OnSubscriberChange(const SubscriberChange& change) override {
    told.push_back((change.isSubscribed ? "+" : "-") + std::to_string(change.subscription.port) + " for " +
                   std::to_string(change.subscription.events.size()) + " events");
  }
  std::vector<std::string> Told() { return std::exchange(told, {}); }

  std::vector<std::string> told;
};

TEST_F(ServiceBrokerTest, TheGatewayIsAProviderThatMakesRoomAndAUserWithoutLimits) {
  NotedGateway gateway;
  broker_.SetGateway(&gateway);
  EXPECT_TRUE(broker_.Find(2, kService));
  EXPECT_TRUE(broker_.Find(3, kService));
  EXPECT_THAT(gateway.Told(), ElementsAre("wanted"));
  EXPECT_TRUE(broker_.Offer(kGatewayConnection, OfferAt(900)));
  EventgroupSubscription subscription = SubscriptionAt(20);
  EXPECT_TRUE(broker_.Subscribe(2, subscription));
  subscription.events.resize(2);
  EXPECT_TRUE(broker_.Subscribe(2, subscription));
  EXPECT_THAT(gateway.Told(), ElementsAre("+20 for 0 events", "+20 for 2 events"));
  Told();
  ServiceOffer withLosses = OfferAt(900);
  withLosses.lost = 7;
  EXPECT_TRUE(broker_.Offer(kGatewayConnection, withLosses));
  EXPECT_THAT(Told(), ElementsAre("2: at 900", "3: at 900"));

  EXPECT_TRUE(broker_.Offer(1, OfferAt(100)));
  EXPECT_THAT(Told(), ElementsAre("2: at 100", "3: at 100", "1: +20"));
  EXPECT_FALSE(broker_.Offer(kGatewayConnection, OfferAt(900))) << "the application's goes before";
  EXPECT_FALSE(broker_.StopOffer(kGatewayConnection, kService));
  broker_.Close(1);
  broker_.Close(2);
  EXPECT_TRUE(broker_.StopFind(3, kService));
  EXPECT_THAT(gateway.Told(), ElementsAre("at 100", "ended", "unwanted"));

  for (std::uint16_t port = 1; port <= 9; ++port) {
    EXPECT_TRUE(broker_.Subscribe(kGatewayConnection, SubscriptionAt(port)));
  }
}

TEST_F(ServiceBrokerTest, OneConnectionCannotFillTheTable) {
  EXPECT_TRUE(broker_.Offer(1, OfferAt(100)));
  ServiceIndex other = kService;
  for (const bool isAllowed : {true, false}) {
    ++other.instanceId;
    EXPECT_EQ(broker_.Find(1, other).HasValue(), isAllowed);
  }
  for (const auto port : std::initializer_list<std::uint16_t>{10, 11}) {
    EXPECT_TRUE(broker_.Subscribe(1, SubscriptionAt(port)));
  }
  EXPECT_FALSE(broker_.Subscribe(1, SubscriptionAt(12)));
}

}  // namespace
}  // namespace qor::maintaind
