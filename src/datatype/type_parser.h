// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_TYPE_PARSER_H
#define QOR_DATATYPE_TYPE_PARSER_H

#include <string>

#include "src/datatype/type_definition.h"

namespace qor::datatype {

/// Reads one definition text: a JSON object with "ShortName", "Type" and the members of its category. False, with a
/// line in the log, when it is none; what `definition` holds then is unspecified. Any thread.
[[nodiscard]] bool ParseTypeDefinition(const std::string& text, TypeDefinition& definition);

}  // namespace qor::datatype

#endif
