// SPDX-License-Identifier: Apache-2.0
#include "platform/com/daemon_candidates.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>

#include "platform/ipc/runtime_dir.h"
#include "platform/log/qor_log.h"

namespace qor::com {
namespace {

constexpr QorLog kLog("DaemonLink");
constexpr const char* kInstanceVariable = "QOR_MAINTAIND_INSTANCE";

std::optional<std::uint16_t> ChosenInstance() {
  const char* text = std::getenv(kInstanceVariable);
  if (text == nullptr || *text == '\0') {
    return std::nullopt;
  }
  const std::string_view digits(text);
  std::uint16_t instance = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), instance);
  if (error == std::errc() && end == digits.data() + digits.size()) {
    return instance;
  }
  static std::once_flag once;
  std::call_once(once, [text] {
    kLog.Error() << kInstanceVariable << "='" << text << "' is no instance number (0 to 65535) and is ignored.";
  });
  return std::nullopt;
}

}  // namespace

std::vector<std::string> DaemonCandidates() {
  if (const auto instance = ChosenInstance()) {
    return {ipc::DaemonSocketPath(*instance)};
  }
  std::map<std::uint16_t, std::string> byInstance;
  std::error_code error;
  std::filesystem::directory_iterator entry(ipc::RuntimeDirectory(), error);
  while (!error && entry != std::filesystem::directory_iterator()) {
    if (const auto instance = ipc::InstanceOfSocketName(entry->path().filename().native())) {
      byInstance.emplace(*instance, entry->path().native());
    }
    entry.increment(error);
  }
  std::vector<std::string> paths;
  paths.reserve(byInstance.size());
  for (auto& [instance, path] : byInstance) {
    paths.push_back(std::move(path));
  }
  return paths;
}

}  // namespace qor::com
