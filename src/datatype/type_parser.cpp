// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/type_parser.h"

#include <array>
#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/log/qor_log.h"

namespace qor::datatype {
namespace {

using Json = nlohmann::json;

constexpr QorLog kLog("QorDeserializer");

const Json* Member(const Json& object, const char* key) {
  const auto at = object.find(key);
  return at == object.end() ? nullptr : &*at;
}

bool ReadText(const Json& object, const char* key, std::string& text) {
  const Json* member = Member(object, key);
  if (member == nullptr || !member->is_string()) {
    return false;
  }
  text = member->get_ref<const std::string&>();
  return true;
}

const Json* ReadList(const Json& object, const char* key) {
  const Json* member = Member(object, key);
  return member != nullptr && member->is_array() ? member : nullptr;
}

template <std::unsigned_integral T>
bool ToNumber(std::string_view text, T& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool ReadLength(const Json& object, std::uint32_t& length) {
  std::string text;
  return ReadText(object, "length", text) && ToNumber(text, length);
}

bool IsTrue(const Json& object, const char* key) {
  std::string text;
  return ReadText(object, key, text) && text == "true";
}

bool ParseValue(const Json& json, TypeDefinition& definition) {
  return ReadText(json, "Primitive", definition.baseTypeName);
}

bool ParseFixedString(const Json& json, TypeDefinition& definition) {
  definition.baseTypeName = "fixed_string";
  return ReadLength(json, definition.length);
}

bool ParseArray(const Json& json, TypeDefinition& definition) {
  return ReadText(json, "template", definition.templateTypeName) && ReadLength(json, definition.length);
}

bool ParseVector(const Json& json, TypeDefinition& definition) {
  return ReadText(json, "template", definition.templateTypeName);
}

bool ParseMap(const Json& json, TypeDefinition& definition) {
  return ReadText(json, "key", definition.keyTypeName) && ReadText(json, "value", definition.valueTypeName);
}

bool ParseEnum(const Json& json, TypeDefinition& definition) {
  const Json* labels = ReadList(json, "value");
  if (labels == nullptr || !ReadText(json, "DataType", definition.underlyingTypeName)) {
    return false;
  }
  for (const Json& label : *labels) {
    auto& element = definition.labels.emplace_back();
    if (!label.is_object() || !ReadText(label, "Label", element.label) || !ReadText(label, "Value", element.value)) {
      return false;
    }
  }
  return true;
}

/// No sign, no zero in front, not 0.
bool ReadPadding(const Json& json, StructureDefElement& element) {
  const Json* padding = Member(json, "Padding");
  if (padding == nullptr) {
    return true;
  }
  if (padding->is_string()) {
    const auto& text = padding->get_ref<const std::string&>();
    if (!text.empty() && text.front() != '0' && ToNumber(text, element.padding)) {
      return true;
    }
  }
  kLog.Error() << "Padding of '" << element.name << "' is illegal";
  return false;
}

bool ParseStruct(const Json& json, TypeDefinition& definition) {
  const Json* members = ReadList(json, "Subelements");
  if (members == nullptr) {
    return false;
  }
  for (const Json& member : *members) {
    auto& element = definition.members.emplace_back();
    if (!member.is_object() || !ReadText(member, "Name", element.name) || !ReadText(member, "Type", element.typeName) ||
        !ReadPadding(member, element)) {
      return false;
    }
    element.isConstant = IsTrue(member, "IsConstant");
    element.isOptional = IsTrue(member, "IsOptional");
  }
  definition.isPlane = IsTrue(json, "IsPlane");
  return true;
}

bool ParseVariant(const Json& json, TypeDefinition& definition) {
  const Json* alternatives = ReadList(json, "Subelements");
  if (alternatives == nullptr) {
    return false;
  }
  for (const Json& alternative : *alternatives) {
    if (!alternative.is_object() || !ReadText(alternative, "Type", definition.alternativeTypes.emplace_back())) {
      return false;
    }
  }
  return true;
}

bool ParseTypeRef(const Json& json, TypeDefinition& definition) {
  std::string text;
  return ReadText(json, "Typedef", definition.referencedTypeName) && ReadText(json, "Definition", text);
}

bool ParseError(const Json& json, TypeDefinition& definition) {
  const Json* id = Member(json, "ErrorDomainId");
  const Json* codes = ReadList(json, "ErrorCode");
  if (id == nullptr || !id->is_number_unsigned() || codes == nullptr ||
      !ReadText(json, "ErrorDomainName", definition.errorDomainName)) {
    return false;
  }
  definition.errorDomainId = id->get<std::uint64_t>();
  for (const Json& code : *codes) {
    const Json* number = code.is_object() ? Member(code, "Id") : nullptr;
    auto& [value, name] = definition.errorCodes.emplace_back();
    if (number == nullptr || !number->is_number_integer() || !ReadText(code, "Name", name)) {
      return false;
    }
    const auto wide = number->get<std::int64_t>();
    value = static_cast<std::int32_t>(wide);
    if (value != wide || (wide < 0 && number->is_number_unsigned())) {
      return false;
    }
  }
  return true;
}

bool ParseRawBuffer(const Json& /*json*/, TypeDefinition& /*definition*/) { return true; }

/// In the order of Category.
constexpr auto kParsers = std::to_array<bool (*)(const Json&, TypeDefinition&)>({
    ParseValue,
    ParseFixedString,
    ParseArray,
    ParseVector,
    ParseMap,
    ParseEnum,
    ParseStruct,
    ParseVariant,
    ParseTypeRef,
    ParseError,
    ParseRawBuffer,
});

}  // namespace

bool ParseTypeDefinition(const std::string& text, TypeDefinition& definition) {
  const Json json = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) {
    kLog.Error() << "Data type definition '" << text << "' format error";
    return false;
  }
  definition = {};
  if (!json.is_object() || !ReadText(json, "ShortName", definition.shortName) ||
      !ReadText(json, "Type", definition.categoryName)) {
    kLog.Error() << "Data type definition '" << text << "' is not legal";
    return false;
  }
  const auto category = CategoryByName(definition.categoryName);
  if (!category.has_value()) {
    kLog.Error() << "Data type '" << definition.categoryName << "' is unknown";
    return false;
  }
  definition.category = *category;
  return kParsers.at(static_cast<std::size_t>(*category))(json, definition);
}

}  // namespace qor::datatype
