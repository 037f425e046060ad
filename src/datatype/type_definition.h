// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_TYPE_DEFINITION_H
#define QOR_DATATYPE_TYPE_DEFINITION_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "src/datatype/type_names.h"

namespace qor::datatype {

/// One label of an enumeration.
struct EnumerationDefElement {
  std::string label;
  std::string value;  ///< a decimal number
};

/// One member of a structure.
struct StructureDefElement {
  std::string name;
  std::string typeName;
  std::uint16_t padding = 0;  ///< bytes that follow the member in a DDS payload
  bool isConstant = false;    ///< neither in a payload nor printed
  bool isOptional = false;    ///< may be absent from a payload with TLV
};

/// The parsed form of one data type definition. What a category does not have is empty.
struct TypeDefinition {
  std::string shortName;
  std::string categoryName;
  Category category = Category::kValue;
  std::string baseTypeName;        ///< "VALUE": its primitive; "FIXED_STRING": "fixed_string"
  std::string templateTypeName;    ///< "ARRAY", "VECTOR": the type of an element
  std::uint32_t length = 0;        ///< "ARRAY": elements; "FIXED_STRING": bytes
  std::string keyTypeName;         ///< "ASSOCIATIVE_MAP"
  std::string valueTypeName;       ///< "ASSOCIATIVE_MAP"
  std::string underlyingTypeName;  ///< "ENUMERATION": an integer type
  std::vector<EnumerationDefElement> labels;
  std::vector<StructureDefElement> members;   ///< "STRUCTURE", in the order of the wire
  std::vector<std::string> alternativeTypes;  ///< "VARIANT", in the order of the index
  std::string referencedTypeName;             ///< "TYPE_REFERENCE"
  std::uint64_t errorDomainId = 0;
  std::string errorDomainName;
  std::vector<std::pair<std::int32_t, std::string>> errorCodes;
  bool isPlane = false;
};

}  // namespace qor::datatype

#endif
