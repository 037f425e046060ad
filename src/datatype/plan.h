// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_PLAN_H
#define QOR_DATATYPE_PLAN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "src/common/records/serialization_node.h"
#include "src/datatype/type_names.h"

namespace qor::datatype {

/// How deep types may nest.
inline constexpr std::uint32_t kMaxTypeDepth = 64;
/// Values that a type may have besides those that a payload brings bytes for.
inline constexpr std::uint64_t kMaxUnpaidValues = 65536;

enum class PlanKind : std::uint8_t {
  kPrimitive,
  kString,
  kFixedString,
  kEnumeration,
  kArray,
  kVector,
  kMap,
  kStructure,
  kVariant,
  kError,
  kRawBuffer,
};

/// One type of a plan. Type references are gone: what they refer to stands in their place.
struct PlanNode {
  PlanKind kind = PlanKind::kPrimitive;
  Primitive primitive = Primitive::kBool;  ///< also of an enumeration
  bool isValue = false;                    ///< prints as a scalar
  std::uint32_t typeName = 0;              ///< in Plan::names
  std::uint32_t valueName = 0;             ///< in Plan::names: of an enumeration its underlying type, else the type
  std::uint32_t settings = 0;              ///< in Plan::settings
  std::uint32_t firstChild = 0;            ///< in Plan::children
  std::uint32_t childCount = 0;
  std::uint32_t length = 0;    ///< elements of an array, bytes of a fixed string
  std::uint32_t baseSize = 0;  ///< bytes of a primitive or an enumeration; 0: other
  std::uint32_t error = 0;     ///< in Plan::errors
  /// Of a vector, by what it holds; of everything else, by its category. Without settings not used.
  std::uint8_t lengthFieldSize = 0;
  std::uint64_t minSize = 0;  ///< every value takes at least so many bytes
};

/// What a type is made of: a structure's members without the constant ones, a variant's alternatives, the element of a
/// list, a map's key and value.
struct PlanChild {
  std::uint32_t node = 0;
  std::uint16_t padding = 0;
  std::uint16_t dataId = maintaind::SerializationNode::kNoDataId;
  bool isOptional = false;
};

/// The names of an error domain.
struct PlanError {
  std::string domainName;
  std::vector<std::pair<std::int32_t, std::string>> codes;
};

/// A type with everything that it is made of, resolved once: rendering a payload looks nothing up by name. Each type
/// stands in it once for each way in which it is serialized. Never changes once compiled.
struct Plan {
  std::vector<PlanNode> nodes;
  std::vector<PlanChild> children;
  std::vector<std::string> childNames;  ///< of members; of other children the declared type
  std::vector<std::string> names;
  std::vector<maintaind::SerializationNode> settings;  ///< without their children
  std::vector<PlanError> errors;
  std::uint32_t root = 0;
  bool isRootStructure = false;  ///< by its definition, not by one that it refers to

  std::span<const PlanChild> ChildrenOf(const PlanNode& node) const {
    return std::span(children).subspan(node.firstChild, node.childCount);
  }
  const PlanNode& NodeOf(const PlanChild& child) const { return nodes[child.node]; }
  const std::string& NameOf(const PlanNode& node) const { return names[node.typeName]; }
  const std::string& ValueNameOf(const PlanNode& node) const { return names[node.valueName]; }
  const maintaind::SerializationNode& SettingsOf(const PlanNode& node) const { return settings[node.settings]; }
};

}  // namespace qor::datatype

#endif
