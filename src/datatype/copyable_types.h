// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_COPYABLE_TYPES_H
#define QOR_DATATYPE_COPYABLE_TYPES_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "src/datatype/type_definition.h"

namespace qor::datatype {

/// Finds a definition by its name; null when there is none.
using DefinitionLookup = std::function<std::shared_ptr<const TypeDefinition>(const std::string&)>;

/// Tells the trivially copyable types: their SOME/IP values have a fixed layout without length fields. Members that are
/// constant count too. A definition that is missing, or nests too deep, is not copyable. Used by one thread.
class CopyableTypes {
 public:
  explicit CopyableTypes(DefinitionLookup lookup) : lookup_(std::move(lookup)) {}

  bool Contains(const std::string& typeName) {
    isTooDeep_ = false;
    return Contains(typeName, 0);
  }
  bool Contains(const TypeDefinition& definition) {
    isTooDeep_ = false;
    return Contains(definition, 0);
  }

 private:
  bool Contains(const std::string& typeName, std::uint32_t depth);
  bool Contains(const TypeDefinition& definition, std::uint32_t depth);

  const DefinitionLookup lookup_;
  std::map<std::string, bool> known_;
  bool isTooDeep_ = false;  ///< the look that goes on has reached the limit
};

}  // namespace qor::datatype

#endif
