// SPDX-License-Identifier: Apache-2.0
#include "tools/common/keyboard.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>

namespace qor::tools {
namespace {

// Touched by signal handlers; there is one keyboard.
termios previousMode{};
termios keyMode{};
volatile std::sig_atomic_t isModeChanged = 0;

constexpr std::array kFatalSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};
std::array<struct sigaction, kFatalSignals.size()> previousActions{};
struct sigaction previousStop {};

/// A program in the background that touches the terminal is stopped.
bool IsInForeground() { return ::tcgetpgrp(STDIN_FILENO) == ::getpgrp(); }

void RestoreMode() {
  if (isModeChanged != 0 && IsInForeground()) {
    ::tcsetattr(STDIN_FILENO, TCSANOW, &previousMode);
  }
}

/// The action that the signal had is in place again (SA_RESETHAND): that of the system.
void RestoreAndDie(int signal) {
  RestoreMode();
  ::raise(signal);
}

void RestoreAndSuspend(int /*signal*/) {
  const int savedErrno = errno;
  RestoreMode();
  ::kill(::getpid(), SIGSTOP);
  // Here it goes on.
  if (isModeChanged != 0 && IsInForeground()) {
    ::tcsetattr(STDIN_FILENO, TCSANOW, &keyMode);
  }
  errno = savedErrno;
}

/// Only where the signal does what it always does.
void Handle(int signal, void (*handler)(int), int flags, struct sigaction& previous) {
  ::sigaction(signal, nullptr, &previous);
  if (previous.sa_handler == SIG_DFL) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    ::sigaction(signal, &action, nullptr);
  }
}

}  // namespace

Keyboard::Keyboard() {
  if (::isatty(STDIN_FILENO) == 0 || !IsInForeground() || ::tcgetattr(STDIN_FILENO, &previousMode) != 0) {
    return;
  }
  for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
    Handle(kFatalSignals[i], RestoreAndDie, static_cast<int>(SA_RESETHAND), previousActions[i]);
  }
  Handle(SIGTSTP, RestoreAndSuspend, SA_RESTART, previousStop);
  keyMode = previousMode;
  keyMode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  keyMode.c_cc[VMIN] = 0;
  keyMode.c_cc[VTIME] = 0;
  isModeChanged = 1;
  isOn_ = ::tcsetattr(STDIN_FILENO, TCSANOW, &keyMode) == 0;
}

Keyboard::~Keyboard() {
  if (isModeChanged == 0) {
    return;
  }
  RestoreMode();
  isModeChanged = 0;
  for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
    ::sigaction(kFatalSignals[i], &previousActions[i], nullptr);
  }
  ::sigaction(SIGTSTP, &previousStop, nullptr);
}

int Keyboard::Fd() const { return isOn_ ? STDIN_FILENO : -1; }

std::vector<int> Keyboard::Read() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  std::array<char, 64> bytes{};
  if (!isOn_ || ::poll(&input, 1, 0) != 1 || !IsInForeground()) {
    return {};
  }
  const ssize_t size = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  isOn_ = size > 0;  // otherwise the terminal is gone
  std::vector<int> keys;
  for (std::string_view rest(bytes.data(), isOn_ ? static_cast<std::size_t>(size) : 0); !rest.empty();) {
    constexpr std::string_view kArrow = "\033[C";
    constexpr std::string_view kApplicationArrow = "\033OC";
    const bool isArrow = rest.starts_with(kArrow) || rest.starts_with(kApplicationArrow);
    keys.push_back(isArrow ? kRightArrow : static_cast<unsigned char>(rest.front()));
    rest.remove_prefix(isArrow ? kArrow.size() : 1);
  }
  return keys;
}

}  // namespace qor::tools
