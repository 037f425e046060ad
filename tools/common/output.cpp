// SPDX-License-Identifier: Apache-2.0
#include "tools/common/output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "tools/common/stop_signal.h"

namespace qor::tools {
namespace {

bool WantsColor() {
  const char* noColor = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return (noColor == nullptr || *noColor == '\0') && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

std::string& ToolName() {
  static std::string name;
  return name;
}

/// Waits until the reader has room for a piece; false when a stop signal came and it does not make any.
bool WaitForRoom(int fd) {
  if (StopSignal* stop = StopSignal::Current(); stop != nullptr) {
    return stop->WaitForRoom(fd);
  }
  pollfd room{fd, POLLOUT, 0};
  poll(&room, 1, -1);
  return true;
}

enum class Written { kAll, kAbandoned, kFailed };

/// Writes everything in pieces that a pipe with room takes without blocking: while the reader stalls, a stop signal
/// must end the wait. kFailed sets errno.
Written WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    if (!WaitForRoom(fd)) {
      return Written::kAbandoned;
    }
    const ssize_t written = write(fd, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR && errno != EAGAIN) {
      return Written::kFailed;
    }
  }
  return Written::kAll;
}

}  // namespace

Output::Output(int fd) : fd_(fd), isTerminal_(isatty(fd) == 1), usesColor_(isatty(fd) == 1 && WantsColor()) {
  std::signal(SIGPIPE, SIG_IGN);
}

TableStyle Output::Style() const {
  if (!isTerminal_) {
    return TableStyle::kPipe;
  }
  return usesColor_ ? TableStyle::kTerminalColor : TableStyle::kTerminal;
}

Output::Size Output::TerminalSize() const {
  winsize size{};
  if (ioctl(fd_, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    return {};
  }
  return {size.ws_row, size.ws_col};
}

void Output::Write(std::string_view text) {
  if (isClosed_ || isAbandoned_) {
    return;
  }
  const Written written = WriteAll(fd_, text);
  isAbandoned_ = written == Written::kAbandoned;
  isClosed_ = written == Written::kFailed;
  if (isClosed_ && errno != EPIPE) {
    hasFailed_ = true;
    Complain(std::string("cannot write to the standard output: ") + std::strerror(errno));
  }
}

void Output::WriteJson(const nlohmann::ordered_json& object) {
  constexpr int kIndent = 2;
  Write(object.dump(isTerminal_ ? kIndent : -1, ' ', /*ensure_ascii=*/true,
                    nlohmann::ordered_json::error_handler_t::replace) +
        "\n");
}

bool Output::HasReaderGone() const {
  pollfd state{fd_, 0, 0};
  return isClosed_ || (poll(&state, 1, 0) == 1 && (state.revents & (POLLERR | POLLNVAL)) != 0);
}

void Complain(std::string_view text) {
  const std::string line = ToolName() + ": " + std::string(text) + "\n";
  static_cast<void>(WriteAll(STDERR_FILENO, line));
}

void SetToolName(std::string_view name) { ToolName() = name; }

}  // namespace qor::tools
