// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_FIELD_PATH_H
#define QOR_DATATYPE_FIELD_PATH_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/datatype/plan.h"

namespace qor::datatype {

/// The way from a value to a part of it: for each level the number of the member, the element, the entry (and then 0
/// for its key, 1 for its value) or the alternative.
using FieldPath = std::vector<std::uint32_t>;

/// Reads a path such as "objects[2].position[0]": members by name, elements, entries and alternatives by number from 0,
/// "key" and "value" of an entry by these names. Nothing, with the reason in `fault`, when the type has no such part.
std::optional<FieldPath> ResolveFieldPath(const Plan& plan, std::string_view text, std::string& fault);

}  // namespace qor::datatype

#endif
