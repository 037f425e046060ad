// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RESOURCE_CONFIG_H
#define QOR_COMMON_RESOURCE_CONFIG_H

#include <map>
#include <optional>
#include <string>

namespace qor::common {

/// The resource configuration of a host, a JSON file; every key may be left out:
///
///     {
///       "fileOwner": "measure:engineers",     account for files and resources that root makes; null: none
///       "currentField": "cockpit",            deployment field in which this host's tools run
///       "fields": {"cockpit": ["/hmi", "/radio"], "drive": ["/planner"]}
///     }
///
/// An application that no field names belongs to the field "", which is also the current field by default: without a
/// file all applications are in one field. A plain value.
class ResourceConfig {
 public:
  /// QOR_RESOURCE_CONFIG, else /etc/qor/qor.json.
  static std::string DefaultPath();
  /// Reads the file. One that does not exist gives the defaults; so does one that cannot be read or has another form,
  /// with a line in the log.
  static ResourceConfig Load(const std::string& path = DefaultPath());
  /// Nothing, with a line in the log, when `text` has another form.
  static std::optional<ResourceConfig> ParseResourceJson(const std::string& text);

  /// "user:group"; empty: none.
  const std::string& FileOwner() const { return fileOwner_; }
  const std::string& CurrentField() const { return currentField_; }
  std::string FieldOf(const std::string& applicationName) const;

 private:
  std::string fileOwner_;
  std::string currentField_;
  std::map<std::string, std::string> fieldOfApplication_;
};

}  // namespace qor::common

#endif
