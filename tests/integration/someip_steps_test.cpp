// SPDX-License-Identifier: Apache-2.0
// What a SOME/IP server, a client or a connection does between two steps of its loop, which the tests make by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/ip/multicast.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/ip/udp.hpp>
#include <asio/write.hpp>

#include "platform/log/log_capture.h"
#include "platform/someip/asio_endpoint.h"
#include "platform/someip/service_client.h"
#include "platform/someip/service_server.h"
#include "platform/someip/tcp_connection.h"
#include "platform/someip/wire_error.h"
#include "tests/support/bytes.h"
#include "tests/support/eventually.h"
#include "tests/support/test_hosts.h"

namespace qor::someip {
namespace {

using Clock = std::chrono::steady_clock;
using asio::ip::tcp;
using asio::ip::udp;
using test::Bytes;
using test::TestHosts;

constexpr std::uint16_t kService = 0x1234;
constexpr std::uint16_t kEvent = 0x8001;
constexpr std::uint16_t kGroup = 5;
constexpr Ipv4Address kNobodysAddress{0xC0000201};  // 192.0.2.1
constexpr std::chrono::milliseconds kLimit{20};

/// An event with so many bytes of payload, each of them `value`.
Bytes Message(std::size_t size, std::uint8_t value = 0) {
  MessageHeader header;
  header.serviceId = kService;
  header.methodId = kEvent;
  header.type = MessageType::kNotification;
  header.SetPayloadSize(size);
  return test::Joined(EncodeHeader(header), Bytes(size, value));
}

/// Sends events by hand and receives them so.
class RawUdp {
 public:
  explicit RawUdp(Ipv4Address address = kLoopbackAddress) : socket_(loop_, ToAsio<udp>({address, 0})) {
    socket_.set_option(asio::ip::multicast::outbound_interface(ToAsio(address)));
    socket_.set_option(asio::ip::multicast::hops(0));
    socket_.non_blocking(true);
  }
  Endpoint Local() const { return FromAsio(socket_.local_endpoint()); }
  void Send(const Endpoint& to, std::uint8_t value) {
    socket_.send_to(asio::buffer(Message(1, value)), ToAsio<udp>(to));
  }
  /// The last byte of each datagram that has arrived.
  Bytes Received() {
    Bytes values;
    asio::error_code error;
    std::array<std::uint8_t, 100> datagram{};
    while (const std::size_t size = socket_.receive(asio::buffer(datagram), 0, error)) {
      values.push_back(datagram.at(size - 1));
    }
    return values;
  }

 private:
  asio::io_context loop_;
  udp::socket socket_;
};

class SomeipStepsTest : public testing::Test {
 protected:
  void Step() {
    loop_.restart();
    loop_.poll();
  }
  template <class Condition>
  bool StepUntil(Condition condition) {
    return test::Eventually([&] {
      Step();
      return condition();
    });
  }
  tcp::socket ConnectTo(const Endpoint& server) {
    tcp::socket peer(loop_);
    peer.connect(ToAsio<tcp>(server));
    return peer;
  }

  static ServiceServerOptions ServerOptions() {
    ServiceServerOptions options;
    options.serviceId = kService;
    options.udpPort = 0;
    options.tcpPort = 0;
    return options;
  }
  std::unique_ptr<ServiceServer> OpenServer() {
    auto opened = ServiceServer::Open(loop_, ServerOptions());
    EXPECT_TRUE(opened) << opened.Error().Message();
    return opened ? std::move(opened).Value() : nullptr;
  }
  std::unique_ptr<ServiceClient> MakeClient(Ipv4Address address = kLoopbackAddress) {
    ServiceClientOptions options;
    options.serviceId = kService;
    options.localAddress = address;
    auto client = std::make_unique<ServiceClient>(loop_, options);
    client->SetEventHandler(kEvent, [this](const MessageHeader&, auto payload) { events_.push_back(payload[0]); });
    return client;
  }

  asio::io_context loop_{1};
  Bytes events_;  // the first byte of each
};

/// A connection whose peer is the test.
class SomeipTcpStepsTest : public SomeipStepsTest {
 protected:
  void SetUp() override {
    tcp::acceptor acceptor(loop_, {asio::ip::address_v4::loopback(), 0});
    peer_ = ConnectTo(FromAsio(acceptor.local_endpoint()));
    connection_ = std::make_shared<TcpConnection>(acceptor.accept(), TcpLimits{16U << 20U, 1U << 20U, kLimit});
    connection_->Start([this](const MessageHeader&, auto) { ++messages_; },
                       [this](TcpEnd end, const std::string&) { end_ = end; });
  }
  void TearDown() override { connection_->Close(); }

  /// A whole message and the beginning of another one, which are read. What is left to send of the latter.
  Bytes SendOneAndAHalf(std::size_t size, std::size_t begun) {
    const std::size_t before = messages_;
    const Bytes next = Message(size);
    asio::write(peer_, asio::buffer(test::Joined(Message(0), std::span(next).first(begun))));
    EXPECT_TRUE(StepUntil([&] { return messages_ > before || end_; }));
    return {next.begin() + static_cast<std::ptrdiff_t>(begun), next.end()};
  }

  tcp::socket peer_{loop_};
  std::shared_ptr<TcpConnection> connection_;
  std::size_t messages_ = 0;
  std::optional<TcpEnd> end_;  // nothing: the connection is there
};

TEST_F(SomeipTcpStepsTest, APeerIsNotBlamedForAPauseOfOurs) {
  const Bytes rest = SendOneAndAHalf(100'000, 20);
  asio::write(peer_, asio::buffer(rest));
  std::this_thread::sleep_for(2 * kLimit);
  EXPECT_TRUE(StepUntil([this] { return messages_ == 2 || end_; }));
  EXPECT_EQ(end_, std::nullopt);

  SendOneAndAHalf(100'000, 20);
  EXPECT_TRUE(StepUntil([this] { return end_.has_value(); }));
  EXPECT_EQ(end_, TcpEnd::kLimit);
}

TEST_F(SomeipTcpStepsTest, APeerMayAlwaysBeInAMessageThatIsNew) {
  Bytes rest;
  auto begun = Clock::now();
  for (const auto end = begun + 3 * kLimit; begun < end && !end_;) {
    asio::write(peer_, asio::buffer(rest));
    rest = SendOneAndAHalf(100, 20);
    for (int i = 0; i < 4; ++i) {
      std::this_thread::sleep_for(kLimit / 20);
      Step();
    }
    const auto before = std::exchange(begun, Clock::now());
    EXPECT_TRUE(!end_ || begun - before >= kLimit) << "not even this test was slow";
  }
}

TEST_F(SomeipTcpStepsTest, WhatHasComeOfAMessageGivesTimeForTheRest) {
  constexpr std::size_t kChunk = 10'000;
  const Bytes rest = SendOneAndAHalf(200 * kChunk, 20);
  for (std::size_t at = 0; at < 100 * kChunk; at += kChunk) {  // 10 s more
    asio::write(peer_, asio::buffer(rest.data() + at, kChunk));
    Step();
  }
  std::this_thread::sleep_for(2 * kLimit);
  for (std::size_t at = 100 * kChunk; at < rest.size(); at += kChunk) {
    Step();
    ASSERT_EQ(end_, std::nullopt);
    asio::write(peer_, asio::buffer(rest.data() + at, std::min(kChunk, rest.size() - at)));
  }
  EXPECT_TRUE(StepUntil([this] { return messages_ == 2; }));
}

TEST_F(SomeipStepsTest, AServerWarnsOfAPeerThatItCutsOffAndNotOfOneThatLeaves) {
  const log::LogCapture capture;
  const auto server = OpenServer();
  const auto text = [](const tcp::socket& peer, const std::string& what) {
    return "A connection to service 4660 " + what + ".[peer=" + FromAsio(peer.local_endpoint()).Text() + "]";
  };
  tcp::socket stranger = ConnectTo(*server->TcpEndpoint());
  asio::write(stranger, asio::buffer(std::string("GET / HTTP/1.1\r\n\r\n")));
  const std::string cutOff =
      text(stranger, "was closed: the peer sent what is no SOME/IP message or one that is too large");
  EXPECT_TRUE(StepUntil([&] { return capture.Count(LogLevel::kWarn, cutOff) == 1; }));

  tcp::socket guest = ConnectTo(*server->TcpEndpoint());
  const std::string left = text(guest, "ended: End of file");
  guest.close();
  EXPECT_TRUE(StepUntil([&] { return capture.Count(LogLevel::kDebug, left) == 1; }));
}

TEST_F(SomeipStepsTest, FieldsGoToNewSubscribersFromTheLoopAndOnlyIfNothingNewerWent) {
  auto server = OpenServer();
  RawUdp subscriber;
  Bytes seen;
  const auto sees = [&](const Bytes& all) {
    return StepUntil([&] {
             const Bytes more = subscriber.Received();
             seen.insert(seen.end(), more.begin(), more.end());
             return seen.size() >= all.size();
           }) &&
           seen == all;
  };
  const auto notify = [&](std::uint8_t value) { EXPECT_TRUE(server->Notify(kEvent, {&value, 1})); };
  const auto subscribe = [&](std::uint16_t group) {
    EXPECT_TRUE(server->AddSubscriber(group, subscriber.Local(), false));
  };
  ASSERT_TRUE(server->AddEvent({.eventId = kEvent, .eventgroups = {kGroup, kGroup + 1}, .isField = true}));
  subscribe(kGroup);  // nothing was ever sent
  Step();
  server->RemoveAllSubscribers(subscriber.Local());
  notify(1);
  subscribe(kGroup);
  EXPECT_EQ(subscriber.Received(), Bytes{});
  EXPECT_TRUE(sees({1}));
  subscribe(kGroup);  // a renewal
  Step();
  subscribe(kGroup + 1);
  EXPECT_TRUE(sees({1, 1}));

  server->RemoveAllSubscribers(subscriber.Local());
  subscribe(kGroup);
  notify(2);
  EXPECT_TRUE(sees({1, 1, 2}));

  server->RemoveAllSubscribers(subscriber.Local());
  subscribe(kGroup);
  server->RemoveAllSubscribers(subscriber.Local());
  Step();
  subscribe(kGroup);
  notify(3);
  EXPECT_TRUE(sees({1, 1, 2, 3}));

  subscribe(kGroup + 1);
  server.reset();
  Step();
  EXPECT_EQ(subscriber.Received(), Bytes{});
}

TEST_F(SomeipStepsTest, AReplacedPortLeavesTheOtherAsItWas) {
  const auto former = OpenServer();
  ServiceServerOptions options = ServerOptions();
  options.tcpPort = OpenServer()->TcpEndpoint()->port;  // free again
  options.udpPort = former->UdpEndpoint()->port;
  auto near = ServiceServer::OpenNear(loop_, options);
  ASSERT_TRUE(near);
  EXPECT_NE(near.Value()->UdpEndpoint()->port, options.udpPort);
  EXPECT_EQ(near.Value()->TcpEndpoint()->port, options.tcpPort);
  options.address = kNobodysAddress;
  EXPECT_FALSE(ServiceServer::OpenNear(loop_, options));
}

TEST_F(SomeipStepsTest, OnlyWhoWantsItOpensPortsBeforeTheAddressIsThere) {
  for (const bool mayBindEarly : {false, true}) {
    ServiceClientOptions client;
    client.serviceId = kService;
    client.localAddress = kNobodysAddress;
    client.mayBindEarly = mayBindEarly;
    EXPECT_EQ(ServiceClient(loop_, client).OpenUdp().HasValue(), mayBindEarly);
    for (const bool isTcp : {false, true}) {
      ServiceServerOptions server = ServerOptions();
      (isTcp ? server.udpPort : server.tcpPort).reset();
      server.address = kNobodysAddress;
      server.mayBindEarly = mayBindEarly;
      EXPECT_EQ(ServiceServer::Open(loop_, server).HasValue(), mayBindEarly) << isTcp;
    }
  }
}

TEST_F(SomeipStepsTest, AnAttemptToConnectThatHasEndedSaysNothing) {
  const auto client = MakeClient();
  std::vector<std::string> failures;
  const auto connect = [&](const std::string& name) {
    client->ConnectTcp([&failures, name](const auto& local) { failures.push_back(local ? "" : name); }, nullptr);
  };
  connect("closed");
  client->CloseTcp();
  connect("replaced");
  connect("last");
  Step();
  EXPECT_EQ(failures, std::vector<std::string>{"last"});
}

TEST_F(SomeipStepsTest, WithoutTheServersUdpEndpointItsTcpAddressIsTheOnlySource) {
  const auto client = MakeClient();
  client->SetServer({std::nullopt, Endpoint{kLoopbackAddress, 1}});
  const Endpoint local = client->OpenUdp().Value();
  RawUdp stranger(Ipv4Address{kLoopbackAddress.value + 1});
  RawUdp server;
  stranger.Send(local, 1);
  server.Send(local, 2);
  ASSERT_TRUE(StepUntil([this] { return !events_.empty(); }));
  EXPECT_EQ(events_, Bytes{2});
  EXPECT_EQ(client->Counts().foreign, 1U);
}

TEST_F(SomeipStepsTest, JoiningAgainRenewsAMembershipThatWentWithItsInterface) {
  if (const std::string reason = TestHosts::Possible(); !reason.empty()) {
    GTEST_SKIP() << reason;
  }
  const TestHosts hosts(1);
  const Ipv4Address address = *Ipv4Address::FromText(TestHosts::Address(0));
  const Endpoint group{*Ipv4Address::FromText("239.77.0.1"), 30000};
  const auto client = MakeClient(address);
  const auto join = [&] {
    int error = 0;
    hosts.RunOn(0, [&] {
      const auto joined = client->JoinMulticast(group);
      error = joined ? 0 : joined.Error().Value();
    });
    return error;
  };
  const auto arrives = [&](std::uint8_t value) {
    std::optional<RawUdp> server;
    hosts.RunOn(0, [&] { server.emplace(address); });
    server->Send(group, value);
    return StepUntil([&] { return !events_.empty() && events_.back() == value; });
  };
  ASSERT_EQ(join(), 0);
  ASSERT_TRUE(arrives(1));
  hosts.RemoveInterface(0);
  hosts.AddInterface(0);
  EXPECT_EQ(join(), 0);
  EXPECT_TRUE(arrives(2));

  hosts.RemoveInterface(0);
  EXPECT_EQ(join(), static_cast<int>(WireError::kSocket));
  hosts.AddInterface(0);
  EXPECT_EQ(join(), 0);
  EXPECT_TRUE(arrives(3));
  EXPECT_EQ(events_, (Bytes{1, 2, 3}));
}

}  // namespace
}  // namespace qor::someip
