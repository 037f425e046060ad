// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/type_tree.h"

#include <map>
#include <sstream>

#include "src/datatype/qor_datatype_manager.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kMaxDepth = 32;
/// The definitions of a type and of everything that it refers to, by their names.
std::map<std::string, std::string> Definitions(const ShowReturnValue& type) {
  std::map<std::string, std::string> definitions;
  const Json list = ParseTypeJson(type.typeListJson);
  for (const Json& definition : list.is_array() ? list : Json::array()) {
    if (const auto name = definition.find("ShortName"); name != definition.end() && name->is_string()) {
      definitions.emplace(*name, definition.dump(-1, ' ', true, Json::error_handler_t::replace));
    }
  }
  definitions[type.dataTypeName] = type.topLevelTypeJson;
  return definitions;
}

}  // namespace

Json ParseTypeJson(const std::string& text) {
  const auto isKept = [](int depth, Json::parse_event_t /*event*/, Json& /*value*/) { return depth < kMaxDepth; };
  Json definition = Json::parse(text, isKept, /*allow_exceptions=*/false);
  return definition.is_discarded() ? Json() : definition;
}

std::string TypeTree(const ShowReturnValue& type, std::size_t indent) {
  QorDatatypeManager types;
  types.SetDataTypeInfo(Definitions(type));
  std::string tree;
  types.GetShowMessageTypeResult(type.dataTypeName, tree);
  std::string text;
  for (std::istringstream lines(tree); std::getline(lines, tree);) {
    text += std::string(indent, ' ') + Printable(tree) + "\n";
  }
  return text;
}

}  // namespace qor::tools
