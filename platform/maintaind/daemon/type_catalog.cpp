// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/type_catalog.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

namespace qor::maintaind {
namespace {

using nlohmann::json;

/// The members of a definition that name another type. In an enumeration "value" is the list of its labels instead.
constexpr std::array kReferenceMembers{"template", "key", "value", "Typedef", "DataType"};

void AppendText(const json& object, const char* member, std::vector<std::string>& names) {
  if (const auto found = object.find(member); found != object.end() && found->is_string()) {
    names.push_back(found->get<std::string>());
  }
}

/// The names of all types that a definition mentions, primitives among them; empty for what is no definition.
std::vector<std::string> NamedTypes(const std::string& definition) {
  std::vector<std::string> names;
  const json parsed = json::parse(definition, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object()) {
    return names;
  }
  for (const char* member : kReferenceMembers) {
    AppendText(parsed, member, names);
  }
  if (const auto elements = parsed.find("Subelements"); elements != parsed.end() && elements->is_array()) {
    for (const json& element : *elements) {
      if (element.is_object()) {
        AppendText(element, "Type", names);
      }
    }
  }
  return names;
}

}  // namespace

TypeCatalog::TypeCatalog(std::map<std::string, std::string> definitions) {
  for (auto& [name, definition] : definitions) {
    types_[name].definition = std::move(definition);
  }
  for (auto& [name, type] : types_) {
    std::set<std::string> seen;
    for (std::string& reference : NamedTypes(type.definition)) {
      if (types_.contains(reference) && seen.insert(reference).second) {
        type.references.push_back(std::move(reference));
      }
    }
  }
}

const std::string& TypeCatalog::Definition(const std::string& name) const {
  static const std::string kNone;
  const auto found = types_.find(name);
  return found != types_.end() ? found->second.definition : kNone;
}

std::vector<DataTypeInfo> TypeCatalog::All() const {
  std::vector<DataTypeInfo> all;
  for (const auto& [name, type] : types_) {
    all.push_back({name, type.definition});
  }
  return all;
}

std::vector<DataTypeRef> TypeCatalog::References() const {
  std::vector<DataTypeRef> references;
  for (const auto& [name, type] : types_) {
    references.push_back({name, type.references});
  }
  return references;
}

std::string TypeCatalog::ReferencedDefinitions(const std::vector<std::string>& names) const {
  std::set<std::string> seen(names.begin(), names.end());
  std::vector<std::string> toVisit = names;
  std::string array;
  while (!toVisit.empty()) {
    const auto type = types_.find(toVisit.back());
    toVisit.pop_back();
    if (type == types_.end()) {
      continue;
    }
    for (const std::string& reference : type->second.references) {
      if (seen.insert(reference).second) {
        array += (array.empty() ? "" : ",") + types_.at(reference).definition;
        toVisit.push_back(reference);
      }
    }
  }
  return "[" + array + "]";
}

}  // namespace qor::maintaind
