// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/runtime_dir.h"

#include <unistd.h>

#include <charconv>
#include <cstdlib>

namespace qor::ipc {
namespace {

constexpr std::string_view kPrefix = "maintaind-";
constexpr std::string_view kSuffix = ".sock";
constexpr const char* kSystemDirectory = "/run/qor";

}  // namespace

std::string RuntimeDirectory() {
  if (const char* chosen = std::getenv("QOR_RUNTIME_DIR"); chosen != nullptr && *chosen != '\0') {
    return chosen;
  }
  if (::access(kSystemDirectory, F_OK) == 0 || ::access("/run", W_OK) == 0) {
    return kSystemDirectory;
  }
  if (const char* user = std::getenv("XDG_RUNTIME_DIR"); user != nullptr && *user != '\0') {
    return std::string(user) + "/qor";
  }
  return "/tmp/qor-" + std::to_string(::getuid());
}

std::string DaemonSocketPath(std::uint16_t instance) {
  return RuntimeDirectory() + "/" + std::string(kPrefix) + std::to_string(instance) + std::string(kSuffix);
}

std::optional<std::uint16_t> InstanceOfSocketName(std::string_view fileName) {
  if (!fileName.starts_with(kPrefix) || !fileName.ends_with(kSuffix) ||
      fileName.size() <= kPrefix.size() + kSuffix.size()) {
    return std::nullopt;
  }
  const std::string_view digits = fileName.substr(kPrefix.size(), fileName.size() - kPrefix.size() - kSuffix.size());
  std::uint16_t instance = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), instance);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return instance;
}

}  // namespace qor::ipc
