// SPDX-License-Identifier: Apache-2.0
#include "tests/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace qor::test {
namespace {

struct Ends {
  int read = -1;
  int write = -1;
};

Ends OpenPipe() {
  std::array<int, 2> fds{};
  if (pipe2(fds.data(), O_CLOEXEC) != 0) {
    std::abort();
  }
  return {fds[0], fds[1]};
}

Ends OpenTerminal() {
  Ends ends;
  winsize size{24, 80, 0, 0};
  if (openpty(&ends.read, &ends.write, nullptr, nullptr, &size) != 0) {
    std::abort();
  }
  fcntl(ends.read, F_SETFD, FD_CLOEXEC);
  fcntl(ends.write, F_SETFD, FD_CLOEXEC);
  return ends;
}

/// In the child: only what may be done between fork and exec.
[[noreturn]] void Become(char* const* arguments, int out, int err) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  signal(SIGPIPE, SIG_DFL);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  execv(arguments[0], arguments);
  _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, Stdout out) {
  std::vector<char*> arguments;
  for (std::string& argument : command) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);
  const Ends outEnds = out == Stdout::kTerminal ? OpenTerminal() : OpenPipe();
  const Ends errEnds = OpenPipe();
  pid_ = fork();
  if (pid_ == 0) {
    Become(arguments.data(), outEnds.write, errEnds.write);
  }
  close(outEnds.write);
  close(errEnds.write);
  out_.Start(outEnds.read);
  err_.Start(errEnds.read);
}

ChildProcess::~ChildProcess() {
  if (!status_.has_value()) {
    Signal(SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void ChildProcess::Signal(int signal) const { kill(pid_, signal); }

std::optional<int> ChildProcess::Wait() {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!status_.has_value() && std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      out_.Join();
      err_.Join();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  return status_;
}

ChildProcess::Stream::~Stream() {
  Close();
  if (wakeFd_ >= 0) {
    close(wakeFd_);
  }
}

void ChildProcess::Stream::Start(int fd) {
  fd_ = fd;
  wakeFd_ = eventfd(0, EFD_CLOEXEC);
  reader_ = std::thread([this] { Read(); });
}

void ChildProcess::Stream::Close() {
  if (reader_.joinable()) {
    eventfd_write(wakeFd_, 1);
    reader_.join();
  }
  if (fd_ >= 0) {
    close(fd_);
    fd_ = -1;
  }
}

void ChildProcess::Stream::Join() {
  if (reader_.joinable()) {
    reader_.join();
  }
}

void ChildProcess::Stream::Read() {
  std::array<char, 4096> buffer{};
  std::array<pollfd, 2> waits{{{fd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}}};
  ssize_t size = 1;
  while (size > 0 && poll(waits.data(), waits.size(), -1) > 0 && waits[1].revents == 0) {
    size = read(fd_, buffer.data(), buffer.size());
    const std::lock_guard lock(mutex_);
    text_.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    changed_.notify_all();
  }
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

bool ChildProcess::Stream::WaitFor(const std::string& part) {
  std::unique_lock lock(mutex_);
  const auto isThere = [&] { return text_.find(part) != std::string::npos; };
  changed_.wait_for(lock, kPatience, [&] { return isThere() || hasEnded_; });
  return isThere();
}

std::string ChildProcess::Stream::Text() {
  const std::lock_guard lock(mutex_);
  return text_;
}

Finished RunProgram(std::vector<std::string> command, ChildProcess::Stdout out) {
  ChildProcess process(std::move(command), out);
  const auto status = process.Wait();
  return {status.value_or(-1), process.Out(), process.Err()};
}

}  // namespace qor::test
