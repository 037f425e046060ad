// SPDX-License-Identifier: Apache-2.0
#include "tests/support/child_process.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "tests/support/eventually.h"

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
  for (const int fd : {outEnds.read, errEnds.read}) {
    fcntl(fd, F_SETFL, O_NONBLOCK);
  }
  out_.fd = ipc::UniqueFd(outEnds.read);
  err_.fd = ipc::UniqueFd(errEnds.read);
}

ChildProcess::~ChildProcess() {
  if (!status_.has_value()) {
    Signal(SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void ChildProcess::Signal(int signal) const { kill(pid_, signal); }

std::optional<int> ChildProcess::Wait() {
  int status = 0;
  if (!status_ && Eventually([&] { return waitpid(Read().pid_, &status, WNOHANG) == pid_; })) {
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return status_;
}

ChildProcess& ChildProcess::Read() {
  std::array<char, 4096> buffer{};
  for (Stream* stream : {&out_, &err_}) {
    ssize_t size = 1;
    while (stream->fd && (size = read(stream->fd.Get(), buffer.data(), buffer.size())) > 0) {
      stream->text.append(buffer.data(), static_cast<std::size_t>(size));
    }
    if (stream->fd && (size == 0 || errno == EIO)) {  // the end, of a pipe or of a terminal
      stream->fd = ipc::UniqueFd();
    }
  }
  return *this;
}

bool ChildProcess::WaitFor(const Stream& stream, const std::string& part) {
  const auto isThere = [&] { return stream.text.find(part) != std::string::npos; };
  Eventually([&] {
    Read();
    return isThere() || !stream.fd;
  });
  return isThere();
}

Finished RunProgram(std::vector<std::string> command, ChildProcess::Stdout out) {
  ChildProcess process(std::move(command), out);
  const auto status = process.Wait();
  return {status.value_or(-1), process.Out(), process.Err()};
}

}  // namespace qor::test
