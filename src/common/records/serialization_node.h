// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_SERIALIZATION_NODE_H
#define QOR_COMMON_RECORDS_SERIALIZATION_NODE_H

#include <cstdint>
#include <vector>

#include "src/common/records/visit.h"

namespace qor::maintaind {

/// How the characters of a SOME/IP string are encoded.
enum class StringEncoding : std::uint8_t { kUtf8 = 0, kUtf16Le = 1, kUtf16Be = 2 };

/// How one type of an entity is serialized in SOME/IP, in the terms of the AUTOSAR SOME/IP protocol ("serialization of
/// data structures"), and below it the types that it is made of. Sizes of length fields are 0 (none), 1, 2 or 4 bytes.
///
/// The children of a structure are its members in declaration order, of an array or a vector its element, of a map its
/// key and its value, of a variant its alternatives. A type reference has the node of what it refers to. A child that
/// is not there is serialized as its parent says, without a data id.
struct SerializationNode {
  /// Of dataId: the member has no tag.
  static constexpr std::uint16_t kNoDataId = 0xFFFF;
  /// Of plainVectorLength: as vectorAndMapLength.
  static constexpr std::uint8_t kSameLength = 0xFF;

  bool isBigEndian = true;
  bool isAddBOM = true;  ///< strings begin with a byte-order mark
  StringEncoding stringEncoding = StringEncoding::kUtf8;
  std::uint8_t stringLength = 4;
  std::uint8_t structLength = 0;
  std::uint8_t arrayLength = 0;
  std::uint8_t vectorAndMapLength = 4;
  std::uint8_t plainVectorLength = kSameLength;  ///< vectors whose elements are trivially copyable
  std::uint8_t unionLengthField = 4;
  std::uint8_t unionTypeSelectorLength = 4;
  std::uint8_t tlvLengthFieldSize = 4;  ///< length field of a member with a data id, unless its tag says the size
  std::uint16_t dataId = kNoDataId;     ///< 12 bits: the member is preceded by a tag with this id
  bool isChildNodeEnableTlv = false;    ///< the members of this structure have tags
  bool isDynamic = false;               ///< samples differ in size: padding to `alignment` follows
  bool isLastSerializeNode = false;     ///< nothing follows in the payload, so no padding either
  std::uint8_t alignment = 1;           ///< bytes, counted from the start of the payload; 1: none
  std::uint16_t elementPadding = 0;     ///< bytes that follow each element of an array
  std::vector<SerializationNode> children;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("isBigEndian", s.isBigEndian...);
    visit("isAddBOM", s.isAddBOM...);
    visit("stringEncoding", s.stringEncoding...);
    visit("stringLength", s.stringLength...);
    visit("structLength", s.structLength...);
    visit("arrayLength", s.arrayLength...);
    visit("vectorAndMapLength", s.vectorAndMapLength...);
    visit("plainVectorLength", s.plainVectorLength...);
    visit("unionLengthField", s.unionLengthField...);
    visit("unionTypeSelectorLength", s.unionTypeSelectorLength...);
    visit("tlvLengthFieldSize", s.tlvLengthFieldSize...);
    visit("dataId", s.dataId...);
    visit("isChildNodeEnableTlv", s.isChildNodeEnableTlv...);
    visit("isDynamic", s.isDynamic...);
    visit("isLastSerializeNode", s.isLastSerializeNode...);
    visit("alignment", s.alignment...);
    visit("elementPadding", s.elementPadding...);
    visit("children", s.children...);
  }
};

namespace internal {

/// Copies the fields of a node but its children.
struct OwnFieldsVisitor {
  template <class T>
  void operator()(const char* /*name*/, T& to, const T& from) {
    to = from;
  }
  void operator()(const char* /*name*/, std::vector<SerializationNode>& /*to*/,
                  const std::vector<SerializationNode>& /*from*/) {}
};

}  // namespace internal

/// What a child is before it says anything itself.
inline SerializationNode InheritedFrom(const SerializationNode& parent) {
  internal::OwnFieldsVisitor copy;
  SerializationNode child;
  SerializationNode::Visit(copy, child, parent);
  child.dataId = SerializationNode::kNoDataId;
  child.isChildNodeEnableTlv = false;
  child.isDynamic = false;
  child.isLastSerializeNode = false;
  child.elementPadding = 0;
  return child;
}

}  // namespace qor::maintaind

#endif
