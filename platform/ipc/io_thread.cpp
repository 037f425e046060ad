// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/io_thread.h"

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

asio::io_context* Start() {
  auto* context = new asio::io_context(1);
  std::thread([context] {
    pthread_setname_np(pthread_self(), "qor_io");
    BlockSignals();
    const auto guard = asio::make_work_guard(*context);
    context->run();
  }).detach();
  return context;
}

}  // namespace

asio::io_context& IoThread() {
  static asio::io_context* const context = Start();  // never destroyed: its thread may outlive other statics
  return *context;
}

}  // namespace qor::ipc
