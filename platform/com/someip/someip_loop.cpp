// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/someip_loop.h"

#include "platform/ipc/loop_thread.h"

namespace qor::com {

asio::io_context& SomeipLoop() {
  static asio::io_context* const loop = ipc::StartLoopThread("qor_someip");
  return *loop;
}

}  // namespace qor::com
