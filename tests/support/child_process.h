// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_CHILD_PROCESS_H
#define QOR_TESTS_SUPPORT_CHILD_PROCESS_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/ipc/unique_fd.h"

namespace qor::test {

/// A program under test: its output is collected whenever it is asked or waited for, and it ends with this object. Used
/// by one thread.
class ChildProcess {
 public:
  enum class Stdout { kPipe, kTerminal };

  explicit ChildProcess(std::vector<std::string> command, Stdout out = Stdout::kPipe);
  /// Kills it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Pid() const { return pid_; }
  void Signal(int signal) const;
  /// Its exit status, 128 + n when signal n ended it; nothing when it does not end.
  std::optional<int> Wait();

  /// Waits until the output has this text; false when it ends without it, or does not come.
  bool WaitForOut(const std::string& part) { return WaitFor(out_, part); }
  bool WaitForErr(const std::string& part) { return WaitFor(err_, part); }
  std::string Out() { return Read().out_.text; }
  std::string Err() { return Read().err_.text; }
  /// Ends the reading side of its standard output, as `head` does.
  void CloseOut() { out_.fd = ipc::UniqueFd(); }

 private:
  struct Stream {
    ipc::UniqueFd fd;  // none after the end
    std::string text;
  };

  /// Takes what is there.
  ChildProcess& Read();
  bool WaitFor(const Stream& stream, const std::string& part);

  pid_t pid_ = -1;
  std::optional<int> status_;
  Stream out_;
  Stream err_;
};

/// Runs a program to its end.
struct Finished {
  int status = -1;  ///< -1: it did not end
  std::string out;
  std::string err;
};
Finished RunProgram(std::vector<std::string> command, ChildProcess::Stdout out = ChildProcess::Stdout::kPipe);

}  // namespace qor::test

#endif
