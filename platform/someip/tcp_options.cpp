// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/tcp_options.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace qor::someip {
namespace {

void SetOption(int descriptor, int level, int name, int value) {
  static_cast<void>(::setsockopt(descriptor, level, name, &value, sizeof(value)));
}

}  // namespace

void SetUpTcp(int descriptor) {
  SetOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, 2);
  SetOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, 1);
  SetOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, 3);
}

void LimitUntaken(int descriptor) { SetOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, 5000); }

}  // namespace qor::someip
