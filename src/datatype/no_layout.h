// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_NO_LAYOUT_H
#define QOR_DATATYPE_NO_LAYOUT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "src/datatype/labels.h"

namespace qor::datatype {

/// A layout that prints nothing: to pass over values.
class NoLayout {
 public:
  static std::size_t Size() { return 0; }
  template <class T>
  void Number(T /*value*/) {}
  void BeginEnumeration(std::string_view /*typeName*/) {}
  void EndEnumeration() {}
  void Text(std::string_view /*text*/) {}
  void BeginStructure() {}
  void BeginMember(const Labels& /*labels*/, std::size_t /*index*/, bool /*isFirst*/) {}
  void EndMember() {}
  void EndStructure() {}
  void BeginList(bool /*isValue*/) {}
  void BeginElement(bool /*isFirst*/, bool /*isValue*/) {}
  void EndElement(bool /*isValue*/) {}
  void EndList(bool /*isValue*/) {}
  void BeginMap() {}
  void BeginKey(bool /*isFirst*/, bool /*isValue*/) {}
  void BeginMapped(bool /*isKeyValue*/, bool /*isValue*/) {}
  void EndEntry(bool /*isValue*/) {}
  void EndMap() {}
  void BeginVariant(std::uint32_t /*index*/, bool /*isValue*/) {}
  void EndVariant(bool /*isValue*/) {}
  void Error(std::string_view /*domain*/, std::string_view /*code*/) {}
  void BeginRawBuffers() {}
  void RawBuffer(std::span<const std::uint8_t> /*bytes*/, bool /*isFirst*/) {}
  void EndRawBuffers() {}
  void ListSummary(std::string_view /*kind*/, std::string_view /*elementType*/, std::uint64_t /*count*/) {}
  void RawBufferSummary(std::uint64_t /*size*/) {}
};

}  // namespace qor::datatype

#endif
