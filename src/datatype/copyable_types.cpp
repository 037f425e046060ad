// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/copyable_types.h"

#include <algorithm>

#include "src/datatype/plan.h"
#include "src/datatype/type_names.h"

namespace qor::datatype {

bool CopyableTypes::Contains(const std::string& typeName, std::uint32_t depth) {
  const std::string name(WithoutStd(typeName));
  if (const auto primitive = PrimitiveByName(name)) {
    return *primitive != Primitive::kString;
  }
  if (const auto known = known_.find(name); known != known_.end()) {
    return known->second;
  }
  if (depth >= kMaxTypeDepth || IsReservedName(name)) {
    isTooDeep_ = isTooDeep_ || depth >= kMaxTypeDepth;
    return false;
  }
  const auto definition = lookup_(name);
  const bool isCopyable = definition != nullptr && Contains(*definition, depth + 1);
  if (isCopyable || !isTooDeep_) {  // what is too deep from here may not be from elsewhere
    known_.emplace(name, isCopyable);
  }
  return isCopyable;
}

bool CopyableTypes::Contains(const TypeDefinition& definition, std::uint32_t depth) {
  switch (definition.category) {
    case Category::kValue:
      return WithoutStd(definition.baseTypeName) != "string";
    case Category::kEnumeration:
      return true;
    case Category::kArray:
      return Contains(definition.templateTypeName, depth);
    case Category::kTypeReference:
      return Contains(definition.referencedTypeName, depth);
    case Category::kStructure:
      return std::ranges::all_of(definition.members,
                                 [&](const StructureDefElement& member) { return Contains(member.typeName, depth); });
    default:
      return false;
  }
}

}  // namespace qor::datatype
