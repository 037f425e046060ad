// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/definition_tables.h"

#include <utility>

#include "platform/log/qor_log.h"
#include "src/datatype/type_parser.h"

namespace qor::datatype {
namespace {

constexpr QorLog kLog("QorDeserializer");

}  // namespace

DefinitionTables& DefinitionTables::Process() {
  static auto* const tables = new DefinitionTables;  // receive threads may outlive main
  return *tables;
}

std::shared_ptr<const TypeDefinition> DefinitionTables::Find(const std::string& name, const QueryFunction& query) {
  if (auto known = FindParsed(name)) {
    return known;
  }
  std::string text;
  if (const std::string reason = GetText(name, query, text); !reason.empty()) {
    kLog.Error() << reason;
    return nullptr;
  }
  kLog.Verbose() << "Reading type definition '" << name << "': " << text;
  auto definition = std::make_shared<TypeDefinition>();
  if (!ParseTypeDefinition(text, *definition)) {
    kLog.Error() << "Data type '" << name << "' parse failed";
    return nullptr;
  }
  const std::lock_guard lock(mutex_);
  return parsed_.emplace(name, std::move(definition)).first->second;
}

bool DefinitionTables::Has(const std::string& name, const QueryFunction& query) {
  std::string text;
  return GetText(name, query, text).empty();
}

DefinitionTables::Definitions DefinitionTables::FindParsed(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto at = parsed_.find(name);
  return at == parsed_.end() ? nullptr : at->second;
}

bool DefinitionTables::FindText(const std::string& name, std::string& text) {
  const std::lock_guard lock(mutex_);
  const auto at = texts_.find(name);
  if (at == texts_.end()) {
    return false;
  }
  text = at->second;
  return true;
}

std::string DefinitionTables::GetText(const std::string& name, const QueryFunction& query, std::string& text) {
  if (FindText(name, text)) {
    return "";
  }
  const std::lock_guard queryLock(queryMutex_);
  if (FindText(name, text)) {  // another thread's query brought it
    return "";
  }
  kLog.Info() << "Cannot get any avaliable type definition, start query[dataType=" << name << "]";
  DefinitionTexts found;
  if (query == nullptr || !query(found)) {
    return "Failed to query all datatype definition from maintaind.";
  }
  {
    const std::lock_guard lock(mutex_);
    for (auto& [foundName, foundText] : found) {
      // What is in use stays; a text that could not be parsed may have been mended.
      if (parsed_.count(foundName) == 0) {
        texts_.insert_or_assign(foundName, std::move(foundText));
      }
    }
  }
  return FindText(name, text) ? "" : "Cannot get any avaliable type definition of '" + name + "'";
}

}  // namespace qor::datatype
