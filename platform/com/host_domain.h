// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_HOST_DOMAIN_H
#define QOR_COM_HOST_DOMAIN_H

#include <string>
#include <string_view>

namespace qor::com {

/// The domain class of a host by the version text of its C library: "ANDROID" for a short text, else "SEA" for the
/// safety domain's library and "GEA" for any other.
std::string HostDomainOfLibcVersion(std::string_view version);

/// The domain class of this host.
std::string HostDomainName();

}  // namespace qor::com

#endif
