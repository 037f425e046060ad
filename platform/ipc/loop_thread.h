// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_LOOP_THREAD_H
#define QOR_IPC_LOOP_THREAD_H

#include <asio/io_context.hpp>

namespace qor::ipc {

/// Starts an event loop on a thread of its own that takes no signals and has this name (15 characters at most). Both
/// run until the process ends: the thread may outlive statics, so the loop is never destroyed.
asio::io_context* StartLoopThread(const char* name);

}  // namespace qor::ipc

#endif
