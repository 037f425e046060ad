// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/type_names.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qor::datatype {
namespace {

constexpr auto kCategories = std::to_array<std::pair<std::string_view, Category>>({
    {"VALUE", Category::kValue},
    {"FIXED_STRING", Category::kFixedString},
    {"ARRAY", Category::kArray},
    {"VECTOR", Category::kVector},
    {"ASSOCIATIVE_MAP", Category::kMap},
    {"ENUMERATION", Category::kEnumeration},
    {"STRUCTURE", Category::kStructure},
    {"VARIANT", Category::kVariant},
    {"TYPE_REFERENCE", Category::kTypeReference},
    {"ERROR", Category::kError},
    {"RAWBUFFER", Category::kRawBuffer},
});

constexpr auto kPrimitives = std::to_array<std::pair<std::string_view, Primitive>>({
    {"bool", Primitive::kBool},       {"string", Primitive::kString},   {"float", Primitive::kFloat},
    {"double", Primitive::kDouble},   {"float32", Primitive::kFloat},   {"float64", Primitive::kDouble},
    {"int8_t", Primitive::kInt8},     {"int16_t", Primitive::kInt16},   {"int32_t", Primitive::kInt32},
    {"int64_t", Primitive::kInt64},   {"uint8_t", Primitive::kUint8},   {"uint16_t", Primitive::kUint16},
    {"uint32_t", Primitive::kUint32}, {"uint64_t", Primitive::kUint64}, {"int8", Primitive::kInt8},
    {"int16", Primitive::kInt16},     {"int32", Primitive::kInt32},     {"int64", Primitive::kInt64},
    {"uint8", Primitive::kUint8},     {"uint16", Primitive::kUint16},   {"uint32", Primitive::kUint32},
    {"uint64", Primitive::kUint64},
});

template <class Table>
auto Find(const Table& table, std::string_view name) -> std::optional<decltype(table.front().second)> {
  const auto at = std::ranges::find(table, name, [](const auto& entry) { return entry.first; });
  if (at == table.end()) {
    return std::nullopt;
  }
  return at->second;
}

}  // namespace

std::optional<Category> CategoryByName(std::string_view name) { return Find(kCategories, name); }

std::optional<Primitive> PrimitiveByName(std::string_view name) { return Find(kPrimitives, name); }

std::string_view WithoutStd(std::string_view name) {
  constexpr std::string_view kStd = "std::";
  const std::string_view bare = name.starts_with(kStd) ? name.substr(kStd.size()) : name;
  return PrimitiveByName(bare).has_value() ? bare : name;
}

std::size_t SizeOf(Primitive primitive) {
  switch (primitive) {
    case Primitive::kBool:
    case Primitive::kInt8:
    case Primitive::kUint8:
      return 1;
    case Primitive::kInt16:
    case Primitive::kUint16:
      return 2;
    case Primitive::kInt32:
    case Primitive::kUint32:
    case Primitive::kFloat:
      return 4;
    case Primitive::kInt64:
    case Primitive::kUint64:
    case Primitive::kDouble:
      return 8;
    case Primitive::kString:
      break;
  }
  return 0;
}

bool IsInteger(Primitive primitive) { return primitive >= Primitive::kInt8 && primitive <= Primitive::kUint64; }

bool IsReservedName(std::string_view name) {
  return PrimitiveByName(name).has_value() || (name != "ERROR" && CategoryByName(name).has_value());
}

}  // namespace qor::datatype
