// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>

#include "platform/someip/endpoint.h"
#include "platform/someip/event_handlers.h"
#include "platform/someip/pending_requests.h"
#include "platform/someip/subscriber_book.h"
#include "tests/support/eventually.h"

namespace qor::someip {
namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;

TEST(SomeipEndpoint, ReadsAndWritesAddresses) {
  EXPECT_EQ(Ipv4Address::FromText("127.0.0.1"), kLoopbackAddress);
  EXPECT_EQ((Endpoint{*Ipv4Address::FromText("10.0.255.7"), 30490}.Text()), "10.0.255.7:30490");
  for (const std::string_view bad : {""sv, "1.2.3"sv, "1.2.3.256"sv, "::1"sv, "1.2.3.4 "sv, "1.2.3.4\0"sv, "host"sv}) {
    EXPECT_FALSE(Ipv4Address::FromText(bad)) << bad;
  }
}

TEST(SubscriberBook, GivesEachSubscriberOnceAndKeepsTransportsApart) {
  const Endpoint a{{1}, 1};
  const Endpoint b{{1}, 2};
  SubscriberBook book;
  EXPECT_TRUE(book.Add(5, a, false));
  EXPECT_FALSE(book.Add(5, a, false));
  EXPECT_TRUE(book.Add(6, a, false));
  EXPECT_TRUE(book.Add(6, b, false));
  EXPECT_TRUE(book.Add(6, a, true));
  EXPECT_EQ(book.Of(std::vector<std::uint16_t>{5, 6}, false), (std::vector{a, b}));
  EXPECT_EQ(book.Of(std::vector<std::uint16_t>{5, 6}, true), (std::vector{a}));
  EXPECT_EQ(book.Count(6), 3U);
  EXPECT_TRUE(book.Remove(5, a, false));
  EXPECT_FALSE(book.Remove(5, a, false));
  EXPECT_FALSE(book.Remove(6, b, true));
  book.RemoveAll(a, true);
  EXPECT_EQ(book.Count(6), 2U);
  EXPECT_EQ(book.EventgroupsOf(a, false), (std::vector<std::uint16_t>{6}));
}

class PendingRequestsTest : public testing::Test {
 protected:
  static constexpr PendingRequests::TimePoint kStart{1h};
  std::optional<std::uint16_t> Add(std::uint16_t method, bool isReliable = false, std::chrono::seconds after = 1s) {
    return pending_.Add(method, isReliable, kStart + after, [](const Answer&) {});
  }
  PendingRequests pending_;
};

TEST_F(PendingRequestsTest, AnAnswerMustFitMethodSessionAndTransport) {
  const auto session = Add(7);
  ASSERT_EQ(session, 1);
  EXPECT_FALSE(pending_.Take(8, 1, false));
  EXPECT_FALSE(pending_.Take(7, 2, false));
  EXPECT_FALSE(pending_.Take(7, 1, true));
  EXPECT_TRUE(pending_.Take(7, 1, false));
  EXPECT_FALSE(pending_.Take(7, 1, false));
  EXPECT_EQ(pending_.NextDeadline(), std::nullopt);
}

TEST_F(PendingRequestsTest, SessionsGoRoundLeavingOutZeroAndThoseInUse) {
  ASSERT_EQ(Add(7), 1);
  for (std::uint16_t session = 2; session != 0; ++session) {
    ASSERT_EQ(pending_.NextSession(), session);
  }
  EXPECT_EQ(Add(7), 2);
  for (int i = 3; i <= 0xFFFF; ++i) {
    ASSERT_TRUE(Add(7));
  }
  EXPECT_EQ(Add(7), std::nullopt);
  EXPECT_TRUE(pending_.Take(7, 500, false));
  EXPECT_EQ(Add(7), 500);
}

TEST_F(PendingRequestsTest, EndsThoseThatAreDueAndThoseOfALostConnection) {
  Add(1, false, 3s);
  Add(2, true, 1s);
  Add(3, false, 1s);
  Add(4, true, 2s);
  EXPECT_EQ(pending_.NextDeadline(), kStart + 1s);
  EXPECT_EQ(pending_.TakeExpired(kStart + 1s - 1ns).size(), 0U);
  EXPECT_EQ(pending_.TakeExpired(kStart + 1s).size(), 2U);
  EXPECT_EQ(pending_.TakeReliable().size(), 1U);
  EXPECT_EQ(pending_.NextDeadline(), kStart + 3s);
  EXPECT_EQ(pending_.Size(), 1U);
}

class EventHandlersTest : public testing::Test {
 protected:
  bool Deliver(std::uint16_t eventId) {
    MessageHeader header;
    header.methodId = eventId;
    return handlers_.Deliver(header, {});
  }
  EventHandlers handlers_;
};

TEST_F(EventHandlersTest, CallsTheHandlerOfTheEventAndNoOther) {
  std::string seen;
  for (const std::uint16_t eventId : std::vector<std::uint16_t>{0x8003, 0x8001, 0x8002}) {
    handlers_.Set(eventId,
                  [&seen](const MessageHeader& header, auto) { seen += std::to_string(header.methodId) + " "; });
  }
  EXPECT_TRUE(Deliver(0x8002));
  EXPECT_TRUE(Deliver(0x8003));
  EXPECT_FALSE(Deliver(0x8004));
  handlers_.Set(0x8002, [&seen](const MessageHeader&, auto) { seen += "replaced "; });
  EXPECT_TRUE(Deliver(0x8002));
  handlers_.Remove(0x8003);
  EXPECT_FALSE(Deliver(0x8003));
  EXPECT_EQ(seen, "32770 32771 replaced ");
}

TEST_F(EventHandlersTest, AHandlerMayRemoveItself) {
  int calls = 0;
  handlers_.Set(0x8001, [&](const MessageHeader&, auto) {
    handlers_.Remove(0x8001);
    ++calls;
  });
  EXPECT_TRUE(Deliver(0x8001));
  EXPECT_FALSE(Deliver(0x8001));
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace qor::someip
