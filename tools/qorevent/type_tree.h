// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_TYPE_TREE_H
#define QOR_TOOLS_QOREVENT_TYPE_TREE_H

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

namespace qor::tools {

/// A type definition as the daemon sent it; null when it is no JSON. What lies deeper than 32 levels is left out.
nlohmann::ordered_json ParseTypeJson(const std::string& text);

/// The document as an indented tree, one value a line, each line begun by `indent` blanks.
std::string TypeTree(const nlohmann::ordered_json& definition, std::size_t indent);

}  // namespace qor::tools

#endif
