// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/io_thread.h"

#include "platform/ipc/loop_thread.h"

namespace qor::ipc {

asio::io_context& IoThread() {
  static asio::io_context* const loop = StartLoopThread("qor_io");
  return *loop;
}

}  // namespace qor::ipc
