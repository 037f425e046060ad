// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_TCP_OPTIONS_H
#define QOR_SOMEIP_TCP_OPTIONS_H

namespace qor::someip {

/// Sets up a connected TCP socket: small messages leave at once, and a host that vanishes ends the connection after
/// 5 s, whether anything is sent to it or not. A system that cannot do that is none worse off.
void SetUpTcp(int descriptor);

}  // namespace qor::someip

#endif
