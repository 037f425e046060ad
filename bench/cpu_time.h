// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_BENCH_CPU_TIME_H
#define QOR_BENCH_CPU_TIME_H

#include <sys/resource.h>

namespace qor::bench {

/// Processor time so far, user's and system's, of RUSAGE_SELF or RUSAGE_THREAD.
inline double CpuSeconds(int who) {
  rusage usage{};
  ::getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace qor::bench

#endif
