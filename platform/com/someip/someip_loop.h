// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SOMEIP_SOMEIP_LOOP_H
#define QOR_COM_SOMEIP_SOMEIP_LOOP_H

#include <asio/io_context.hpp>

namespace qor::com {

/// The event loop of all SOME/IP sockets of the process; its thread, "qor_someip", starts on the first call and runs
/// until the process ends. Receive handlers of SOME/IP subscribers run on it.
asio::io_context& SomeipLoop();

}  // namespace qor::com

#endif
