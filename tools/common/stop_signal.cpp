// SPDX-License-Identifier: Apache-2.0
#include "tools/common/stop_signal.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>

namespace qor::tools {
namespace {

/// A blocked signal is delivered even when it is ignored, so an ignored one must not be blocked.
bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

int PollTimeout(std::chrono::milliseconds limit) {
  return static_cast<int>(std::clamp<std::int64_t>(limit.count(), 0, std::numeric_limits<int>::max()));
}

}  // namespace

StopSignal* StopSignal::current_ = nullptr;

StopSignal::StopSignal(Second second) : second_(second) {
  current_ = this;
  sigemptyset(&watched_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (!IsIgnored(signal)) {
      sigaddset(&watched_, signal);
    }
  }
  pthread_sigmask(SIG_BLOCK, &watched_, &previousMask_);
  signalFd_ = signalfd(-1, &watched_, SFD_CLOEXEC | SFD_NONBLOCK);
}

StopSignal::~StopSignal() {
  current_ = nullptr;
  close(signalFd_);
  pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

StopSignal::Wake StopSignal::WaitFor(std::chrono::milliseconds limit, int fd) {
  if (isRaised_) {
    return Wake::kSignal;
  }
  std::array<pollfd, 2> waits{{{signalFd_, POLLIN, 0}, {fd, POLLIN, 0}}};
  poll(waits.data(), waits.size(), PollTimeout(limit));
  if (TakeSignal()) {
    return Wake::kSignal;
  }
  return waits[1].revents != 0 ? Wake::kReadable : Wake::kTimeout;
}

bool StopSignal::WaitForRoom(int fd) {
  constexpr std::chrono::seconds kGrace{1};
  std::array<pollfd, 2> waits{{{fd, POLLOUT, 0}, {signalFd_, POLLIN, 0}}};
  while (!isRaised_) {
    poll(waits.data(), waits.size(), -1);
    if (waits[0].revents != 0) {
      return true;
    }
    TakeSignal();
  }
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(raisedAt_ + kGrace - Clock::now());
  return poll(waits.data(), 1, PollTimeout(rest)) == 1;
}

bool StopSignal::TakeSignal() {
  signalfd_siginfo signal{};
  if (read(signalFd_, &signal, sizeof signal) != static_cast<ssize_t>(sizeof signal)) {
    return false;
  }
  isRaised_ = true;
  raisedAt_ = Clock::now();
  if (second_ == Second::kEndsProcess) {
    pthread_sigmask(SIG_UNBLOCK, &watched_, nullptr);
  } else {
    IgnoreWatched();
  }
  return true;
}

/// A blocked signal would wait for the end of the mask, and end the process then.
void StopSignal::IgnoreWatched() const {
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&watched_, signal) == 1) {
      std::signal(signal, SIG_IGN);
    }
  }
}

}  // namespace qor::tools
