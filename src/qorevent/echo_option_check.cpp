// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/echo_option_check.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/log/qor_log.h"
#include "src/common/checks.h"
#include "src/common/text_pattern.h"

namespace qor::qorevent {
namespace {

constexpr QorLog kLog("QorEventEcho");
constexpr std::size_t kLongestName = 5000;
constexpr std::size_t kLongestAddress = 39;  // the matcher recurses once a character
constexpr std::uint16_t kLastDomain = 232;

bool IsWord(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; }

/// ^/[a-zA-z]+[a-zA-Z0-9_]*(/[a-zA-Z0-9_]+)*(\[[a-zA-Z0-9_/]+\])*$ without the recursion of std::regex, which a long
/// name could exhaust the stack with. All places in the pattern that the text so far can lead to are followed at once;
/// "A-z" has six signs between its letters, among them both brackets.
bool IsEventName(std::string_view name) {
  constexpr unsigned kFirst = 1;       // behind the first "/"
  constexpr unsigned kLetters = 2;     // in [a-zA-z]+
  constexpr unsigned kWords = 4;       // in [a-zA-Z0-9_]*
  constexpr unsigned kSegment = 8;     // behind a further "/"
  constexpr unsigned kInSegment = 16;  // in its [a-zA-Z0-9_]+
  constexpr unsigned kBracket = 32;    // behind "["
  constexpr unsigned kInBracket = 64;  // in [a-zA-Z0-9_/]+
  constexpr unsigned kClosed = 128;    // behind "]"
  constexpr unsigned kInName = kLetters | kWords | kInSegment;
  if (!name.starts_with('/')) {
    return false;
  }
  unsigned places = kFirst;
  for (const char c : name.substr(1)) {
    unsigned next = 0;
    const auto go = [&](bool isSign, unsigned from, unsigned to) { next |= isSign && (places & from) != 0 ? to : 0U; };
    go(c >= 'A' && c <= 'z', kFirst | kLetters, kLetters);
    go(IsWord(c), kLetters | kWords, kWords);
    go(c == '/', kInName, kSegment);
    go(IsWord(c), kSegment | kInSegment, kInSegment);
    go(c == '[', kInName | kClosed, kBracket);
    go(IsWord(c) || c == '/', kBracket | kInBracket, kInBracket);
    go(c == ']', kInBracket, kClosed);
    places = next;
  }
  return (places & (kInName | kClosed)) != 0;
}

bool IsAddress(const std::string& text, const common::TextPattern& pattern) {
  std::string error;
  return text.size() <= kLongestAddress && pattern.Match(text, error).value_or(false);
}

bool IsDdsNetwork(const std::string& text) {
  static const common::TextPattern pattern("^(?:(25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])(\\.(?!$)|$)){4}$");
  return IsAddress(text, pattern);
}

bool IsNetworkIp(const std::string& text) {
  static const common::TextPattern ipv4("^((25[0-5]|2[0-4]\\d|[01]?\\d\\d?)\\.){3}(25[0-5]|2[0-4]\\d|[01]?\\d\\d?)$");
  static const common::TextPattern ipv6("^([\\da-fA-F]{1,4}:){7}[\\da-fA-F]{1,4}$");
  return IsAddress(text, ipv4) || IsAddress(text, ipv6);
}

/// [a-zA-Z_][a-zA-Z0-9_]*
bool IsSomeipNetwork(std::string_view text) {
  const bool beginsWithDigit = text.front() >= '0' && text.front() <= '9';
  return !beginsWithDigit && std::ranges::all_of(text, IsWord);
}

}  // namespace

bool CheckParam(const std::string& eventName, const EchoOptions& options) {
  if (eventName.empty() || eventName.size() > kLongestName) {
    kLog.Error() << "Event name length should not be 0 or greater than 5000.";
    return false;
  }
  if (!IsEventName(eventName)) {
    kLog.Error() << "Event '" << eventName << "' format error";
    return false;
  }
  if (!options.ddsNetwork.empty() && !IsDdsNetwork(options.ddsNetwork)) {
    kLog.Error() << "DDS Network '" << options.ddsNetwork << "' format error";
    return false;
  }
  if (!options.someipNetwork.empty() && !IsSomeipNetwork(options.someipNetwork)) {
    kLog.Error() << "SOME/IP Network '" << options.someipNetwork << "' format error";
    return false;
  }
  if (!options.networkIp.empty() && !IsNetworkIp(options.networkIp)) {
    kLog.Error() << "Network IP '" << options.networkIp << "' format error";
    return false;
  }
  if (!common::IsValidNumber(options.uuid)) {
    kLog.Error() << "Event uuid '" << options.uuid << "' format error";
    return false;
  }
  if (options.domainId > kLastDomain) {
    kLog.Error() << "DomainId '" << options.domainId << "' range error";
    return false;
  }
  return true;
}

}  // namespace qor::qorevent
