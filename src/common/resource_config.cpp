// SPDX-License-Identifier: Apache-2.0
#include "src/common/resource_config.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <fstream>

#include <nlohmann/json.hpp>

#include "platform/log/qor_log.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};
constexpr std::size_t kLargestFile = 1U << 20U;  // bytes

/// Exactly one colon with something on either side.
bool IsOwner(const std::string& text) {
  const std::size_t colon = text.find(':');
  return colon != std::string::npos && colon != 0 && colon + 1 != text.size() &&
         text.find(':', colon + 1) == std::string::npos;
}

/// Leaves `text` alone when the key is absent or null; false when the value is no string.
bool ReadText(const nlohmann::json& document, const char* key, std::string& text) {
  const auto value = document.find(key);
  if (value == document.end() || value->is_null()) {
    return true;
  }
  if (!value->is_string()) {
    return false;
  }
  text = value->get<std::string>();
  return true;
}

bool ReadFields(const nlohmann::json& document, std::map<std::string, std::string>& fieldOfApplication) {
  const auto fields = document.find("fields");
  if (fields == document.end() || fields->is_null()) {
    return true;
  }
  if (!fields->is_object()) {
    return false;
  }
  for (const auto& [field, applications] : fields->items()) {
    if (!applications.is_array()) {
      return false;
    }
    for (const auto& application : applications) {
      if (!application.is_string() || !fieldOfApplication.emplace(application.get<std::string>(), field).second) {
        return false;  // an application is in one field
      }
    }
  }
  return true;
}

}  // namespace

std::string ResourceConfig::DefaultPath() {
  const char* chosen = std::getenv("QOR_RESOURCE_CONFIG");
  return chosen != nullptr && *chosen != '\0' ? chosen : "/etc/qor/qor.json";
}

ResourceConfig ResourceConfig::Load(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file && errno == ENOENT) {
    return {};
  }
  std::string text(kLargestFile + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad() || (file.fail() && !file.eof())) {
    kLog.Warn() << "[QorCommon] Cannot read the resource configuration. path=" << path;
    return {};
  }
  text.resize(static_cast<std::size_t>(file.gcount()));
  return ParseResourceJson(text).value_or(ResourceConfig());
}

std::optional<ResourceConfig> ResourceConfig::ParseResourceJson(const std::string& text) {
  ResourceConfig config;
  if (text.size() <= kLargestFile) {
    const auto document = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (document.is_object() && ReadText(document, "fileOwner", config.fileOwner_) &&
        (config.fileOwner_.empty() || IsOwner(config.fileOwner_)) &&
        ReadText(document, "currentField", config.currentField_) && ReadFields(document, config.fieldOfApplication_)) {
      return config;
    }
  }
  kLog.Warn() << "qor.json format is wrong.";
  return std::nullopt;
}

std::string ResourceConfig::FieldOf(const std::string& applicationName) const {
  const auto found = fieldOfApplication_.find(applicationName);
  return found != fieldOfApplication_.end() ? found->second : std::string();
}

}  // namespace qor::common
