// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_RUNTIME_DIR_H
#define QOR_IPC_RUNTIME_DIR_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qor::ipc {

/// The folder that holds the daemons' sockets: QOR_RUNTIME_DIR, else /run/qor when this process may write there or it
/// exists, else $XDG_RUNTIME_DIR/qor, else /tmp/qor-<uid>. Not created here.
std::string RuntimeDirectory();

/// "<runtime directory>/maintaind-<instance>.sock".
std::string DaemonSocketPath(std::uint16_t instance);

/// The instance number in a socket's file name; nothing for any other file name.
std::optional<std::uint16_t> InstanceOfSocketName(std::string_view fileName);

}  // namespace qor::ipc

#endif
