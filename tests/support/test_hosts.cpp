// SPDX-License-Identifier: Apache-2.0
#include "tests/support/test_hosts.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "tests/support/child_process.h"

namespace qor::test {
namespace {

constexpr const char* kThisNamespace = "/proc/thread-self/ns/net";

/// A network namespace, which lives as long as its descriptor; -1 and errno when it cannot be made.
ipc::UniqueFd MakeNamespace() {
  ipc::UniqueFd made;
  int failure = 0;
  std::thread([&] {
    if (::unshare(CLONE_NEWNET) == 0) {
      made = ipc::UniqueFd(::open(kThisNamespace, O_RDONLY | O_CLOEXEC));
    }
    failure = errno;
  }).join();
  errno = failure;
  return made;
}

/// The name by which other programs can open the namespace.
std::string PathOf(const ipc::UniqueFd& space) {
  return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(space.Get());
}

std::vector<std::string> CommandIn(const ipc::UniqueFd& space, std::vector<std::string> command) {
  command.insert(command.begin(), {"/usr/bin/env", "nsenter", "--net=" + PathOf(space)});
  return command;
}

void RunIn(const ipc::UniqueFd& space, std::vector<std::string> command) {
  const Finished finished = RunProgram(CommandIn(space, command));
  if (finished.status != 0) {
    std::string text;
    for (const std::string& word : command) {
      text += word + " ";
    }
    throw std::runtime_error(text + "failed: " + finished.err);
  }
}

/// The same for every interface that the host gets, so that what the others have cached stays right.
std::string HardwareAddress(std::size_t host) {
  constexpr const char* kDigits = "0123456789abcdef";
  return std::string("02:00:00:00:00:") + kDigits[(host + 1) / 16 % 16] + kDigits[(host + 1) % 16];
}

std::string PortOf(std::size_t host) { return "host" + std::to_string(host); }

}  // namespace

std::string TestHosts::Possible() {
  if (!MakeNamespace()) {
    return std::string("network namespaces cannot be made: ") + std::strerror(errno);
  }
  for (const char* program : {"ip", "nsenter"}) {
    if (RunProgram({"/usr/bin/env", program, "-V"}).status != 0) {
      return std::string("there is no program ") + program;
    }
  }
  return "";
}

TestHosts::TestHosts(std::size_t count) : bridge_(MakeNamespace()) {
  RunIn(bridge_, {"ip", "link", "add", "bridge0", "type", "bridge", "mcast_snooping", "0"});
  RunIn(bridge_, {"ip", "link", "set", "bridge0", "up"});
  for (std::size_t host = 0; host < count; ++host) {
    hosts_.push_back(MakeNamespace());
    RunIn(hosts_[host], {"ip", "link", "set", "lo", "up"});
    AddInterface(host);
  }
}

void TestHosts::AddInterface(std::size_t host) const {
  RunIn(bridge_, {"ip", "link", "add", PortOf(host), "type", "veth", "peer", "name", "eth0", "address",
                  HardwareAddress(host), "netns", PathOf(hosts_[host])});
  RunIn(bridge_, {"ip", "link", "set", PortOf(host), "master", "bridge0", "up"});
  RunIn(hosts_[host], {"ip", "address", "add", Address(host) + "/24", "dev", "eth0"});
  SetLink(host, true);
}

void TestHosts::RunOn(std::size_t host, const std::function<void()>& function) const {
  int failure = 0;
  std::thread([&] {
    if (::setns(hosts_.at(host).Get(), CLONE_NEWNET) == 0) {
      function();
    } else {
      failure = errno;
    }
  }).join();
  if (failure != 0) {
    throw std::runtime_error(std::string("cannot enter a network namespace: ") + std::strerror(failure));
  }
}

std::vector<std::string> TestHosts::CommandOn(std::size_t host, std::vector<std::string> command) const {
  return CommandIn(hosts_.at(host), std::move(command));
}

void TestHosts::SetLink(std::size_t host, bool isUp) const {
  RunIn(hosts_.at(host), {"ip", "link", "set", "eth0", isUp ? "up" : "down"});
}

void TestHosts::SetCable(std::size_t host, bool isPlugged) const {
  RunIn(bridge_, {"ip", "link", "set", PortOf(host), isPlugged ? "up" : "down"});
}

void TestHosts::RemoveInterface(std::size_t host) const { RunIn(bridge_, {"ip", "link", "delete", PortOf(host)}); }

bool TestHosts::SetLoss(std::size_t host, unsigned int percent) const {
  const std::string rules =
      "add table ip loss; flush table ip loss; add chain ip loss in { type filter hook input priority 0; }; "
      "add rule ip loss in iifname eth0 numgen random mod 100 < " +
      std::to_string(percent) + " drop";
  return RunProgram(CommandOn(host, {"nft", percent > 0 ? rules : "delete table ip loss"})).status == 0;
}

}  // namespace qor::test
