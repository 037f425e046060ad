// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_SCRIPTED_DAEMON_H
#define QOR_TESTS_SUPPORT_SCRIPTED_DAEMON_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/ipc/unique_fd.h"
#include "platform/someip/message.h"

namespace qor::test {

/// The application's side of a daemon, on a socket in the runtime directory: answers Hello, accepts every registration
/// but those that the script refuses, and remembers all requests. Serves one connection at a time on its own thread,
/// and one application only: the test's process may hold a connection of its own.
class ScriptedDaemon {
 public:
  struct Request {
    std::uint16_t method = 0;
    std::vector<std::uint8_t> payload;
  };
  /// The reason of a refusal; nothing accepts.
  using Script = std::function<std::optional<std::string>(const Request&)>;

  ScriptedDaemon(std::uint16_t instance, std::string application, Script script = nullptr);
  /// Closes the connection and removes the socket.
  ~ScriptedDaemon();
  ScriptedDaemon(const ScriptedDaemon&) = delete;
  ScriptedDaemon& operator=(const ScriptedDaemon&) = delete;

  /// All requests so far, in order.
  std::vector<Request> Requests() const;
  /// The payloads of the requests of one method.
  std::vector<std::vector<std::uint8_t>> RequestsOf(std::uint16_t method) const;
  /// Ends the connection that is open; the next one is served.
  void DropConnection();

 private:
  void Serve();
  void ServeConnection(int connection);
  bool IsForAnother(const Request& request) const;
  void Answer(int connection, const someip::MessageHeader& header, const Request& request);

  std::uint16_t instance_;
  std::string application_;
  Script script_;
  std::string path_;
  ipc::UniqueFd listener_;
  mutable std::mutex mutex_;
  std::vector<Request> requests_;  // guarded by mutex_
  int connection_ = -1;            // guarded by mutex_; open while it is served
  bool mustStop_ = false;          // guarded by mutex_
  std::thread thread_;
};

}  // namespace qor::test

#endif
