// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_FREE_BIND_H
#define QOR_SOMEIP_FREE_BIND_H

#include <netinet/in.h>
#include <sys/socket.h>

namespace qor::someip {

/// Lets a socket be bound to an address that no interface has yet, or has no longer: networks come and go, ports stay.
inline void AllowFreeBind(int descriptor) {
  const int on = 1;
  (void)::setsockopt(descriptor, IPPROTO_IP, IP_FREEBIND, &on, sizeof(on));
}

}  // namespace qor::someip

#endif
