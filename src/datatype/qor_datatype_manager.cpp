// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/qor_datatype_manager.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "src/datatype/definition_query.h"
#include "src/datatype/type_names.h"

namespace qor {
namespace {

using datatype::Category;

constexpr std::uint32_t kMaxDepth = 32;

/// Without what is nested deeper than any definition.
nlohmann::json Parsed(const std::string& text) {
  const auto isKept = [](int depth, nlohmann::json::parse_event_t /*event*/, nlohmann::json& /*value*/) {
    return depth < static_cast<int>(kMaxDepth);
  };
  return nlohmann::json::parse(text, isKept, /*exceptions=*/false);
}

bool IsDefinition(const nlohmann::json& document) { return !document.is_discarded() && document.is_object(); }

/// The elements of a list that are objects.
std::vector<nlohmann::json> Objects(const nlohmann::json& document, const char* key) {
  std::vector<nlohmann::json> objects;
  if (const auto at = document.find(key); at != document.end() && at->is_array()) {
    for (const auto& element : *at) {
      if (element.is_object()) {
        objects.push_back(element);
      }
    }
  }
  return objects;
}

std::string Line(const DataTypeReturnValue& row) {
  std::string line = row.name;
  if (!row.type.empty()) {
    line += (line.empty() ? "" : ": ") + row.type;
  }
  if (!row.primitive.empty() && row.primitive != row.type) {
    line += (line.empty() ? "" : ": ") + row.primitive;
  }
  if (!row.value.empty()) {
    line += " = " + row.value;
  }
  line += row.isConstant == "true" ? ", constant" : "";
  return line + (row.isOptional == "true" ? ", optional" : "");
}

}  // namespace

QorDatatypeManager& QorDatatypeManager::GetInstance() {
  static auto* const manager = new QorDatatypeManager;  // lives until the process exits
  return *manager;
}

void QorDatatypeManager::SetDataTypeInfo(std::map<std::string, std::string> definitions) {
  const std::lock_guard lock(mutex_);
  definitions_ = std::move(definitions);
  log_.Info() << "QorDatatypeManager jsonList number is " << definitions_.size();
}

std::map<std::string, std::string> QorDatatypeManager::GetDataTypeJsonList() const {
  const std::lock_guard lock(mutex_);
  return definitions_;
}

std::string QorDatatypeManager::GetJsonString(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  const auto at = definitions_.find(name);
  if (at == definitions_.end()) {
    log_.Warn() << "Can't find datatype " << name << " jsonstring.";
    return {};
  }
  return at->second;
}

bool QorDatatypeManager::QueryMessageDataType(const std::string& name) {
  if (IsStored(name)) {
    return true;
  }
  std::string found = datatype::QueryDefinition(name);
  const std::lock_guard lock(mutex_);
  if (!found.empty()) {
    definitions_.insert_or_assign(name, std::move(found));
    return true;
  }
  log_.Warn() << "Get empty datatype info of " << name << " from Maintaind.";
  if (definitions_.count(name) != 0) {
    log_.Warn() << "Datatype " << name << " jsonstring is empty.";
  }
  return false;
}

std::string QorDatatypeManager::GetDataTypeInfo(const std::string& name) const { return MessageName(name, 0); }

std::string QorDatatypeManager::MessageName(const std::string& name, std::uint32_t depth) const {
  if (datatype::PrimitiveByName(datatype::WithoutStd(name)).has_value()) {
    return name;
  }
  const Json document = Parsed(GetJsonString(name));
  if (!IsDefinition(document) || depth == kMaxDepth) {
    log_.Error() << "Parse datatype json for method failed.";
    return {};
  }
  switch (datatype::CategoryByName(QueryEventMsgElementValue("Type", document)).value_or(Category::kRawBuffer)) {
    case Category::kValue:
      return QueryEventMsgElementValue("Primitive", document);
    case Category::kFixedString:
      return "fixed_string";
    case Category::kTypeReference:
      return MessageName(QueryEventMsgElementValue("Typedef", document), depth + 1);
    default:
      return QueryEventMsgElementValue("ShortName", document);
  }
}

bool QorDatatypeManager::GetShowDataTypeResult(const std::string& name, Rows& rows) const {
  const std::string text = GetJsonString(name);
  if (text.empty()) {
    return false;
  }
  rows = ParseJsonToVector(text);
  return !rows.empty();
}

QorDatatypeManager::Rows QorDatatypeManager::ParseJsonToVector(const std::string& jsonText) const {
  const Json document = Parsed(jsonText);
  if (!IsDefinition(document)) {
    log_.Error() << "Parse jsonfile failed. File content:" << jsonText;
    return {};
  }
  return ParseEventMsgForMultDataType(document, 0);
}

std::string QorDatatypeManager::QueryEventMsgElementValue(const std::string& key, const Json& document) {
  const auto at = document.is_object() ? document.find(key) : document.end();
  return at != document.end() && at->is_string() ? at->get<std::string>() : std::string();
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForMultDataType(const Json& document,
                                                                          std::uint32_t depth) const {
  const auto category = datatype::CategoryByName(QueryEventMsgElementValue("Type", document));
  if (!category.has_value()) {
    return {};
  }
  switch (*category) {
    case Category::kValue:
      return ParseEventMsgForBaseType(document);
    case Category::kFixedString:
      return ParseEventMsgForFixedString(document);
    case Category::kArray:
      return ParseEventMsgForArray(document);
    case Category::kVector:
      return ParseEventMsgForVector(document);
    case Category::kMap:
      return ParseEventMsgForMap(document);
    case Category::kEnumeration:
      return ParseEventMsgEnumeration(document);
    case Category::kStructure:
    case Category::kVariant:
      return ParseEventMsgForStructAndVariant(document);
    case Category::kTypeReference:
      return ParseEventMsgForTypeReference(document, depth);
    case Category::kError:
    case Category::kRawBuffer:
      break;
  }
  return {DataTypeReturnValue{"", QueryEventMsgElementValue("Type", document), "", "", "", ""}};
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForBaseType(const Json& document) {
  return {DataTypeReturnValue{"", "", "", "", "", QueryEventMsgElementValue("Primitive", document)}};
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForFixedString(const Json& document) {
  return {DataTypeReturnValue{"", "", "", QueryEventMsgElementValue("length", document), "", "fixed_string"}};
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForVector(const Json& document) {
  return {DataTypeReturnValue{"template", QueryEventMsgElementValue("template", document), "", "", "", ""}};
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForArray(const Json& document) {
  Rows rows = ParseEventMsgForVector(document);
  rows.front().value = QueryEventMsgElementValue("length", document);
  return rows;
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForMap(const Json& document) {
  Rows rows;
  for (const char* part : {"key", "value"}) {
    rows.push_back({part, QueryEventMsgElementValue(part, document), "", "", "", ""});
  }
  return rows;
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgEnumeration(const Json& document) {
  Rows rows = {DataTypeReturnValue{"DataType", QueryEventMsgElementValue("DataType", document), "", "", "", ""}};
  for (const Json& label : Objects(document, "value")) {
    rows.push_back(
        {QueryEventMsgElementValue("Label", label), "", "", QueryEventMsgElementValue("Value", label), "", ""});
  }
  return rows;
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForStructAndVariant(const Json& document) {
  Rows rows;
  for (const Json& element : Objects(document, "Subelements")) {
    const std::string type = QueryEventMsgElementValue("Type", element);
    const bool isPrimitive = datatype::PrimitiveByName(datatype::WithoutStd(type)).has_value();
    rows.push_back({QueryEventMsgElementValue("Name", element), type, QueryEventMsgElementValue("IsConstant", element),
                    QueryEventMsgElementValue("Value", element), QueryEventMsgElementValue("IsOptional", element),
                    isPrimitive ? type : std::string()});
  }
  return rows;
}

QorDatatypeManager::Rows QorDatatypeManager::ParseEventMsgForTypeReference(const Json& document,
                                                                           std::uint32_t depth) const {
  const std::string target = QueryEventMsgElementValue("Typedef", document);
  if (datatype::PrimitiveByName(datatype::WithoutStd(target)).has_value()) {
    return {DataTypeReturnValue{"", "", "", "", "", target}};
  }
  const std::string text = GetJsonString(target);
  const Json referenced = Parsed(text);
  if (!IsDefinition(referenced) || depth == kMaxDepth) {
    log_.Error() << "Parse jsonfile failed for TypeReference. File content:" << text;
    return {};
  }
  return ParseEventMsgForMultDataType(referenced, depth + 1);
}

bool QorDatatypeManager::IsStored(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  const auto at = definitions_.find(name);
  return at != definitions_.end() && !at->second.empty();
}

bool QorDatatypeManager::GetShowMessageTypeResult(const std::string& name, std::string& text) const {
  Rows rows;
  if (!GetShowDataTypeResult(name, rows)) {
    return false;
  }
  std::set<std::string> shown;
  text.clear();
  AppendTree(name, 0, shown, text);
  return true;
}

void QorDatatypeManager::AppendTree(const std::string& name, std::uint32_t depth, std::set<std::string>& shown,
                                    std::string& text) const {
  Rows rows;
  if (depth >= kMaxDepth || !IsStored(name) || !shown.insert(name).second || !GetShowDataTypeResult(name, rows)) {
    return;
  }
  for (const DataTypeReturnValue& row : rows) {
    text.append(std::size_t{2} * depth, ' ');
    text += Line(row) + "\n";
    if (!row.type.empty() && !datatype::IsReservedName(datatype::WithoutStd(row.type))) {
      AppendTree(row.type, depth + 1, shown, text);
    }
  }
}

}  // namespace qor
