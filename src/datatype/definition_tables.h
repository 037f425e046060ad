// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_DEFINITION_TABLES_H
#define QOR_DATATYPE_DEFINITION_TABLES_H

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "src/datatype/type_definition.h"

namespace qor::datatype {

/// Type names and their definitions as JSON texts.
using DefinitionTexts = std::map<std::string, std::string>;
/// Adds every definition that can be had to the map; false when none could be asked for.
using QueryFunction = std::function<bool(DefinitionTexts&)>;

/// The definitions that were looked up so far, as texts and parsed. Nothing is ever removed. Any thread.
class DefinitionTables {
 public:
  /// Those that all deserializers of the process share.
  static DefinitionTables& Process();

  DefinitionTables() = default;
  DefinitionTables(const DefinitionTables&) = delete;
  DefinitionTables& operator=(const DefinitionTables&) = delete;

  /// The definition of a name. Calls `query` when there is no text of that name yet; threads that miss at the same time
  /// wait for one query. Null, with a line in the log, when there is none, or none that can be parsed: the next look-up
  /// tries again. `query` must not look definitions up.
  std::shared_ptr<const TypeDefinition> Find(const std::string& name, const QueryFunction& query);
  /// Whether there is a text of that name, of whatever worth; asks as Find does, but nothing is logged as an error.
  bool Has(const std::string& name, const QueryFunction& query);

 private:
  /// The entry of one name.
  using Definitions = std::shared_ptr<const TypeDefinition>;

  Definitions FindParsed(const std::string& name);
  bool FindText(const std::string& name, std::string& text);
  /// Why there is no text; empty when there is.
  std::string GetText(const std::string& name, const QueryFunction& query, std::string& text);

  std::mutex queryMutex_;  ///< held during a query; taken before mutex_
  std::mutex mutex_;       ///< guards both tables
  DefinitionTexts texts_;
  std::map<std::string, Definitions> parsed_;  // shared with the callers, who keep what they found
};

}  // namespace qor::datatype

#endif
