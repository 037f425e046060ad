// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_types.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <functional>

namespace qor::com {
namespace {

using Json = DeploymentReader::Json;

constexpr auto kIntegers = std::to_array<std::string_view>({
    "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64",                  //
    "int8_t", "int16_t", "int32_t", "int64_t", "uint8_t", "uint16_t", "uint32_t", "uint64_t",  //
});
constexpr auto kOtherPrimitives =
    std::to_array<std::string_view>({"bool", "string", "float", "double", "float32", "float64"});

std::string_view WithoutStd(std::string_view name) {
  constexpr std::string_view kStd = "std::";
  return name.starts_with(kStd) ? name.substr(kStd.size()) : name;
}

template <std::integral T>
bool IsDecimal(std::string_view text, T min) {
  T value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return !text.empty() && error == std::errc() && end == text.data() + text.size() && value >= min;
}

/// A definition that is being checked.
class TypeCheck {
 public:
  TypeCheck(DeploymentReader& reader, std::vector<TypeMention>& mentions) : reader_(reader), mentions_(mentions) {}

  void Value() {
    std::string primitive;
    if (reader_.ReadName("Primitive", primitive) && !IsPrimitiveType(primitive)) {
      Refuse("Primitive", "expected the name of a primitive type, such as \"uint32\"");
    }
  }
  void FixedString() { Length(); }
  void Array() {
    Mention(reader_, "template");
    Length();
  }
  void Vector() { Mention(reader_, "template"); }
  void Map() {
    Mention(reader_, "key");
    Mention(reader_, "value");
  }
  void Enumeration() {
    std::string underlying;
    if (reader_.ReadName("DataType", underlying) &&
        std::ranges::find(kIntegers, WithoutStd(underlying)) == kIntegers.end()) {
      Refuse("DataType", "expected the name of an integer type, such as \"uint8\"");
    }
    ForEach("value", [](DeploymentReader& label) {
      std::string text;
      label.ReadName("Label", text);
      if (label.ReadName("Value", text) && !IsDecimal<std::int64_t>(text, INT64_MIN) &&
          !IsDecimal<std::uint64_t>(text, 0)) {
        label.Faults().Error(label.PointerOf("Value"), "expected an integer in a text, such as \"3\"");
      }
    });
  }
  void Structure() {
    std::string text;
    reader_.Read("IsPlane", text);
    ForEach("Subelements", [this](DeploymentReader& element) {
      std::string name;
      element.ReadName("Name", name);
      Element(element);
    });
  }
  void Variant() {
    ForEach("Subelements", [this](DeploymentReader& element) {
      std::string name;
      element.Read("Name", name);
      Element(element);
    });
  }
  void TypeReference() {
    std::string definition;
    Mention(reader_, "Typedef");
    if (reader_.Require("Definition") != nullptr) {
      reader_.Read("Definition", definition);
    }
  }
  void ErrorDomain() {
    std::uint64_t id = 0;
    std::string name;
    if (reader_.Require("ErrorDomainId") != nullptr) {
      reader_.Read("ErrorDomainId", id);
    }
    reader_.ReadName("ErrorDomainName", name);
    ForEach("ErrorCode", [](DeploymentReader& code) {
      std::string text;
      code.ReadName("Name", text);
      if (const Json* number = code.Require("Id"); number != nullptr && !IsInt32(*number)) {
        code.Faults().Error(code.PointerOf("Id"), "expected an integer of 32 bits");
      }
    });
  }
  void RawBuffer() {}

 private:
  static bool IsInt32(const Json& json) {
    return json.is_number_integer() &&
           (json.is_number_unsigned() ? json.get<std::uint64_t>() <= INT32_MAX : json.get<std::int64_t>() >= INT32_MIN);
  }
  void Refuse(std::string_view key, std::string message) {
    reader_.Faults().Error(reader_.PointerOf(key), std::move(message));
  }
  void Mention(DeploymentReader& reader, std::string_view key) {
    std::string name;
    if (reader.ReadName(key, name)) {
      mentions_.push_back(TypeMention{reader.PointerOf(key), name});
    }
  }
  void Length() {
    std::string length;
    if (reader_.ReadName("length", length) && !IsDecimal<std::uint32_t>(length, 0)) {
      Refuse("length", "expected a decimal number in a text, such as \"16\"");
    }
  }
  void Element(DeploymentReader& element) {
    std::string text;
    Mention(element, "Type");
    for (const char* key : {"IsConstant", "IsOptional", "Value"}) {
      element.Read(key, text);
    }
    if (element.Read("Padding", text) && (text.starts_with('0') || !IsDecimal<std::uint16_t>(text, 1))) {
      element.Faults().Error(element.PointerOf("Padding"),
                             "expected a decimal number from 1 to 65535 in a text, such as \"4\"");
    }
  }
  void ForEach(std::string_view key, const std::function<void(DeploymentReader&)>& check) {
    const Json* list = reader_.Require(key);
    if (list == nullptr) {
      return;
    }
    if (!list->is_array()) {
      Refuse(key, "expected a list");
      return;
    }
    for (std::size_t i = 0; i < list->size(); ++i) {
      DeploymentReader element((*list)[i], PointerTo(reader_.PointerOf(key), i), reader_.Faults());
      check(element);
      element.Finish();
    }
  }

  DeploymentReader& reader_;
  std::vector<TypeMention>& mentions_;
};

constexpr auto kCategories = std::to_array<std::pair<std::string_view, void (TypeCheck::*)()>>({
    {"VALUE", &TypeCheck::Value},
    {"STRUCTURE", &TypeCheck::Structure},
    {"ENUMERATION", &TypeCheck::Enumeration},
    {"VECTOR", &TypeCheck::Vector},
    {"ARRAY", &TypeCheck::Array},
    {"ASSOCIATIVE_MAP", &TypeCheck::Map},
    {"FIXED_STRING", &TypeCheck::FixedString},
    {"VARIANT", &TypeCheck::Variant},
    {"TYPE_REFERENCE", &TypeCheck::TypeReference},
    {"ERROR", &TypeCheck::ErrorDomain},
    {"RAWBUFFER", &TypeCheck::RawBuffer},
});

/// Names that never stand for a defined type.
bool IsReserved(std::string_view name) {
  const auto isCategory = [name](const auto& category) { return category.first == name && name != "ERROR"; };
  return IsPrimitiveType(name) || std::ranges::any_of(kCategories, isCategory);
}

void CheckCategory(DeploymentReader& reader, std::vector<TypeMention>& mentions) {
  std::string category;
  if (!reader.ReadName("Type", category)) {
    return;
  }
  std::string expected;
  for (const auto& [name, check] : kCategories) {
    if (name == category) {
      TypeCheck typeCheck(reader, mentions);
      (typeCheck.*check)();
      reader.Finish();
      return;
    }
    expected += (expected.empty() ? "\"" : ", \"") + std::string(name) + "\"";
  }
  reader.Faults().Error(reader.PointerOf("Type"), "expected one of " + expected);
}

}  // namespace

bool IsPrimitiveType(std::string_view name) {
  const std::string_view bare = WithoutStd(name);
  return std::ranges::find(kIntegers, bare) != kIntegers.end() ||
         std::ranges::find(kOtherPrimitives, bare) != kOtherPrimitives.end();
}

std::string CheckTypeDefinition(const Json& definition, const std::string& pointer, DeploymentFaults& faults,
                                std::vector<TypeMention>& mentions) {
  const std::size_t before = faults.ErrorCount();
  std::string name;
  std::vector<TypeMention> found;
  DeploymentReader reader(definition, pointer, faults);
  if (reader.ReadName("ShortName", name) && IsReserved(name)) {
    faults.Error(reader.PointerOf("ShortName"), "\"" + name + "\" is a reserved name");
  }
  CheckCategory(reader, found);
  if (faults.ErrorCount() != before) {
    return {};
  }
  mentions.insert(mentions.end(), found.begin(), found.end());
  return name;
}

}  // namespace qor::com
