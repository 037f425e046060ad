// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_TEST_HOSTS_H
#define QOR_TESTS_SUPPORT_TEST_HOSTS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/ipc/unique_fd.h"

namespace qor::test {

/// Hosts on one network of their own: network namespaces whose interfaces "eth0" hang on a bridge, with the addresses
/// 10.77.0.1, 10.77.0.2 ... /24 and a loopback. Nothing gets out of it. The namespaces have no names and end with this
/// object, or with the test's process if that dies.
class TestHosts {
 public:
  /// Why there can be no such hosts here; empty when there can.
  static std::string Possible();

  /// Only when Possible(). A failure is a failure of the test.
  explicit TestHosts(std::size_t count);
  TestHosts(const TestHosts&) = delete;
  TestHosts& operator=(const TestHosts&) = delete;

  static std::string Address(std::size_t host) { return "10.77.0." + std::to_string(host + 1); }

  /// Calls the function on a thread that is on this host, and waits for it. Sockets that it makes and threads that it
  /// starts stay on the host. A ChildProcess would end with that thread: use CommandOn() for those.
  void RunOn(std::size_t host, const std::function<void()>& function) const;
  /// The command that runs this command on the host.
  std::vector<std::string> CommandOn(std::size_t host, std::vector<std::string> command) const;

  /// The host's own interface, as an administrator does it.
  void SetLink(std::size_t host, bool isUp) const;
  /// The other end of it: the interface loses its carrier.
  void SetCable(std::size_t host, bool isPlugged) const;
  /// The interface itself. What is added is a new one with the same addresses.
  void RemoveInterface(std::size_t host) const;
  void AddInterface(std::size_t host) const;
  /// So many of a hundred packets that come to the host are lost; 0 ends it. False when this system cannot do it.
  [[nodiscard]] bool SetLoss(std::size_t host, unsigned int percent) const;

 private:
  ipc::UniqueFd bridge_;  ///< a namespace of its own
  std::vector<ipc::UniqueFd> hosts_;
};

}  // namespace qor::test

#endif
