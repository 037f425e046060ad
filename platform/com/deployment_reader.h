// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_READER_H
#define QOR_COM_DEPLOYMENT_READER_H

#include <concepts>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/com/deployment_faults.h"
#include "platform/com/deployment_names.h"
#include "src/common/records/visit.h"

namespace qor::com {

/// Reads one JSON object of a deployment file. What has the wrong type or lies out of range becomes an error; what
/// nobody asked for becomes a notice, in Finish. Lives on the stack of the function that reads the object.
class DeploymentReader {
 public:
  using Json = nlohmann::ordered_json;

  /// `value` must outlive the reader. No object: an error, and everything is absent.
  DeploymentReader(const Json& value, std::string pointer, DeploymentFaults& faults);

  const std::string& Pointer() const { return pointer_; }
  std::string PointerOf(std::string_view key) const { return PointerTo(pointer_, key); }
  DeploymentFaults& Faults() const { return faults_; }

  /// The value of an optional key; null when it is absent.
  const Json* Find(std::string_view key);
  /// The value of a key that must be there; null, and an error, when it is absent.
  const Json* Require(std::string_view key);

  /// Reads an optional value; an absent one leaves `value` as it is. True when it was there and good.
  template <class T>
  bool Read(std::string_view key, T& value) {
    const Json* json = Find(key);
    return json != nullptr && ReadValue(*json, PointerOf(key), value);
  }
  /// Reads a text that must be there and may not be empty.
  bool ReadName(std::string_view key, std::string& value);

  /// Reads every field of a record that a file may set, each optional, under its deployment key.
  template <maintaind::Record T>
  void ReadFields(T& record) {
    T::Visit(*this, record);
  }
  template <class T>
  void operator()(const char* fieldName, T& field) {
    if (const std::string key = DeploymentKey(fieldName); !key.empty()) {
      Read(key, field);
    }
  }

  /// Reports the keys that nobody asked for. To be called when everything was read.
  void Finish() const;

 private:
  template <class T>
  bool ReadValue(const Json& json, const std::string& pointer, T& value) const {
    if constexpr (maintaind::Record<T>) {
      return ReadRecord(json, pointer, value);
    } else if constexpr (std::is_enum_v<T>) {
      return ReadChoice(json, pointer, value);
    } else {
      static_assert(std::unsigned_integral<T>, "a deployment file holds objects, texts, numbers, flags and lists");
      std::uint64_t number = 0;
      if (!ReadUnsigned(json, pointer, std::numeric_limits<T>::max(), number)) {
        return false;
      }
      value = static_cast<T>(number);
      return true;
    }
  }
  bool ReadValue(const Json& json, const std::string& pointer, bool& value) const;
  bool ReadValue(const Json& json, const std::string& pointer, std::string& value) const;
  template <class T>
  bool ReadValue(const Json& json, const std::string& pointer, std::vector<T>& value) const {
    if (!json.is_array()) {
      return Refuse(pointer, "expected a list");
    }
    std::vector<T> list(json.size());
    bool isGood = true;
    for (std::size_t i = 0; i < list.size(); ++i) {
      isGood = ReadValue(json[i], PointerTo(pointer, i), list[i]) && isGood;
    }
    value = std::move(list);
    return isGood;
  }
  template <class T>
  bool ReadRecord(const Json& json, const std::string& pointer, T& record) const {
    const std::size_t before = faults_.ErrorCount();
    DeploymentReader reader(json, pointer, faults_);
    reader.ReadFields(record);
    reader.Finish();
    return faults_.ErrorCount() == before;
  }
  template <class E>
  bool ReadChoice(const Json& json, const std::string& pointer, E& value) const {
    std::string expected;
    for (const auto& [text, choice] : kDeploymentTexts<E>) {
      if (json == text) {
        value = choice;
        return true;
      }
      expected += (expected.empty() ? "\"" : ", \"") + std::string(text) + "\"";
    }
    return Refuse(pointer, "expected one of " + expected);
  }
  bool ReadUnsigned(const Json& json, const std::string& pointer, std::uint64_t max, std::uint64_t& value) const;
  bool Refuse(const std::string& pointer, std::string message) const;

  const Json& value_;
  std::string pointer_;
  DeploymentFaults& faults_;
  std::vector<std::string> known_;
};

}  // namespace qor::com

#endif
