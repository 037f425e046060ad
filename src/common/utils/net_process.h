// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_UTILS_NET_PROCESS_H
#define QOR_COMMON_UTILS_NET_PROCESS_H

#include <string>

namespace qor::qortools::utils {

/// Arithmetic on network addresses given as text. Any thread.
class NetProcess {
 public:
  /// The address with the mask applied, so that addresses of one segment give one text. The mask is dotted (IPv6: in
  /// groups) or the number of leading one bits; with an empty or unreadable mask the segment is the address alone. What
  /// is no address is returned as it is.
  static std::string TransToNetSegment(const std::string& ip, const std::string& mask);
};

}  // namespace qor::qortools::utils

#endif
