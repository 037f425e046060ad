// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_reader.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace qor::com {
namespace {

/// "0x1A2B" as a number.
std::optional<std::uint64_t> Hexadecimal(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) {
    return std::nullopt;
  }
  text.remove_prefix(2);
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

DeploymentReader::DeploymentReader(const Json& value, std::string pointer, DeploymentFaults& faults)
    : value_(value), pointer_(std::move(pointer)), faults_(faults) {
  if (!value_.is_object()) {
    faults_.Error(pointer_, "expected an object");
  }
}

const DeploymentReader::Json* DeploymentReader::Find(std::string_view key) {
  if (std::ranges::find(known_, key) == known_.end()) {
    known_.emplace_back(key);
  }
  if (!value_.is_object()) {
    return nullptr;
  }
  const auto entry = value_.find(std::string(key));
  return entry == value_.end() ? nullptr : &*entry;
}

const DeploymentReader::Json* DeploymentReader::Require(std::string_view key) {
  const Json* json = Find(key);
  if (json == nullptr && value_.is_object()) {
    faults_.Error(pointer_, "\"" + std::string(key) + "\" is missing");
  }
  return json;
}

bool DeploymentReader::ReadName(std::string_view key, std::string& value) {
  const Json* json = Require(key);
  if (json == nullptr || !ReadValue(*json, PointerOf(key), value)) {
    return false;
  }
  return !value.empty() || Refuse(PointerOf(key), "expected a text that is not empty");
}

void DeploymentReader::Finish() const {
  if (!value_.is_object()) {
    return;
  }
  for (const auto& [key, value] : value_.items()) {
    if (std::ranges::find(known_, key) != known_.end()) {
      continue;
    }
    std::string expected;
    for (const std::string& name : known_) {
      expected += (expected.empty() ? "" : ", ") + name;
    }
    faults_.Notice(PointerOf(key), "there is no such key; expected one of " + expected);
  }
}

bool DeploymentReader::ReadValue(const Json& json, const std::string& pointer, bool& value) const {
  if (!json.is_boolean()) {
    return Refuse(pointer, "expected true or false");
  }
  value = json.get<bool>();
  return true;
}

bool DeploymentReader::ReadValue(const Json& json, const std::string& pointer, std::string& value) const {
  if (!json.is_string()) {
    return Refuse(pointer, "expected a text");
  }
  value = json.get_ref<const std::string&>();
  return true;
}

bool DeploymentReader::ReadUnsigned(const Json& json, const std::string& pointer, std::uint64_t max,
                                    std::uint64_t& value) const {
  std::optional<std::uint64_t> number;
  if (json.is_number_unsigned()) {
    number = json.get<std::uint64_t>();
  } else if (json.is_string()) {
    number = Hexadecimal(json.get_ref<const std::string&>());
  }
  if (!number || *number > max) {
    return Refuse(pointer, "expected a number from 0 to " + std::to_string(max) + ", or a text such as \"0x1A2B\"");
  }
  value = *number;
  return true;
}

bool DeploymentReader::Refuse(const std::string& pointer, std::string message) const {
  faults_.Error(pointer, std::move(message));
  return false;
}

}  // namespace qor::com
