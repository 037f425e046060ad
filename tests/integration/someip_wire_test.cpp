// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/multicast.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/ip/udp.hpp>
#include <asio/post.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/someip/asio_endpoint.h"
#include "platform/someip/service_client.h"
#include "platform/someip/service_server.h"
#include "platform/someip/wire_error.h"
#include "tests/support/bytes.h"
#include "tests/support/eventually.h"

namespace qor::someip {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using asio::ip::udp;
using test::Bytes;
using test::Counting;
using test::Eventually;
using test::Joined;

constexpr std::uint16_t kService = 0x1234;
constexpr std::uint8_t kVersion = 3;
constexpr std::uint16_t kGroup = 5;
constexpr std::uint16_t kEvent = 0x8001;
constexpr std::uint16_t kMethod = 0x0021;
constexpr std::size_t kLarge = 1U << 20U;

Bytes ToBytes(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

MessageHeader Header(MessageType type, std::uint16_t service = kService) {
  MessageHeader header;
  header.serviceId = service;
  header.methodId = type == MessageType::kNotification ? kEvent : kMethod;
  header.interfaceVersion = kVersion;
  header.type = type;
  return header;
}

Bytes Message(MessageHeader header, const Bytes& payload = {}) {
  header.SetPayloadSize(payload.size());
  return Joined(EncodeHeader(header), payload);
}

/// Sends and receives datagrams by hand, also to a group on the loopback interface. While it is there nobody else has
/// the number of its port, which makes it fit for the group's.
class RawUdp {
 public:
  explicit RawUdp(const char* address = "127.0.0.1") : socket_(loop_, {asio::ip::make_address_v4(address), 0}) {
    socket_.set_option(asio::ip::multicast::outbound_interface(asio::ip::make_address_v4("127.0.0.1")));
    socket_.set_option(asio::ip::multicast::hops(0));
  }
  Endpoint At() const { return FromAsio(socket_.local_endpoint()); }
  Endpoint Group() const { return {*Ipv4Address::FromText("239.77.0.1"), At().port}; }

  void Send(const Endpoint& to, const Bytes& bytes) { socket_.send_to(asio::buffer(bytes), ToAsio<udp>(to)); }
  void SendSegment(const Endpoint& to, const Bytes& payload, std::uint16_t session, std::size_t index) {
    MessageHeader header = Header(MessageType::kNotification);
    header.sessionId = session;
    const TpSegment segment = MakeSegment(header, payload, kMaxSegmentLength, index);
    Send(to, Joined(segment.head, segment.piece));
  }
  /// The header of the next message, and who sent it.
  std::pair<MessageHeader, Endpoint> Receive() {
    std::array<std::uint8_t, 100> bytes{};
    udp::endpoint from;
    socket_.receive_from(asio::buffer(bytes), from);
    return {*DecodeHeader(bytes), FromAsio(from)};
  }

 private:
  asio::io_context loop_;
  udp::socket socket_;
};

/// A loop with a thread of its own.
class LoopThread {
 public:
  ~LoopThread() {
    loop_.stop();
    thread_.join();
  }
  asio::io_context& Loop() { return loop_; }

 private:
  asio::io_context loop_{1};
  asio::executor_work_guard<asio::io_context::executor_type> guard_ = asio::make_work_guard(loop_);
  std::thread thread_{[this] { loop_.run(); }};
};

/// What arrived at a handler.
class Inbox {
 public:
  struct Content {
    std::vector<MessageHeader> headers;
    std::vector<Bytes> payloads;
  };

  void Put(const MessageHeader& header, std::span<const std::uint8_t> payload) {
    const std::lock_guard lock(mutex_);
    content_.headers.push_back(header);
    content_.payloads.push_back(ToBytes(payload));
  }
  Content Get() const {
    const std::lock_guard lock(mutex_);
    return content_;
  }
  std::vector<Bytes> Payloads() const { return Get().payloads; }
  std::vector<MessageHeader> Headers() const { return Get().headers; }
  std::size_t Size() const { return Headers().size(); }

 private:
  mutable std::mutex mutex_;
  Content content_;
};

/// A server and a client of it on 127.0.0.1, each with a loop of its own. Requests come back as they are, unless a test
/// says what is done with them.
class SomeipWireTest : public testing::Test {
 protected:
  using RequestHandler = std::function<void(std::span<const std::uint8_t> payload, Responder)>;

  void SetUp() override { OpenServer(ServerOptions()); }

  static ServiceServerOptions ServerOptions() {
    ServiceServerOptions options;
    options.serviceId = kService;
    options.majorVersion = kVersion;
    options.udpPort = 0;
    options.tcpPort = 0;
    options.maxQueued = 8U << 20U;
    return options;
  }
  void OpenServer(const ServiceServerOptions& options) {
    auto opened = ServiceServer::Open(
        serverLoop_.Loop(), options,
        [this](const MessageHeader& header, std::span<const std::uint8_t> payload, Responder responder) {
          requests_.Put(header, payload);
          const std::lock_guard lock(onRequestMutex_);
          onRequest_ ? onRequest_(payload, std::move(responder)) : (void)responder.Answer(payload);
        },
        [this](const Endpoint&) { ++disconnects_; });
    ASSERT_TRUE(opened) << opened.Error().Message();
    server_ = std::move(opened).Value();
    OpenClient();
  }
  static ServiceClientOptions ClientOptions() {
    ServiceClientOptions options;
    options.serviceId = kService;
    options.majorVersion = kVersion;
    options.clientId = 0x77;
    return options;
  }
  void OpenClient(const ServiceClientOptions& options = ClientOptions()) {
    client_ = std::make_unique<ServiceClient>(clientLoop_.Loop(), options);
    client_->SetServer({server_->UdpEndpoint(), server_->TcpEndpoint()});
  }

  void AddEvent(EventSettings event) {
    event.eventId = event.eventId != 0 ? event.eventId : kEvent;
    event.eventgroups = {kGroup};
    const auto added = server_->AddEvent(event);
    ASSERT_TRUE(added) << added.Error().Message();
  }
  void Collect(std::uint16_t eventId = kEvent) {
    client_->SetEventHandler(eventId, [this](const MessageHeader& header, std::span<const std::uint8_t> payload) {
      events_.Put(header, payload);
    });
  }
  Endpoint OpenUdp() {
    const auto local = client_->OpenUdp();
    EXPECT_TRUE(local);
    return local ? local.Value() : Endpoint{};
  }
  ara::core::Result<Endpoint> TryConnectTcp() {
    std::promise<ara::core::Result<Endpoint>> outcome;
    client_->ConnectTcp([&outcome](const auto& local) { outcome.set_value(local); },
                        [this](const std::string&) { ++closed_; });
    return outcome.get_future().get();
  }
  Endpoint ConnectTcp() {
    const auto local = TryConnectTcp();
    EXPECT_TRUE(local);
    return local ? local.Value() : Endpoint{};
  }
  void Subscribe(const Endpoint& subscriber, bool isReliable) {
    ASSERT_TRUE(server_->AddSubscriber(kGroup, subscriber, isReliable));
  }

  tcp::socket ConnectRaw() {
    tcp::socket peer(rawLoop_);
    peer.connect(ToAsio<tcp>(*server_->TcpEndpoint()));
    return peer;
  }

  void OnRequest(RequestHandler handler) {
    const std::lock_guard lock(onRequestMutex_);
    onRequest_ = std::move(handler);
  }

  struct Outcome {
    Answer::Status status;
    ReturnCode code;
    Bytes payload;
    bool operator==(const Outcome&) const = default;
  };
  std::future<Outcome> Request(std::span<const std::uint8_t> payload, bool isReliable,
                               std::chrono::milliseconds timeout = 20s) {
    auto ended = std::make_shared<std::promise<Outcome>>();
    client_->Request(kMethod, payload, isReliable, timeout, [ended](const Answer& answer) {
      ended->set_value({answer.status, answer.code, ToBytes(answer.payload)});
    });
    return ended->get_future();
  }

  asio::io_context rawLoop_;
  LoopThread serverLoop_;
  LoopThread clientLoop_;
  Inbox requests_;
  Inbox events_;
  std::mutex onRequestMutex_;
  RequestHandler onRequest_;
  std::atomic<int> disconnects_{0};
  std::atomic<int> closed_{0};
  std::unique_ptr<ServiceServer> server_;
  std::unique_ptr<ServiceClient> client_;
};

TEST_F(SomeipWireTest, EventsArriveInOrderOnceWithGrowingSessions) {
  AddEvent({});
  Collect();
  const Endpoint local = OpenUdp();
  Subscribe(local, false);
  for (std::uint8_t i = 0; i < 200; ++i) {
    ASSERT_TRUE(server_->Notify(kEvent, Bytes(64, i)));
  }
  ASSERT_TRUE(Eventually([this] { return events_.Size() >= 200; }));
  EXPECT_EQ(events_.Size(), 200U);
  for (std::size_t i = 0; i < 200; ++i) {
    EXPECT_EQ(events_.Payloads()[i], Bytes(64, static_cast<std::uint8_t>(i)));
    EXPECT_EQ(events_.Headers()[i].sessionId, i + 1);
  }
  MessageHeader expected = Header(MessageType::kNotification);
  expected.sessionId = 1;
  expected.SetPayloadSize(64);
  EXPECT_EQ(EncodeHeader(events_.Headers()[0]), EncodeHeader(expected));
  EXPECT_EQ(client_->Counts().Lost(), 0U);

  EXPECT_TRUE(server_->RemoveSubscriber(kGroup, local, false));
  EXPECT_EQ(server_->SubscriberCount(kGroup), 0U);
}

TEST_F(SomeipWireTest, EventsThatAreTooLargeOrUnknownAreRefused) {
  AddEvent({.eventId = 0x8001});
  AddEvent({.eventId = 0x8002, .tp = TpSettings{}});
  const auto refused = server_->Notify(0x8001, Bytes(1401));
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.Error().Value(), static_cast<int>(WireError::kTooLarge));
  EXPECT_FALSE(server_->Notify(0x8002, Bytes((16U << 20U) + 1)));
  EXPECT_FALSE(server_->Notify(0x8004, {}));
}

TEST_F(SomeipWireTest, AReliableSubscriberMayComeBeforeItsConnectionAndGoesWithIt) {
  AddEvent({.isReliable = true, .isField = true});
  Collect();
  ASSERT_TRUE(server_->Notify(kEvent, Counting(3)));
  // The server's loop is held, so that the subscription overtakes the connection.
  std::promise<void> release;
  asio::post(serverLoop_.Loop(), [&release] { release.get_future().wait(); });
  const Endpoint local = ConnectTcp();
  Subscribe(local, true);
  EXPECT_FALSE(server_->HasConnection(local));
  release.set_value();
  ASSERT_TRUE(Eventually([this] { return events_.Size() == 1; }));
  EXPECT_TRUE(server_->HasConnection(local));
  client_->CloseTcp();
  ASSERT_TRUE(Eventually([this] { return disconnects_ == 1; }));
  EXPECT_FALSE(server_->HasConnection(local));
  EXPECT_EQ(server_->SubscriberCount(kGroup), 0U);
  EXPECT_EQ(closed_, 0);
}

TEST_F(SomeipWireTest, RequestsAreAnsweredByBothTransportsInAllSizes) {
  ConnectTcp();
  for (const bool isReliable : {false, true}) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1400}, std::size_t{1401}, kLarge}) {
      Outcome outcome = Request(Counting(size), isReliable, 2s).get();
      // A datagram can get lost where the process may not enlarge its buffers and the machine is busy.
      for (int i = 0; i < 10 && outcome.status == Answer::Status::kTimeout; ++i) {
        outcome = Request(Counting(size), isReliable, 2s).get();
      }
      EXPECT_EQ(outcome.status, Answer::Status::kOk) << size;
      EXPECT_TRUE(outcome.payload == Counting(size)) << size;
    }
  }
  ASSERT_TRUE(client_->FireAndForget(kMethod, Counting(9), false));
  ASSERT_TRUE(Eventually([this] { return requests_.Headers().back().type == MessageType::kRequestNoReturn; }));
}

TEST_F(SomeipWireTest, AnswersMayComeLaterInAnotherOrderAndFromAnyThread) {
  std::promise<std::vector<Responder>> all;
  OnRequest([&all, kept = std::make_shared<std::vector<Responder>>()](auto, Responder responder) {
    kept->push_back(std::move(responder));
    if (kept->size() == 3) {
      all.set_value(std::move(*kept));
    }
  });
  auto first = Request({}, false);
  auto second = Request({}, false);
  auto third = Request({}, false);
  std::vector<Responder> responders = all.get_future().get();
  ASSERT_TRUE(responders[2].Answer(Counting(3)));
  ASSERT_TRUE(responders[2].Fail(ReturnCode::kNotReady));  // without effect: it was answered
  ASSERT_TRUE(responders[1].Fail(static_cast<ReturnCode>(0x20), Counting(2)));
  responders.erase(responders.begin());  // nobody answered it
  EXPECT_EQ(third.get().payload, Counting(3));
  EXPECT_EQ(second.get(), (Outcome{Answer::Status::kError, static_cast<ReturnCode>(0x20), Counting(2)}));
  EXPECT_EQ(first.get().code, ReturnCode::kNotOk);
}

TEST_F(SomeipWireTest, RequestsEndWithTheReasonWhenThereIsNoAnswer) {
  std::vector<Responder> kept;
  OnRequest([&kept](auto, Responder responder) { kept.push_back(std::move(responder)); });
  EXPECT_EQ(Request({}, true).get().status, Answer::Status::kNotSent);  // there is no connection
  EXPECT_FALSE(client_->FireAndForget(kMethod, {}, true));
  EXPECT_EQ(Request(Bytes((16U << 20U) + 1), false).get().status, Answer::Status::kNotSent);
  auto slow = Request({}, false);
  EXPECT_EQ(Request({}, false, 10ms).get().status, Answer::Status::kTimeout);
  ConnectTcp();
  auto cut = Request({}, true);
  ASSERT_TRUE(Eventually([this] { return requests_.Size() == 3; }));
  server_.reset();
  EXPECT_EQ(cut.get().status, Answer::Status::kConnectionLost);
  EXPECT_EQ(closed_, 1);
  EXPECT_FALSE(kept[0].Answer({}));  // the server is gone
  client_.reset();
  EXPECT_THROW(slow.get(), std::future_error);  // forgotten, not called
}

TEST_F(SomeipWireTest, WrongRequestsAreToldWhyUnlessTheyWantNoAnswer) {
  ServiceClientOptions otherVersion = ClientOptions();
  otherVersion.majorVersion = kVersion + 1;
  OpenClient(otherVersion);
  ConnectTcp();
  EXPECT_EQ(Request(Counting(3), false).get().code, ReturnCode::kWrongInterfaceVersion);
  EXPECT_EQ(Request(Counting(3000), false).get().code, ReturnCode::kWrongInterfaceVersion);
  EXPECT_EQ(Request(Counting(3), true).get().code, ReturnCode::kWrongInterfaceVersion);

  RawUdp raw;
  const Endpoint server = *server_->UdpEndpoint();
  const auto exchange = [&](const MessageHeader& header) {
    raw.Send(server, Message(header));
    return raw.Receive().first;
  };
  // None of these is answered, so that the first answer is the next request's.
  for (const int type : {0x01, 0x02, 0x80, 0x81, 0x55}) {
    raw.Send(server, Message(Header(static_cast<MessageType>(type), kService + 1)));
  }
  MessageHeader header = Header(MessageType::kRequest);
  header.sessionId = 9;
  header.clientId = 8;
  header.protocolVersion = 2;
  const MessageHeader answer = exchange(header);
  EXPECT_EQ(answer.returnCode, ReturnCode::kWrongProtocolVersion);
  EXPECT_EQ(answer.type, MessageType::kError);
  EXPECT_EQ(answer.protocolVersion, kProtocolVersion);
  EXPECT_EQ(answer.sessionId, 9);
  EXPECT_EQ(answer.clientId, 8);
  EXPECT_EQ(exchange(Header(MessageType::kRequest, kService + 1)).returnCode, ReturnCode::kUnknownService);
  EXPECT_EQ(requests_.Size(), 0U);
}

TEST_F(SomeipWireTest, AnErrorInAResponseIsAnErrorAndStrangersAreNotHeard) {
  RawUdp server;
  client_->SetServer({server.At(), std::nullopt});
  auto answered = Request({}, false);
  auto [header, from] = server.Receive();
  EXPECT_EQ(header.type, MessageType::kRequest);
  header.type = MessageType::kResponse;
  RawUdp("127.0.0.2").Send(from, Message(header));
  header.clientId = 0x78;  // another client's
  server.Send(from, Message(header));
  header.clientId = 0x77;
  header.returnCode = ReturnCode::kNotReady;
  server.Send(from, Message(header));
  EXPECT_EQ(answered.get(), (Outcome{Answer::Status::kError, ReturnCode::kNotReady, {}}));
  EXPECT_EQ(client_->Counts().foreign, 1U);

  server.Send(from, Counting(7));
  EXPECT_TRUE(Eventually([this] { return client_->Counts().malformed == 1; }));
  EXPECT_EQ(client_->Counts().Lost(), 0U);
}

TEST_F(SomeipWireTest, MulticastComesToAllThatJoinedTheGroupAndFromTheServerOnly) {
  const MessageHeader event = Header(MessageType::kNotification);
  RawUdp server;
  const Endpoint group = server.Group();
  Collect();
  const Endpoint own = OpenUdp();
  ServiceClient second(clientLoop_.Loop(), ClientOptions());
  second.SetServer({server_->UdpEndpoint(), std::nullopt});
  Inbox atSecond;
  second.SetEventHandler(kEvent, [&](const MessageHeader& header, auto payload) { atSecond.Put(header, payload); });
  ASSERT_TRUE(client_->JoinMulticast(group));
  ASSERT_TRUE(client_->JoinMulticast(group));  // again, which changes nothing
  ASSERT_TRUE(second.JoinMulticast(group));

  RawUdp("127.0.0.2").Send(group, Message(event, Counting(1)));
  server.Send(group, Message(Header(MessageType::kNotification, kService + 1), Counting(2)));
  server.Send(group, Counting(3));
  // While one message comes in segments, another one comes whole by the other way.
  server.SendSegment(group, Counting(1500), 8, 0);
  server.Send(group, Message(event, Counting(4)));
  ASSERT_TRUE(Eventually([&] { return events_.Size() == 1; }));
  server.SendSegment(own, Counting(1600), 9, 0);
  server.SendSegment(own, Counting(1600), 9, 1);
  ASSERT_TRUE(Eventually([&] { return events_.Size() == 2; }));
  server.SendSegment(group, Counting(1500), 8, 1);
  ASSERT_TRUE(Eventually([&] { return events_.Size() == 3 && atSecond.Size() == 2; }));
  EXPECT_EQ(atSecond.Payloads(), (std::vector<Bytes>{Counting(4), Counting(1500)}));
  EXPECT_EQ(client_->Counts().foreign, 2U);

  client_->LeaveMulticast(group);
  server.Send(group, Message(event, Counting(6)));
  server.Send(own, Message(event, Counting(7)));
  ASSERT_TRUE(Eventually([&] { return events_.Size() == 4 && atSecond.Size() == 3; }));
  EXPECT_EQ(events_.Payloads(), (std::vector<Bytes>{Counting(4), Counting(1600), Counting(1500), Counting(7)}));
  EXPECT_EQ(client_->Counts().malformed, 1U) << "counts outlive the membership";

  const auto join = [](ServiceClient& client, const Endpoint& to) { return client.JoinMulticast(to).Error().Value(); };
  EXPECT_EQ(join(second, {kLoopbackAddress, group.port}), static_cast<int>(WireError::kBadArgument));
  EXPECT_EQ(join(second, {group.address, 0}), static_cast<int>(WireError::kBadArgument));
}

TEST_F(SomeipWireTest, DatagramsThatFindTheBufferFullAreCounted) {
  ServiceClientOptions options = ClientOptions();
  options.receiveBuffer = 1;  // the system gives more
  OpenClient(options);
  Collect();
  RawUdp server;
  const Endpoint own = OpenUdp();
  ASSERT_TRUE(client_->JoinMulticast(server.Group()));
  std::size_t sent = 0;
  const auto send = [&] {
    for (const Endpoint& to : {own, server.Group()}) {
      server.Send(to, Message(Header(MessageType::kNotification), Counting(1000)));
      ++sent;
    }
  };
  std::promise<void> release;
  asio::post(clientLoop_.Loop(), [&release] { release.get_future().wait(); });
  for (int i = 0; i < 100; ++i) {
    send();
  }
  release.set_value();
  EXPECT_TRUE(Eventually([&] {
    if (events_.Size() + client_->Counts().kernelDrops == sent) {
      return true;
    }
    send();  // what arrives tells how many were lost before
    return false;
  }));
  EXPECT_GT(client_->Counts().kernelDrops, 100U);
}

TEST_F(SomeipWireTest, ConnectingReportsFailureAndReplacesTheFormerConnection) {
  ConnectTcp();
  ConnectTcp();
  ASSERT_TRUE(Eventually([this] { return disconnects_ == 1; }));
  EXPECT_EQ(closed_, 0);
  const Endpoint gone = *server_->TcpEndpoint();
  server_.reset();
  ASSERT_TRUE(Eventually([this] { return closed_ == 1; }));
  EXPECT_EQ(TryConnectTcp().Error().Message(), "cannot connect to TCP " + gone.Text() + ": Connection refused");
  client_->SetServer({});
  EXPECT_EQ(TryConnectTcp().Error().Message(), "the server's TCP endpoint is not known");
}

TEST_F(SomeipWireTest, APeerThatDoesNotReadIsDropped) {
  AddEvent({.isReliable = true});
  const tcp::socket lazy = ConnectRaw();
  Subscribe(FromAsio(lazy.local_endpoint()), true);
  Subscribe(ConnectTcp(), true);
  Collect();
  ASSERT_TRUE(Eventually([&] {  // what is sent before the server has accepted the connection goes nowhere
    return server_->Notify(kEvent, Counting(1)) && events_.Size() > 0;
  }));
  std::size_t sent = 0;
  for (; sent < 100 && disconnects_ == 0; ++sent) {
    const std::size_t before = events_.Size();
    ASSERT_TRUE(server_->Notify(kEvent, Counting(kLarge)));
    ASSERT_TRUE(Eventually([&] { return events_.Size() > before; }));  // the other one reads
  }
  EXPECT_TRUE(Eventually([this] { return disconnects_ == 1; }));
  EXPECT_EQ(server_->SubscriberCount(kGroup), 1U);
  EXPECT_LT(sent, 100U);
}

TEST_F(SomeipWireTest, APeerThatSendsHalfAMessageIsDropped) {
  ServiceServerOptions serverOptions = ServerOptions();
  serverOptions.halfMessage = 50ms;
  OpenServer(serverOptions);
  ServiceClientOptions clientOptions = ClientOptions();
  clientOptions.halfMessage = 50ms;
  OpenClient(clientOptions);
  ConnectTcp();  // silent, but not in a message
  MessageHeader header = Header(MessageType::kRequest);
  header.SetPayloadSize(kLarge);
  tcp::socket slow = ConnectRaw();
  asio::write(slow, asio::buffer(EncodeHeader(header)));
  EXPECT_TRUE(Eventually([&] {  // a byte now and then is not enough
    asio::error_code error;
    asio::write(slow, asio::buffer("x", 1), error);
    return static_cast<bool>(error);
  }));
  EXPECT_EQ(closed_, 0);

  tcp::acceptor acceptor(rawLoop_, {asio::ip::address_v4::loopback(), 0});
  client_->SetServer({std::nullopt, FromAsio(acceptor.local_endpoint())});
  ConnectTcp();
  tcp::socket server = acceptor.accept();
  asio::write(server, asio::buffer(EncodeHeader(header)));
  EXPECT_TRUE(Eventually([this] { return closed_ == 1; }));
}

TEST_F(SomeipWireTest, AStreamMayHaveCookiesAndRequestsOfOtherVersions) {
  tcp::socket peer = ConnectRaw();
  const auto exchange = [&peer](const Bytes& bytes) {
    asio::write(peer, asio::buffer(bytes));
    Bytes answer(kHeaderSize);
    asio::read(peer, asio::buffer(answer));
    return *DecodeHeader(answer);
  };
  MessageHeader header = Header(MessageType::kRequest);
  const Bytes cookie = test::FromHex("ffff0000 00000008 deadbeef 01010100");
  EXPECT_EQ(exchange(Joined(cookie, Message(header))).type, MessageType::kResponse);
  header.protocolVersion = 7;
  EXPECT_EQ(exchange(Message(header)).returnCode, ReturnCode::kWrongProtocolVersion);
  EXPECT_EQ(requests_.Size(), 1U);
}

TEST_F(SomeipWireTest, OptionsAndPortsThatCannotBeAreRefused) {
  const auto open = [this](std::optional<std::uint16_t> udpPort, std::optional<std::uint16_t> tcpPort,
                           std::uint16_t service = kService) {
    ServiceServerOptions options = ServerOptions();
    options.serviceId = service;
    options.udpPort = udpPort;
    options.tcpPort = tcpPort;
    const auto opened = ServiceServer::Open(serverLoop_.Loop(), options);
    return opened ? 0 : opened.Error().Value();
  };
  EXPECT_EQ(open(std::nullopt, std::nullopt), static_cast<int>(WireError::kBadArgument));
  EXPECT_EQ(open(0, 0, 0xFFFF), static_cast<int>(WireError::kBadArgument));
  EXPECT_EQ(open(server_->UdpEndpoint()->port, std::nullopt), static_cast<int>(WireError::kSocket));
  EXPECT_EQ(open(std::nullopt, server_->TcpEndpoint()->port), static_cast<int>(WireError::kSocket));
  const std::uint16_t port = server_->UdpEndpoint()->port;
  ServiceServerOptions withoutTcp = ServerOptions();
  withoutTcp.tcpPort.reset();
  OpenServer(withoutTcp);
  EXPECT_EQ(open(port, std::nullopt), 0);  // the former server freed its port at once
  EXPECT_FALSE(server_->AddEvent({.eventId = kEvent, .isReliable = true}));
  EXPECT_FALSE(server_->AddEvent({.eventId = 0x1000}));
  EXPECT_FALSE(server_->AddEvent({.eventId = kEvent, .tp = TpSettings{.maxSegmentLength = 1400}}));
  EXPECT_FALSE(server_->AddSubscriber(kGroup, {kLoopbackAddress, 1}, true));
}

TEST_F(SomeipWireTest, BothSidesMayEndAnyTimeWhileMessagesFlow) {
  for (int round = 0; round < 20; ++round) {
    OpenServer(ServerOptions());
    AddEvent({});
    AddEvent({.eventId = 0x8002, .isReliable = true});
    Subscribe(OpenUdp(), false);
    Subscribe(ConnectTcp(), true);
    std::atomic<bool> isEnd{false};
    std::atomic<bool> isGone{false};
    std::atomic<int> seen{0};
    for (const std::uint16_t eventId : std::vector<std::uint16_t>{kEvent, 0x8002}) {
      client_->SetEventHandler(eventId, [&](const MessageHeader&, auto) {
        EXPECT_FALSE(isGone);
        ++seen;
      });
    }
    std::thread sender([&] {
      while (!isEnd) {
        (void)server_->Notify(kEvent, Bytes(64));
        (void)server_->Notify(0x8002, Bytes(64));
      }
    });
    auto unanswered = Request({}, round % 2 == 0);
    ASSERT_TRUE(Eventually([&] { return seen > 10; }));
    if (round % 4 == 0) {  // from the loop's thread, in a handler
      client_->SetEventHandler(kEvent, [&](const MessageHeader&, auto) {
        client_.reset();
        isGone = true;
      });
      ASSERT_TRUE(Eventually([&] { return isGone.load(); }));
    } else {
      client_.reset();
      isGone = true;
    }
    isEnd = true;
    sender.join();
    server_.reset();
  }
}

}  // namespace
}  // namespace qor::someip
