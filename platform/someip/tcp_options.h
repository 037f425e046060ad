// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_TCP_OPTIONS_H
#define QOR_SOMEIP_TCP_OPTIONS_H

namespace qor::someip {

// For a connected TCP socket. A system that cannot do one of these is none worse off.

/// Small messages leave at once, and the connection ends when the peer's host has vanished for 5 s. That holds while
/// nothing is on the way there: as long as something is, the system repeats it, for some 15 min.
void SetUpTcp(int descriptor);

/// Ends the connection also when the peer has not taken for 5 s what was sent to it: its host has vanished, or its
/// program has not read for so long that nothing more fits in between. Only for peers that always read.
void LimitUntaken(int descriptor);

}  // namespace qor::someip

#endif
