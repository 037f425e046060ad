// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <future>
#include <mutex>

#include "platform/ipc/runtime_dir.h"
#include "platform/ipc/unix_connect.h"
#include "platform/maintaind/service/tools_service_proxy.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"

namespace qor::maintaind::proxy {
namespace {

using test::DaemonThread;
using test::QuietDaemon;
using Proxy = QORMaintaindToolsServiceProxy;
using Instances = std::vector<std::uint16_t>;
using Addresses = std::vector<std::string>;
using std::chrono::seconds;

/// A search whose reports the test waits for.
class Search {
 public:
  explicit Search(const std::string& instance = "65535") {
    handle_ = Proxy::StartFindService(
        [this](const std::vector<Proxy::HandleType>& available, ara::com::FindServiceHandle) {
          const std::lock_guard lock(mutex_);
          available_ = available;
          ++reports_;
        },
        ara::com::InstanceIdentifier(instance));
  }
  ~Search() { Stop(); }

  void Stop() { Proxy::StopFindService(handle_); }
  bool Sees(const Instances& expected) { return Becomes(&Proxy::HandleType::GetInstanceId, expected); }
  bool SeesAt(const Addresses& expected) { return Becomes(&Proxy::HandleType::GetAddress, expected); }
  std::size_t Reports() {
    const std::lock_guard lock(mutex_);
    return reports_;
  }

 private:
  template <class Get, class List>
  bool Becomes(Get get, const List& expected) {
    return test::Eventually([&] {
      const std::lock_guard lock(mutex_);
      return reports_ > 0 && std::ranges::equal(available_, expected, {}, get);
    });
  }

  ara::com::FindServiceHandle handle_;
  std::mutex mutex_;
  std::vector<Proxy::HandleType> available_;
  std::size_t reports_ = 0;
};

/// Listens and accepts nothing, as a daemon that was stopped; leaves its socket behind.
ipc::UniqueFd Listen(std::uint16_t instance, int backlog) {
  ipc::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM, 0));
  const auto address = ipc::UnixAddress(ipc::DaemonSocketPath(instance));
  EXPECT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)), 0);
  EXPECT_EQ(::listen(socket.Get(), backlog), 0);
  return socket;
}

class DaemonFindServiceTest : public testing::Test {
 protected:
  test::RuntimeFolder folder_;
};

TEST_F(DaemonFindServiceTest, ReportsTheDaemonsThatComeAndGo) {
  Search search;
  EXPECT_TRUE(search.Sees({})) << "an empty list is reported too";
  DaemonThread three(QuietDaemon(3));
  EXPECT_TRUE(search.Sees({3}));
  {
    const DaemonThread zero(QuietDaemon(0));
    EXPECT_TRUE(search.Sees({0, 3}));
    Search late;
    Search only("3");
    EXPECT_TRUE(late.Sees({0, 3}));
    EXPECT_TRUE(only.Sees({3}));
    EXPECT_EQ(late.Reports(), 1U) << "the first report is complete";
  }
  EXPECT_TRUE(search.Sees({3}));
  three.Stop();
  EXPECT_TRUE(search.Sees({}));
}

TEST_F(DaemonFindServiceTest, LeftoverSocketIsNoDaemonUntilOneTakesItOver) {
  Search search;
  ipc::UniqueFd killed = Listen(2, 5);
  ASSERT_EQ(::chmod(ipc::DaemonSocketPath(2).c_str(), 0660), 0);
  ASSERT_TRUE(search.Sees({2}));
  killed = ipc::UniqueFd();
  EXPECT_TRUE(search.Sees({}));
  Search late;
  EXPECT_TRUE(late.Sees({}));
  const DaemonThread heir(QuietDaemon(2));
  EXPECT_TRUE(search.Sees({2}));
  EXPECT_TRUE(late.Sees({2}));
}

TEST_F(DaemonFindServiceTest, DaemonThatDoesNotAcceptIsAvailable) {
  const ipc::UniqueFd stopped = Listen(1, 0);
  const ipc::ConnectAttempt filling = ipc::ConnectUnix(ipc::DaemonSocketPath(1));
  ASSERT_TRUE(filling.IsConnected());
  ASSERT_TRUE(ipc::ConnectUnix(ipc::DaemonSocketPath(1)).IsBusy());
  Search search;
  EXPECT_TRUE(search.Sees({1}));
}

TEST_F(DaemonFindServiceTest, RuntimeDirectoryMayComeLaterAndComeAgain) {
  const std::string later = folder_.Path() + "/later";
  ::setenv("QOR_RUNTIME_DIR", later.c_str(), 1);
  Search search;
  EXPECT_TRUE(search.Sees({}));
  for (int i = 0; i < 2; ++i) {
    {
      const DaemonThread daemon(QuietDaemon(4));
      EXPECT_TRUE(search.Sees({4})) << i;
    }
    EXPECT_TRUE(search.Sees({})) << i;
    std::filesystem::remove_all(later);
  }
}

TEST_F(DaemonFindServiceTest, DaemonOfAnotherHostIsThereWhileOneOfThisHostNamesIt) {
  DaemonThread zero(QuietDaemon(0));
  zero.Names({{.instance = 0, .address = "10.77.0.2", .port = 4000}});
  Search search;
  Search only("5");
  const std::string zeroAt = zero.SocketPath();
  EXPECT_TRUE(search.SeesAt({zeroAt, "10.77.0.2:4000"}));
  zero.Names({{.instance = 0, .address = "10.77.0.2", .port = 4000},
              {.instance = 5, .address = "10.77.0.3", .port = 4001},
              {.instance = 5, .address = "/tmp/no_address", .port = 1},
              {.instance = 5, .address = "10.77.0.3", .port = 0}});
  EXPECT_TRUE(search.SeesAt({zeroAt, "10.77.0.2:4000", "10.77.0.3:4001"}));
  EXPECT_TRUE(only.SeesAt({"10.77.0.3:4001"}));

  DaemonThread one(QuietDaemon(1));
  one.Names({{.instance = 0, .address = "10.77.0.2", .port = 4000}});
  const std::string oneAt = one.SocketPath();
  EXPECT_TRUE(search.SeesAt({zeroAt, "10.77.0.2:4000", oneAt, "10.77.0.3:4001"}));
  zero.Stop();
  EXPECT_TRUE(search.SeesAt({"10.77.0.2:4000", oneAt})) << "one names it still";
  EXPECT_TRUE(only.SeesAt({}));
  one.Names({});
  EXPECT_TRUE(search.SeesAt({oneAt}));
}

TEST_F(DaemonFindServiceTest, IgnoresOtherFiles) {
  for (const char* name : {"maintaind-x.sock", "maintaind-65536.sock", "maintaind-.sock", "maintaind--1.sock",
                           "maintaind-1.sock~", "maintaind-1x.sock", "other-1.sock", "maintaind-9.sock"}) {
    std::filesystem::create_directory(folder_.File(name));
  }
  const DaemonThread daemon(QuietDaemon(1));
  Search search;
  EXPECT_TRUE(search.Sees({1}));
  EXPECT_EQ(search.Reports(), 1U);
}

TEST_F(DaemonFindServiceTest, NothingIsReportedAfterTheStop) {
  Search search;
  ASSERT_TRUE(search.Sees({}));
  search.Stop();
  const std::size_t reports = search.Reports();
  const DaemonThread daemon(QuietDaemon(1));
  Search other;
  ASSERT_TRUE(other.Sees({1}));
  EXPECT_EQ(search.Reports(), reports);
}

TEST_F(DaemonFindServiceTest, ReportMayStopItsOwnSearch) {
  std::promise<void> stopped;
  Proxy::StartFindService(
      [&stopped](const std::vector<Proxy::HandleType>&, ara::com::FindServiceHandle handle) {
        Proxy::StopFindService(handle);
        stopped.set_value();  // throws when called twice
      },
      ara::com::InstanceIdentifier("65535"));
  ASSERT_EQ(stopped.get_future().wait_for(seconds(10)), std::future_status::ready);
  const DaemonThread daemon(QuietDaemon(1));
  Search other;
  EXPECT_TRUE(other.Sees({1}));
}

}  // namespace
}  // namespace qor::maintaind::proxy
