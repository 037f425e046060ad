// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recorded_definitions.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>
#include <vector>

#include "src/datatype/type_parser.h"
#include "src/qorbag/recorded_endpoint.h"

namespace qor::qorbag {
namespace {

using Json = nlohmann::json;

std::string NameOf(const Json& definition) {
  const auto name = definition.find("ShortName");
  return name != definition.end() && name->is_string() ? name->get<std::string>() : "";
}

/// The names of the types that a type is made of directly.
std::vector<std::string> PartsOf(const datatype::TypeDefinition& type) {
  std::vector<std::string> parts = type.alternativeTypes;
  for (const datatype::StructureDefElement& member : type.members) {
    parts.push_back(member.typeName);
  }
  for (const std::string& part : {type.templateTypeName, type.keyTypeName, type.valueTypeName, type.underlyingTypeName,
                                  type.referencedTypeName, type.baseTypeName}) {
    parts.push_back(part);
  }
  return parts;
}

}  // namespace

bool RecordedDefinitions::Add(const EventDescription& event) {
  fault_.clear();
  if (event.msgDefinition.empty()) {
    return true;
  }
  const Json definitions = Json::parse(event.msgDefinition, nullptr, /*allow_exceptions=*/false);
  if (definitions.is_object()) {
    return AddAll(Json::array({definitions}), event.dataType);
  }
  if (definitions.is_array()) {
    return AddAll(definitions, event.dataType);
  }
  fault_ = "the definition of the type '" + event.dataType + "' is no JSON";
  return false;
}

bool RecordedDefinitions::AddAll(const Json& definitions, const std::string& dataType) {
  datatype::DefinitionTexts added;
  for (const Json& definition : definitions) {
    if (!definition.is_object()) {
      fault_ = "the definition of the type '" + dataType + "' is no JSON object";
      return false;
    }
    const std::string name = NameOf(definition);
    const bool isTop = &definition == &definitions.front();
    if ((!name.empty() && !AddOne(name, definition, added)) ||
        (isTop && name != dataType && !AddOne(dataType, definition, added))) {
      return false;
    }
  }
  texts_.merge(added);
  return true;
}

bool RecordedDefinitions::AddOne(const std::string& name, const Json& definition, datatype::DefinitionTexts& added) {
  const auto known = texts_.find(name);
  if (known != texts_.end() && Json::parse(known->second, nullptr, /*allow_exceptions=*/false) != definition) {
    fault_ = "the type '" + name + "' has another definition than the same type before";
    return false;
  }
  added.try_emplace(name, definition.dump(-1, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace));
  return true;
}

std::string DefinitionsOf(const std::string& dataType, const datatype::DefinitionTexts& definitions) {
  std::vector<std::string> names{dataType};
  std::string joined;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto found = definitions.find(names[i]);
    datatype::TypeDefinition type;
    if (found == definitions.end() || !datatype::ParseTypeDefinition(found->second, type)) {
      if (i == 0) {
        return "";
      }
      continue;
    }
    joined += (i == 0 ? "" : ",") + found->second;
    for (const std::string& part : PartsOf(type)) {
      if (definitions.contains(part) && std::ranges::find(names, part) == names.end()) {
        names.push_back(part);
      }
    }
  }
  return names.size() == 1 ? joined : "[" + joined + "]";
}

maintaind::EventRegisterInfo RegistrationOf(const EventDescription& event) {
  maintaind::EventRegisterInfo registration;
  registration.eventName = event.eventName;
  registration.dataTypeName = event.dataType;
  RestoreEndpointSettings(registration.bindings.emplace(event.driverType, event.eventInfo).first->second.dds);
  registration.serializeConfig.type = event.serializationType;
  registration.serializeConfig.serializedConfig = event.serializationConfig;
  return registration;
}

}  // namespace qor::qorbag
