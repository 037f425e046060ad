// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DAEMON_CANDIDATES_H
#define QOR_COM_DAEMON_CANDIDATES_H

#include <string>
#include <vector>

namespace qor::com {

/// Paths of the sockets at which this process may find its daemon, in the order in which to try them: the one of
/// QOR_MAINTAIND_INSTANCE, else all in the runtime directory by instance number.
std::vector<std::string> DaemonCandidates();

}  // namespace qor::com

#endif
