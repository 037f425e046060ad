// SPDX-License-Identifier: Apache-2.0
#include "tools/common/common_options.h"

#include <charconv>
#include <cstdint>

#include "src/common/qor_common.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

/// An empty text accepts the value.
std::string Refuse(bool isRefused, const std::string& value, const std::string& expected) {
  return isRefused ? "'" + Printable(value) + "' is refused: expected " + expected : std::string();
}

CLI::Validator DomainId() {
  return {[](std::string& value) {
            std::uint16_t id = 0;
            const char* end = value.data() + value.size();
            const auto parsed = std::from_chars(value.data(), end, id);
            const bool isNumber = parsed.ec == std::errc() && parsed.ptr == end;
            return Refuse(!isNumber || !QorCommon::GetInstance().CheckDomainID(id), value,
                          "a number from 0 to 63, or 1000 for any domain");
          },
          "0..63|1000"};
}

CLI::Validator Uuid() {
  return {[](std::string& value) {
            return Refuse(value.empty() || !QorCommon::GetInstance().CheckUuid(value), value, "decimal digits");
          },
          "DIGITS"};
}

CLI::Validator InstanceName() {
  constexpr std::size_t kMaxLength = 5000;
  return {[](std::string& value) {
            return Refuse(value.empty() || value.size() > kMaxLength, value, "a text of 1 to 5000 characters");
          },
          "TEXT"};
}

}  // namespace

CLI::Validator EventName() {
  return {[](std::string& value) {
            std::string pureName;
            std::string uuid;
            const bool isName = QorCommon::GetInstance().GetSubEventName(value, pureName, uuid) && !pureName.empty();
            return Refuse(!isName, value.substr(0, 40), "a name of 1 to 5000 characters");
          },
          "NAME"};
}

CLI::Validator NetworkAddress() {
  return {[](std::string& value) {
            return Refuse(!QorCommon::GetInstance().CheckIP(value), value,
                          "an IPv4 address such as 192.168.1.10, or an IPv6 address with all its eight groups");
          },
          "ADDRESS"};
}

CLI::Validator SomeipNetworkName() {
  return {[](std::string& value) {
            return Refuse(!QorCommon::GetInstance().CheckSOMEIPNet(value), value,
                          "a name of letters, digits and '_' that does not begin with a digit");
          },
          "NAME"};
}

void AddCommonOptions(CLI::App& command, CommonOptions& options) {
  command.add_flag("--json", options.isJson, "Print JSON: one object a line, indented on a terminal");
  command.add_flag("--strict", options.isStrict, "Fail when a daemon does not answer, instead of only warning");
  command.add_flag("-v,--verbose", options.verbosity, "More log lines on stderr; repeat for still more");
}

void AddFilterOptions(CLI::App& command, CommonFilter& filter) {
  const std::string group = "Which of several events of one name";
  command.add_option("--instance", filter.instanceShortName, "Short name of the instance")
      ->check(InstanceName())
      ->group(group);
  command.add_option("--network-ip", filter.networkIp, "Address of the network")->check(NetworkAddress())->group(group);
  command.add_option("--domain-id", filter.domainId, "DDS domain")->check(DomainId())->group(group);
  command.add_option("--uuid", filter.uuid, "UUID")->check(Uuid())->group(group);
}

}  // namespace qor::tools
