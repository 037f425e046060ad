// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/port_range.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <charconv>
#include <string_view>

#include "platform/ipc/unique_fd.h"
#include "src/common/text_pattern.h"
#include "src/qorbag/player_log.h"

namespace qor::qorbag {
namespace {

constexpr std::uint64_t kLastPort = 65534;

/// Of decimal digits; what no number can hold is larger than every port.
std::uint64_t NumberOf(std::string_view digits) {
  std::uint64_t number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return result.ec == std::errc() ? number : UINT64_MAX;
}

bool MatchesPattern(const std::string& text) {
  static const common::TextPattern pattern("(\\[\\d+,\\d+\\])");
  constexpr std::size_t kLongest = 64;  // the matcher recurses once a character
  std::string error;
  const auto isMatch = text.size() <= kLongest ? pattern.Match(text, error) : std::optional(false);
  if (!isMatch) {
    kPlayerLog.Error() << "Regex_match failed, port range regex is error!";
    return false;
  }
  if (!*isMatch) {
    kPlayerLog.Error() << "Port range format " << text << " is irregular!";
  }
  return *isMatch;
}

bool CheckPortValue(const std::string& text, std::uint64_t low, std::uint64_t high) {
  const char* fault = nullptr;
  if (low > kLastPort) {
    fault = " should be in [0,65534], and the left value is not right!";
  } else if (high > kLastPort) {
    fault = " should be in [0,65534], and the right value is not right!";
  } else if (low >= high) {
    fault = " should be in [0,65534], and the left value should be smaller than the right!";
  }
  if (fault != nullptr) {
    kPlayerLog.Error() << "Port range " << text << fault;
  }
  return fault == nullptr;
}

/// Whether a socket of the kind can have the port; true, with a line in the log, when there is no socket at all.
bool CanBind(int type, std::uint16_t port, const char* noSocket) {
  const ipc::UniqueFd socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
  if (socket.Get() < 0) {
    kPlayerLog.Error() << noSocket;
    return true;
  }
  const int on = 1;
  ::setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  return ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

std::optional<PortRange> CheckInputPortInfo(const std::string& text) {
  if (!MatchesPattern(text)) {
    return std::nullopt;
  }
  const std::size_t comma = text.find(',');
  const std::uint64_t low = NumberOf(std::string_view(text).substr(1, comma - 1));
  const std::uint64_t high = NumberOf(std::string_view(text).substr(comma + 1, text.size() - comma - 2));
  if (!CheckPortValue(text, low, high)) {
    return std::nullopt;
  }
  kPlayerLog.Info() << "Input port range [" << low << "," << high << "]";
  return PortRange{static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high)};
}

bool IsPortInUse(std::uint16_t port) {
  if (!CanBind(SOCK_DGRAM, port, "UDP socket failed!")) {
    kPlayerLog.Info() << "UPort " << port << " has been used!";
    return true;
  }
  if (!CanBind(SOCK_STREAM, port, "TCP socket failed!")) {
    kPlayerLog.Info() << "TPort " << port << " has been used!";
    return true;
  }
  return false;
}

}  // namespace qor::qorbag
