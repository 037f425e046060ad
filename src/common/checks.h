// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_CHECKS_H
#define QOR_COMMON_CHECKS_H

#include <cstdint>
#include <string>

/// Checks of what users type. True (or 0) means valid; a refusal leaves one warning in the log. Letters and digits are
/// those of ASCII, whatever the locale. Any thread.
namespace qor::common {

/// No character of |;&$<>`\'~"{}()*?! and no newline. An empty path is valid.
bool HasOnlySafeCharacters(const std::string& path);  // without a line in the log, for callers that have their own
bool CheckPathForSecurity(const std::string& path);

/// 1 to 256 characters, each a letter, a digit or one of #-.@_
bool IsOutputName(const std::string& name);  // without a line in the log, for callers that have their own
bool CheckOutputName(const std::string& name);

/// An absolute path of letters, digits and -[]_/. 0 with the path, always ending in "/", in `normalisedPath`; else
/// kPathNotAbsolute or kBadPathName, and `normalisedPath` keeps its value.
int CheckPathName(const std::string& path, std::string& normalisedPath);

/// Dotted IPv4, or IPv6 with all eight groups.
bool CheckIP(const std::string& ip);
/// The name of a SOME/IP network: letters, digits and underscores, no digit in front.
bool CheckSOMEIPNet(const std::string& name);
/// Decimal digits; an empty text is valid. Without a line in the log, for callers that have their own.
bool IsValidNumber(const std::string& text);
/// As IsValidNumber: an empty uuid means any.
bool CheckUuid(const std::string& uuid);
/// Below 64, or CommonFilter::kAnyDomain.
bool CheckDomainID(std::uint16_t id);

}  // namespace qor::common

#endif
