// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "platform/ipc/unix_connect.h"
#include "platform/log/log_capture.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"
#include "tests/support/sanitizers.h"

namespace qor::maintaind {
namespace {

using test::DaemonThread;
using test::Eventually;
using test::QuietDaemon;
using test::RawApplication;
using test::RawPeer;
using testing::HasSubstr;

constexpr std::uint16_t kTools = QORMaintaindToolsService::ServiceIdentifier;
constexpr std::uint16_t kNode = NodeService::ServiceIdentifier;
constexpr std::uint16_t kQueryEvents = operation::QueryEventInfo::kMethodId;

/// The process may open files up to this number while it lives.
class FileLimit {
 public:
  explicit FileLimit(rlim_t highest) {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
    const rlimit limit{highest, before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  ~FileLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

class DaemonServerTest : public testing::Test {
 protected:
  static RawPeer::Bytes Question() { return RawPeer::RequestBytes(kTools, kQueryEvents, Encode(std::string("ALL"))); }
  static bool Answers(RawPeer& peer) {
    const auto answer = peer.Send(Question()) ? peer.Receive() : std::nullopt;
    return answer && answer->header.returnCode == someip::ReturnCode::kOk;
  }

  test::RuntimeFolder folder_;
  log::LogCapture log_;
};

TEST_F(DaemonServerTest, AnswersRepeatTheRequestAndErrorsTellTheReason) {
  const DaemonThread daemon(QuietDaemon(3));
  RawPeer peer(daemon.SocketPath());
  for (const int type : {0x01, 0x02, 0x80, 0x81, 0x33}) {  // to these there is no answer
    auto bytes = RawPeer::RequestBytes(kTools, 99, {});
    bytes[14] = static_cast<std::uint8_t>(type);
    ASSERT_TRUE(peer.Send(bytes));
  }
  const auto answer = peer.Call(kTools, kQueryEvents, Encode(std::string("ALL")));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->header.type, someip::MessageType::kResponse);
  EXPECT_EQ(answer->header.clientId, 7);
  EXPECT_EQ(answer->header.sessionId, 1);
  EXPECT_EQ(answer->header.methodId, kQueryEvents);
  EXPECT_EQ(answer->payload, Encode(std::vector<EventInfoWithPubSub>{}));

  const auto expectError = [&peer](std::uint16_t service, std::uint16_t method, const RawPeer::Bytes& payload,
                                   someip::ReturnCode code, const std::string& reason) {
    const auto error = peer.Call(service, method, payload);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->header.type, someip::MessageType::kError);
    EXPECT_EQ(error->header.returnCode, code);
    EXPECT_EQ(error->Text(), reason);
  };
  using someip::ReturnCode;
  expectError(0x1111, 1, {}, ReturnCode::kUnknownService, "the daemon has no service 4369");
  expectError(kTools, 99, {}, ReturnCode::kUnknownMethod, "the tools service has no method 99");
  expectError(kNode, 99, {}, ReturnCode::kUnknownMethod, "the node service has no method 99");
  expectError(kTools, kQueryEvents, {0, 0, 0, 9, 1}, ReturnCode::kMalformedMessage,
              "the request cannot be read beyond byte 4 of 5");
  RawPeer::Bytes tooLong = Encode(std::string("ALL"));
  tooLong.push_back(0);
  expectError(kTools, kQueryEvents, tooLong, ReturnCode::kMalformedMessage,
              "the request cannot be read beyond byte 11 of 12");
  expectError(kNode, node_operation::RegisterNode::kMethodId, Encode(std::string("/n")), ReturnCode::kNotReady,
              "Hello must come first");
  expectError(kNode, node_operation::Hello::kMethodId, Encode(ApplicationHello{3, "app"}),
              ReturnCode::kWrongInterfaceVersion, "the daemon speaks version 2 of the node service, the application 3");
  expectError(kNode, node_operation::RegisterNode::kMethodId, RawPeer::Bytes(65537), ReturnCode::kNotOk,
              "a registration can have 65536 bytes at most, this one has 65537");
}

TEST_F(DaemonServerTest, CutsOffWhoBreaksTheProtocolAndNobodyElse) {
  auto options = QuietDaemon();
  options.limits.halfMessage = std::chrono::milliseconds(50);
  options.limits.maxRequest = 1000;
  const DaemonThread daemon(options);
  RawPeer innocent(daemon.SocketPath());
  ASSERT_TRUE(Answers(innocent));

  RawPeer half(daemon.SocketPath());
  const auto request = Question();
  ASSERT_TRUE(half.Send(std::span(request).first(20)));
  EXPECT_TRUE(half.IsClosedByPeer());

  RawPeer oversized(daemon.SocketPath());
  const auto large = RawPeer::RequestBytes(kTools, 1, RawPeer::Bytes(1001));
  ASSERT_TRUE(oversized.Send(std::span(large).first(someip::kHeaderSize))) << "the length alone is enough";
  EXPECT_TRUE(oversized.IsClosedByPeer());

  EXPECT_TRUE(Answers(innocent)) << "an idle connection has no time limit";
  EXPECT_GE(log_.CountContaining("Connection closed: it sent half a message"), 1U);
}

TEST_F(DaemonServerTest, SlowSenderOfWholeMessagesIsNotCutOff) {
  auto options = QuietDaemon();
  options.limits.halfMessage = std::chrono::milliseconds(400);
  const DaemonThread daemon(options);
  RawPeer slow(daemon.SocketPath());
  const auto request = Question();
  RawPeer::Bytes carried;
  for (int i = 0; i < 4; ++i) {  // always in the middle of a message, but never of the same one for long
    carried.insert(carried.end(), request.begin() + (i == 0 ? 0 : 10), request.end());
    carried.insert(carried.end(), request.begin(), request.begin() + 10);
    ASSERT_TRUE(slow.Send(std::exchange(carried, {})));
    ASSERT_TRUE(slow.Receive()) << i;
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
  }
}

TEST_F(DaemonServerTest, CutsOffWhoDoesNotReadItsAnswers) {
  auto options = QuietDaemon();
  options.limits.maxQueued = 1U << 20U;
  const DaemonThread daemon(options);
  RawApplication application(daemon.SocketPath(), "/n");
  for (std::uint32_t id = 0; id < 300; ++id) {
    ASSERT_EQ(application.Ask<node_operation::RegisterEvent>(
                  test::Publish(id, "/n", std::to_string(id) + std::string(500, 'x'))),
              "ok");
  }
  RawPeer deaf(daemon.SocketPath());
  const auto request = Question();
  for (int i = 0; i < 1000 && deaf.Send(request); ++i) {
  }
  EXPECT_TRUE(deaf.IsClosedByPeer());
  EXPECT_EQ(daemon.Events().size(), 300U) << "who reads gets an answer of any size";
}

TEST_F(DaemonServerTest, ThousandIdleConnectionsDoNotDisturb) {
  auto options = QuietDaemon();
  options.limits.maxConnections = 1001;
  options.limits.maxPerProcess = 1002;
  const DaemonThread daemon(options);
  const FileLimit limit(4096);
  std::vector<RawPeer> idle;
  while (idle.size() < 1000) {
    idle.emplace_back(daemon.SocketPath());
    ASSERT_TRUE(idle.back().Send(RawPeer::Bytes(1, 0xF0)));
  }
  RawPeer asking(daemon.SocketPath());
  ASSERT_TRUE(Answers(asking));
  RawPeer waiting(daemon.SocketPath());
  ASSERT_TRUE(waiting.IsConnected());
  ASSERT_TRUE(waiting.Send(Question()));
  idle.pop_back();
  EXPECT_TRUE(waiting.Receive()) << "one that is above the limit is served when another has gone";
}

TEST_F(DaemonServerTest, OneProcessCannotTakeAllConnections) {
  auto options = QuietDaemon();
  options.limits.maxPerProcess = 2;
  const DaemonThread daemon(options);
  RawPeer first(daemon.SocketPath());
  {
    RawPeer second(daemon.SocketPath());
    EXPECT_TRUE(Answers(first) && Answers(second));
    RawPeer third(daemon.SocketPath());
    EXPECT_FALSE(Answers(third));
  }
  EXPECT_TRUE(Eventually([&] {
    RawPeer next(daemon.SocketPath());
    return Answers(next);
  })) << "a closed connection makes room";
}

TEST_F(DaemonServerTest, RunsOutOfDescriptorsAndRecovers) {
  if (test::kIsSanitized) {  // the check of object types asks the kernel about memory through a pipe
    GTEST_SKIP() << "the sanitizer takes the lack of descriptors for a fault";
  }
  const DaemonThread daemon(QuietDaemon());
  RawPeer before(daemon.SocketPath());
  ASSERT_TRUE(Answers(before));
  RawPeer connecting(daemon.SocketPath());
  const int free = ::dup(0);
  ASSERT_TRUE(Answers(connecting));
  ::close(free);
  auto limit = std::make_unique<FileLimit>(static_cast<rlim_t>(free) + 1);
  RawPeer waiting(daemon.SocketPath());  // takes the last descriptor; the daemon has none to accept it with
  ASSERT_TRUE(waiting.IsConnected());
  EXPECT_TRUE(Eventually([this] { return log_.CountContaining("Cannot accept a connection") > 0; }));
  EXPECT_TRUE(Answers(before));
  limit.reset();
  EXPECT_TRUE(Answers(waiting));
  EXPECT_EQ(log_.CountContaining("Cannot accept a connection"), 1U) << "tried again ten times a second, told at times";
}

TEST_F(DaemonServerTest, SocketFileIsMadeAndRemovedWithCare) {
  auto options = QuietDaemon(5);
  options.socketPath = folder_.Path() + "/new/maintaind-5.sock";
  struct stat file {};
  {
    DaemonThread daemon(options);
    ASSERT_EQ(::stat((folder_.Path() + "/new").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0755U);
    ASSERT_EQ(::stat(options.socketPath.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0660U);

    ASSERT_EQ(::unlink(options.socketPath.c_str()), 0);
    const DaemonThread heir(options);
    daemon.Stop();
    EXPECT_EQ(::stat(options.socketPath.c_str(), &file), 0) << "the file of another daemon is left alone";
  }
  EXPECT_NE(::stat(options.socketPath.c_str(), &file), 0);
}

TEST_F(DaemonServerTest, RefusesWhatIsNoPlaceForASocket) {
  const auto reasonFor = [](const std::string& path) {
    auto options = QuietDaemon(5);
    options.socketPath = path;
    Daemon daemon(options);
    const auto result = daemon.Start();
    return result ? "started" : result.Error().Message();
  };
  const std::string base = folder_.Path();
  EXPECT_THAT(reasonFor("name"), HasSubstr("must be a directory and a file name"));
  EXPECT_THAT(reasonFor(base + "/no/such/place/s"), HasSubstr("No such file or directory"));
  EXPECT_THAT(reasonFor(base + "/" + std::string(100, 'x')), HasSubstr("File name too long"));

  folder_.Write("file", "precious");
  EXPECT_THAT(reasonFor(base + "/file"), HasSubstr("is no socket"));
  ASSERT_EQ(::symlink((base + "/file").c_str(), (base + "/link").c_str()), 0);
  EXPECT_THAT(reasonFor(base + "/link"), HasSubstr("is no socket"));
  EXPECT_EQ(folder_.Read("file"), "precious");

  ASSERT_EQ(::mkdir((base + "/open").c_str(), 0700), 0);
  ASSERT_EQ(::chmod((base + "/open").c_str(), 0777), 0);
  EXPECT_THAT(reasonFor(base + "/open/s"), HasSubstr("must not be writable for others"));
  ASSERT_EQ(::chmod((base + "/open").c_str(), 01777), 0);
  EXPECT_EQ(reasonFor(base + "/open/s"), "started");

  auto any = QuietDaemon(65535);
  EXPECT_FALSE(Daemon(any).Start());
}

}  // namespace
}  // namespace qor::maintaind
