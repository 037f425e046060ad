// SPDX-License-Identifier: Apache-2.0
#include "tools/common/output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

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

/// Writes everything; false with errno set when that cannot be.
bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd ready{fd, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
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
  if (isClosed_ || WriteAll(fd_, text)) {
    return;
  }
  isClosed_ = true;
  if (errno != EPIPE) {
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
