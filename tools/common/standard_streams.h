// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_STANDARD_STREAMS_H
#define QOR_TOOLS_COMMON_STANDARD_STREAMS_H

#include <fcntl.h>
#include <unistd.h>

namespace qor::tools {

/// Opens /dev/null where the process was started with a closed standard stream. Otherwise the next thing that it opens,
/// such as a socket, gets that number and what is printed. First thing in main.
inline void OpenStandardStreams() {
  int fd = -1;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  close(fd);
}

}  // namespace qor::tools

#endif
