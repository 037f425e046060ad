// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_TO_JSON_H
#define QOR_COMMON_RECORDS_TO_JSON_H

#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include "src/common/records/binding.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

template <class T>
nlohmann::ordered_json ToJson(const T& value);

namespace internal {

class JsonVisitor {
 public:
  template <class T>
  void operator()(const char* name, const T& value) {
    object_[name] = ToJson(value);
  }
  nlohmann::ordered_json Take() { return std::move(object_); }

 private:
  nlohmann::ordered_json object_ = nlohmann::ordered_json::object();
};

template <class T>
nlohmann::ordered_json ListToJson(const std::vector<T>& list) {
  auto array = nlohmann::ordered_json::array();
  for (const T& element : list) {
    array.push_back(ToJson(element));
  }
  return array;
}

}  // namespace internal

/// A record as JSON: the field names as keys in declared order, enumerations as numbers, transports as their texts.
template <class T>
nlohmann::ordered_json ToJson(const T& value) {
  if constexpr (Record<T>) {
    internal::JsonVisitor visitor;
    T::Visit(visitor, value);
    return visitor.Take();
  } else if constexpr (std::is_same_v<T, TransportQos>) {
    return std::string(TransportQosText(value));
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<std::underlying_type_t<T>>(value);
  } else if constexpr (requires { typename T::mapped_type; }) {
    auto object = nlohmann::ordered_json::object();
    for (const auto& [key, mapped] : value) {
      object[std::to_string(static_cast<std::uint64_t>(key))] = ToJson(mapped);
    }
    return object;
  } else if constexpr (requires { typename T::value_type; } && !std::is_convertible_v<T, std::string>) {
    return internal::ListToJson(value);
  } else {
    return value;
  }
}

}  // namespace qor::maintaind

#endif
