// SPDX-License-Identifier: Apache-2.0
#include "src/common/checks.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/log/qor_log.h"
#include "src/common/error_texts.h"
#include "src/common/filters.h"
#include "src/common/text_pattern.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};
constexpr std::string_view kUnsafeCharacters = "|;&$<>`\\'~\"{}()*?!\n";
constexpr std::size_t kLongestIp = 39;  // eight groups of four digits; the matcher recurses once a character
constexpr std::size_t kLongestOutputName = 256;
constexpr std::uint16_t kDomainCount = 64;

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr bool IsLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c); }

bool ConsistsOf(std::string_view text, std::string_view signs) {
  return std::ranges::all_of(text,
                             [signs](char c) { return IsLetterOrDigit(c) || signs.find(c) != std::string_view::npos; });
}

}  // namespace

bool HasOnlySafeCharacters(const std::string& path) {
  return path.find_first_of(kUnsafeCharacters) == std::string::npos;
}

bool CheckPathForSecurity(const std::string& path) {
  if (HasOnlySafeCharacters(path)) {
    return true;
  }
  kLog.Warn() << "[QorCommon] Path has an unsafe character. path=" << path;
  return false;
}

bool IsOutputName(const std::string& name) {
  return !name.empty() && name.size() <= kLongestOutputName && ConsistsOf(name, "#-.@_");
}

bool CheckOutputName(const std::string& name) {
  if (IsOutputName(name)) {
    return true;
  }
  kLog.Warn() << "[QorCommon] Output name is invalid. name=" << name;
  return false;
}

int CheckPathName(const std::string& path, std::string& normalisedPath) {
  if (!path.starts_with('/')) {
    kLog.Warn() << "[QorCommon] Path does not start with /. path=" << path;
    return kPathNotAbsolute;
  }
  if (!ConsistsOf(path, "-[]_/")) {
    kLog.Warn() << "[QorCommon] Path name is invalid. path=" << path;
    return kBadPathName;
  }
  normalisedPath = path.ends_with('/') ? path : path + "/";
  return kOk;
}

bool CheckIP(const std::string& ip) {
  static const TextPattern ipv4("^((25[0-5]|2[0-4]\\d|[01]?\\d\\d?)\\.){3}(25[0-5]|2[0-4]\\d|[01]?\\d\\d?)$");
  static const TextPattern ipv6("^([\\da-fA-F]{1,4}:){7}[\\da-fA-F]{1,4}$");
  if (ip.size() <= kLongestIp) {
    for (const TextPattern* pattern : {&ipv4, &ipv6}) {
      std::string error;
      const auto outcome = pattern->Match(ip, error);
      if (!outcome.has_value()) {
        kLog.Warn() << "[QorCommon]: Regex_match failed, error=" << error;
        return false;
      }
      if (*outcome) {
        return true;
      }
    }
  }
  kLog.Warn() << "[QorCommon] IP is invalid. IP=" << ip;
  return false;
}

bool CheckSOMEIPNet(const std::string& name) {
  if (!name.empty() && !IsDigit(name.front()) && ConsistsOf(name, "_")) {
    return true;
  }
  kLog.Warn() << "[QorCommon] SomeipNet is invalid. someipNet=" << name;
  return false;
}

bool IsValidNumber(const std::string& text) { return std::ranges::all_of(text, IsDigit); }

bool CheckUuid(const std::string& uuid) {
  if (IsValidNumber(uuid)) {
    return true;
  }
  kLog.Warn() << "[QorCommon] Uuid is invalid. uuid=" << uuid;
  return false;
}

bool CheckDomainID(std::uint16_t id) {
  if (id < kDomainCount || id == CommonFilter::kAnyDomain) {
    return true;
  }
  kLog.Warn() << "[QorCommon] DomainID is invalid. domainID=" << id;
  return false;
}

}  // namespace qor::common
