// SPDX-License-Identifier: Apache-2.0
#include "platform/com/host_domain.h"

#include <gnu/libc-version.h>

namespace qor::com {

std::string HostDomainOfLibcVersion(std::string_view version) {
  constexpr std::size_t kShortestDomainText = 12;
  if (version.size() < kShortestDomainText) {
    return "ANDROID";
  }
  return version.find("aos-sea-musl") != std::string_view::npos ? "SEA" : "GEA";
}

std::string HostDomainName() { return HostDomainOfLibcVersion(gnu_get_libc_version()); }

}  // namespace qor::com
