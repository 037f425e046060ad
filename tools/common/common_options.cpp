// SPDX-License-Identifier: Apache-2.0
#include "tools/common/common_options.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "src/common/checks.h"
#include "src/common/qor_common.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

template <class IsRight>
CLI::Validator Expect(std::string expected, IsRight isRight) {
  const auto check = [expected = std::move(expected), isRight](const std::string& value) {
    constexpr std::size_t kQuoted = 80;
    return isRight(value) ? std::string()
                          : "'" + Printable(value.substr(0, kQuoted)) + "' is refused: expected " + expected;
  };
  return {check, ""};
}

/// Nothing when the text is more or less than one decimal number of that type.
template <class T>
std::optional<T> ParseNumber(const std::string& text) {
  T number = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

bool IsDomainId(const std::string& text) {
  const auto id = ParseNumber<std::uint16_t>(text);
  return id.has_value() && QorCommon::GetInstance().CheckDomainID(*id);
}

bool IsUuid(const std::string& text) { return !text.empty() && QorCommon::GetInstance().CheckUuid(text); }

bool IsInstanceName(const std::string& text) {
  constexpr std::size_t kMaxLength = 5000;
  return !text.empty() && text.size() <= kMaxLength;
}

bool IsEventName(const std::string& text) {
  std::string pureName;
  std::string uuid;
  return QorCommon::GetInstance().GetSubEventName(text, pureName, uuid) && !pureName.empty();
}

}  // namespace

CLI::Validator PositiveCount(std::uint64_t largest) {
  return Expect("a number from 1 to " + std::to_string(largest), [largest](const std::string& text) {
    const auto number = ParseNumber<std::uint64_t>(text);
    return number.has_value() && *number >= 1 && *number <= largest;
  });
}

CLI::Validator Seconds() {
  return Expect("a number of seconds from 0.001", [](const std::string& text) {
    constexpr double kLongest = 1e9;
    const auto number = ParseNumber<double>(text);
    return number.has_value() && *number >= 0.001 && *number <= kLongest;
  });
}

CLI::Validator EventName() { return Expect("a name of 1 to 5000 characters", IsEventName); }

CLI::Validator FileName() {
  return Expect("a file name of 1 to 256 letters, digits, '-', '_', '@', '#' and '.'",
                [](const std::string& text) { return common::IsOutputName(text) && text != "." && text != ".."; });
}

CLI::Validator NetworkAddress() {
  return Expect("an IPv4 address such as 192.168.1.10, or an IPv6 address with all its eight groups",
                [](const std::string& text) { return QorCommon::GetInstance().CheckIP(text); });
}

CLI::Validator DomainId() { return Expect("a number from 0 to 63, or 1000 for any domain", IsDomainId); }

CLI::Validator SomeipNetworkName() {
  return Expect("a name of letters, digits and '_' that does not begin with a digit",
                [](const std::string& text) { return QorCommon::GetInstance().CheckSOMEIPNet(text); });
}

void AddOutputOptions(CLI::App& command, OutputOptions& options) {
  command.add_flag("--json", options.isJson, "Print JSON: one object a line in a pipe");
  command.add_flag("-v,--verbose", options.verbosity, "More log lines on stderr; repeat for still more");
}

void AddCommonOptions(CLI::App& command, CommonOptions& options) {
  AddOutputOptions(command, options);
  command.add_flag("--strict", options.isStrict, "Fail when a daemon does not answer, instead of only warning");
}

void AddFilterOptions(CLI::App& command, CommonFilter& filter) {
  const auto add = [&](const char* name, auto& value, const CLI::Validator& check, const char* kind, const char* text) {
    command.add_option(name, value, text)->check(check)->option_text(kind)->group("Which of several of one name");
  };
  add("--instance", filter.instanceShortName, Expect("a text of 1 to 5000 characters", IsInstanceName), "TEXT",
      "Short name of the instance");
  add("--network-ip", filter.networkIp, NetworkAddress(), "ADDRESS", "Address of the network, or one in it");
  add("--domain-id", filter.domainId, DomainId(), "0..63", "DDS domain");
  add("--uuid", filter.uuid, Expect("decimal digits", IsUuid), "DIGITS", "UUID");
}

void AddNetworkOptions(CLI::App& command, std::string& ddsNetwork, std::string& someipNetwork) {
  command.add_option("--dds-network", ddsNetwork, "Address of the interface to receive DDS events on")
      ->check(NetworkAddress())
      ->option_text("ADDRESS");
  command.add_option("--someip-network", someipNetwork, "Name of the network to receive SOME/IP events on")
      ->check(SomeipNetworkName())
      ->option_text("NAME");
}

}  // namespace qor::tools
