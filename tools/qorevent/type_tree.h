// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_TYPE_TREE_H
#define QOR_TOOLS_QOREVENT_TYPE_TREE_H

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

#include "src/qorevent/show_return_value.h"

namespace qor::tools {

/// A type definition as the daemon sent it; null when it is no JSON. What lies deeper than 32 levels is left out.
nlohmann::ordered_json ParseTypeJson(const std::string& text);

/// What the type is made of, with everything below it: one part a line, each begun by `indent` blanks and two more for
/// each level. Empty when its definition cannot be read.
std::string TypeTree(const ShowReturnValue& type, std::size_t indent);

}  // namespace qor::tools

#endif
