// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_IO_THREAD_H
#define QOR_IPC_IO_THREAD_H

#include <asio/io_context.hpp>

namespace qor::ipc {

/// The event loop that serves all client-side sockets of the process; its thread, "qor_io", starts on the first call
/// and runs until the process ends. Handlers must not block.
asio::io_context& IoThread();

}  // namespace qor::ipc

#endif
