// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/loop_thread.h"

#include <pthread.h>

#include <csignal>
#include <thread>

#include <asio/executor_work_guard.hpp>

namespace qor::ipc {
namespace {

/// Signals belong to the program's own threads.
void BlockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

asio::io_context* StartLoopThread(const char* name) {
  auto* loop = new asio::io_context(1);
  std::thread([loop, name] {
    pthread_setname_np(pthread_self(), name);
    BlockSignals();
    const auto guard = asio::make_work_guard(*loop);
    loop->run();
  }).detach();
  return loop;
}

}  // namespace qor::ipc
