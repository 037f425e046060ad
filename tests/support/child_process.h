// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_CHILD_PROCESS_H
#define QOR_TESTS_SUPPORT_CHILD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace qor::test {

/// A program under test: its output is collected while it runs, and it ends with this object. Used by one thread.
class ChildProcess {
 public:
  static constexpr std::chrono::seconds kPatience{20};

  enum class Stdout { kPipe, kTerminal };

  explicit ChildProcess(std::vector<std::string> command, Stdout out = Stdout::kPipe);
  /// Kills it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Pid() const { return pid_; }
  void Signal(int signal) const;
  /// Its exit status, 128 + n when signal n ended it; nothing when it still runs after kPatience.
  std::optional<int> Wait();

  /// Waits until the output has this text; false when it ends without it or kPatience passes.
  bool WaitForOut(const std::string& part) { return out_.WaitFor(part); }
  bool WaitForErr(const std::string& part) { return err_.WaitFor(part); }
  std::string Out() { return out_.Text(); }
  std::string Err() { return err_.Text(); }
  /// Ends the reading side of its standard output, as `head` does.
  void CloseOut() { out_.Close(); }

 private:
  /// Reads one end of a pipe until the other is closed.
  class Stream {
   public:
    ~Stream();
    void Start(int fd);
    void Close();
    void Join();
    bool WaitFor(const std::string& part);
    std::string Text();

   private:
    void Read();

    int fd_ = -1;
    int wakeFd_ = -1;
    std::thread reader_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;       // guarded by mutex_
    bool hasEnded_ = false;  // guarded by mutex_
  };

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
