// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_TYPE_NAMES_H
#define QOR_DATATYPE_TYPE_NAMES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// The type names that stand for themselves in data type definitions. Any thread.
namespace qor::datatype {

/// What a definition describes.
enum class Category : std::uint8_t {
  kValue,
  kFixedString,
  kArray,
  kVector,
  kMap,
  kEnumeration,
  kStructure,
  kVariant,
  kTypeReference,
  kError,
  kRawBuffer,
};

/// What a "VALUE" holds.
enum class Primitive : std::uint8_t {
  kBool,
  kInt8,
  kInt16,
  kInt32,
  kInt64,
  kUint8,
  kUint16,
  kUint32,
  kUint64,
  kFloat,
  kDouble,
  kString,
};

/// The category by the name that a definition gives it, such as "STRUCTURE".
std::optional<Category> CategoryByName(std::string_view name);

/// The primitive by one of its names, such as "uint8" or "uint8_t", without "std::" in front.
std::optional<Primitive> PrimitiveByName(std::string_view name);

/// The name without a leading "std::", when a primitive's name follows it.
std::string_view WithoutStd(std::string_view name);

/// Bytes of one value; 0 for kString.
std::size_t SizeOf(Primitive primitive);
bool IsInteger(Primitive primitive);

/// True for the names of primitives and of all categories but "ERROR": no definition can have them.
bool IsReservedName(std::string_view name);

}  // namespace qor::datatype

#endif
