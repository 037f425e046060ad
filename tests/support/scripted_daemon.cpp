// SPDX-License-Identifier: Apache-2.0
#include "tests/support/scripted_daemon.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <span>
#include <utility>

#include "platform/ipc/runtime_dir.h"
#include "platform/maintaind/service/node_service.h"
#include "platform/someip/stream_framer.h"
#include "src/common/records/codec.h"

namespace qor::test {
namespace {

constexpr std::size_t kMaxRequest = 1U << 20U;

int Listen(const std::string& path) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || ::listen(socket, 4) != 0) {
    ::close(socket);
    return -1;
  }
  return socket;
}

}  // namespace

ScriptedDaemon::ScriptedDaemon(std::uint16_t instance, std::string application, Script script)
    : instance_(instance),
      application_(std::move(application)),
      script_(std::move(script)),
      path_(ipc::DaemonSocketPath(instance)),
      listener_(Listen(path_)),
      thread_([this] { Serve(); }) {}

ScriptedDaemon::~ScriptedDaemon() {
  {
    const std::lock_guard lock(mutex_);
    mustStop_ = true;
    ::shutdown(listener_.Get(), SHUT_RDWR);
    ::shutdown(connection_, SHUT_RDWR);
  }
  thread_.join();
  ::unlink(path_.c_str());
}

std::vector<ScriptedDaemon::Request> ScriptedDaemon::Requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<std::vector<std::uint8_t>> ScriptedDaemon::RequestsOf(std::uint16_t method) const {
  std::vector<std::vector<std::uint8_t>> payloads;
  for (const Request& request : Requests()) {
    if (request.method == method) {
      payloads.push_back(request.payload);
    }
  }
  return payloads;
}

void ScriptedDaemon::DropConnection() {
  const std::lock_guard lock(mutex_);
  ::shutdown(connection_, SHUT_RDWR);
}

void ScriptedDaemon::Serve() {
  for (;;) {
    const ipc::UniqueFd connection(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    {
      const std::lock_guard lock(mutex_);
      if (mustStop_ || connection.Get() < 0) {
        return;
      }
      connection_ = connection.Get();
    }
    ServeConnection(connection.Get());
    const std::lock_guard lock(mutex_);
    connection_ = -1;
  }
}

void ScriptedDaemon::ServeConnection(int connection) {
  someip::StreamFramer framer(kMaxRequest);
  std::array<std::uint8_t, 4096> buffer{};
  for (;;) {
    const ssize_t size = ::read(connection, buffer.data(), buffer.size());
    if (size <= 0) {
      return;
    }
    bool isWelcome = true;
    const auto onRequest = [&](const someip::MessageHeader& header, std::span<const std::uint8_t> body) {
      const Request request{header.methodId, {body.begin(), body.end()}};
      isWelcome = isWelcome && !IsForAnother(request);
      if (isWelcome) {
        Answer(connection, header, request);
      }
    };
    if (!framer.Feed(std::span(buffer).first(static_cast<std::size_t>(size)), onRequest) || !isWelcome) {
      return;
    }
  }
}

bool ScriptedDaemon::IsForAnother(const Request& request) const {
  maintaind::ApplicationHello hello;
  return request.method == maintaind::node_operation::Hello::kMethodId &&
         (!maintaind::Decode(request.payload, hello) || hello.applicationName != application_);
}

void ScriptedDaemon::Answer(int connection, const someip::MessageHeader& request, const Request& asked) {
  const auto refusal = script_ ? script_(asked) : std::nullopt;
  std::vector<std::uint8_t> body;
  if (refusal) {
    body.assign(refusal->begin(), refusal->end());
  } else if (asked.method == maintaind::node_operation::Hello::kMethodId) {
    body = maintaind::Encode(maintaind::DaemonHello{.protocolVersion = 1, .instance = instance_});
  }
  someip::MessageHeader header = request;
  header.type = refusal ? someip::MessageType::kError : someip::MessageType::kResponse;
  header.returnCode = refusal ? someip::ReturnCode::kNotOk : someip::ReturnCode::kOk;
  header.length = someip::kLengthOverhead + static_cast<std::uint32_t>(body.size());
  const auto bytes = someip::EncodeHeader(header);
  body.insert(body.begin(), bytes.begin(), bytes.end());
  {
    const std::lock_guard lock(mutex_);
    requests_.push_back(asked);
  }
  (void)!::send(connection, body.data(), body.size(), MSG_NOSIGNAL);  // the program may have gone
}

}  // namespace qor::test
