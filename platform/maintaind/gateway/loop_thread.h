// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_LOOP_THREAD_H
#define QOR_MAINTAIND_GATEWAY_LOOP_THREAD_H

#include <pthread.h>

#include <thread>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace qor::maintaind {

/// An event loop with a thread of its own.
class LoopThread {
 public:
  /// `name` has at most 15 characters and outlives it.
  explicit LoopThread(const char* name)
      : guard_(asio::make_work_guard(loop_)), thread_([this, name] {
          pthread_setname_np(pthread_self(), name);
          loop_.run();
        }) {}
  ~LoopThread() { Stop(); }
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;

  asio::io_context& Loop() { return loop_; }
  /// After the return nothing runs on it any more.
  void Stop() {
    loop_.stop();
    if (thread_.joinable()) {
      thread_.join();
    }
  }

 private:
  asio::io_context loop_{1};
  asio::executor_work_guard<asio::io_context::executor_type> guard_;
  std::thread thread_;
};

}  // namespace qor::maintaind

#endif
