// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "platform/dds/dds_transport.h"
#include "platform/dds/guid_text.h"
#include "platform/dds/participant_pool.h"
#include "tests/support/received_samples.h"

namespace qor::dds {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> LinesOf(const char* path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// Local addresses of this process's UDP sockets, as /proc/net/udp writes them: "0100007F:1BB2".
std::set<std::string> UdpAddressesOfThisProcess() {
  std::set<std::string> inodes;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
    if (target.starts_with("socket:[")) {
      inodes.insert(target.substr(8, target.size() - 9));
    }
  }
  std::set<std::string> addresses;
  for (const char* table : {"/proc/self/net/udp", "/proc/self/net/udp6"}) {
    for (const std::string& line : LinesOf(table)) {
      std::istringstream fields(line);
      const std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
      if (words.size() > 9 && inodes.contains(words[9])) {
        addresses.insert(words[1]);
      }
    }
  }
  return addresses;
}

std::set<std::string> MulticastGroups() {
  std::set<std::string> groups;
  for (const std::string& line : LinesOf("/proc/self/net/igmp")) {
    if (line.starts_with("\t")) {
      groups.insert(line.substr(0, line.find(' ')));
    }
  }
  return groups;
}

/// Files in /dev/shm that this process has mapped.
std::set<std::string> SharedMemoryFiles() {
  std::set<std::string> files;
  for (const std::string& line : LinesOf("/proc/self/maps")) {
    if (const auto at = line.find("/dev/shm/"); at != std::string::npos) {
      files.insert(line.substr(at));
    }
  }
  return files;
}

/// From here on /dev/shm is this process's own. False when that is not permitted.
bool HideSharedMemoryOfOthers() {
  return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0;
}

TEST(ParticipantPool, StaysOnThisHostAndLeavesNothingBehind) {
  if (!HideSharedMemoryOfOthers()) {
    GTEST_SKIP() << "programs beside it may use the same names, and only root can hide them";
  }
  const auto groupsBefore = MulticastGroups();
  std::set<std::string> files;
  {
    ParticipantPool first("first");
    ParticipantPool second("second");
    DdsTransport publishing(first);
    DdsTransport subscribing(second);
    const auto event = test::DdsEvent();
    const auto writer = publishing.CreateWriter(event);
    test::ReceivedSamples received;
    const auto reader = subscribing.CreateReader(event, {}, received.Handler());
    ASSERT_TRUE(writer);
    ASSERT_TRUE(reader);
    ASSERT_TRUE(test::Eventually([&] { return reader.Value()->MatchedWriters() == 1; }));
    EXPECT_THAT(UdpAddressesOfThisProcess(), Each(StartsWith("0100007F:")));
    EXPECT_THAT(UdpAddressesOfThisProcess(), Not(IsEmpty()));
    EXPECT_EQ(MulticastGroups(), groupsBefore);
    files = SharedMemoryFiles();
    EXPECT_THAT(files, Not(IsEmpty()));
  }
  EXPECT_THAT(UdpAddressesOfThisProcess(), IsEmpty());
  EXPECT_TRUE(test::Eventually([] { return SharedMemoryFiles().empty(); })) << "Fast DDS unmaps them a moment later";
  for (const std::string& file : files) {
    EXPECT_FALSE(std::filesystem::exists(file)) << file;
  }
}

TEST(ParticipantPool, HasOneParticipantForADomainAndInterfaceWhileItIsUsed) {
  ParticipantPool pool("pool");
  const std::uint16_t domain = test::DomainOfThisProcess();
  auto one = pool.Get(domain, "");
  auto same = pool.Get(domain, "127.0.0.1");
  auto sameToo = pool.Get(domain, "127.9.9.9");
  auto otherDomain = pool.Get(domain + 1, "");
  ASSERT_TRUE(one && same && sameToo && otherDomain);
  EXPECT_EQ(one.Value(), same.Value());
  EXPECT_EQ(one.Value(), sameToo.Value());
  EXPECT_NE(one.Value(), otherDomain.Value());
  const std::weak_ptr<Participant> shared = one.Value();
  one.Value().reset();
  same.Value().reset();
  EXPECT_FALSE(shared.expired());
  sameToo.Value().reset();
  EXPECT_TRUE(shared.expired());
  EXPECT_TRUE(pool.Get(domain, ""));
}

}  // namespace
}  // namespace qor::dds
