// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_TYPES_H
#define QOR_COM_DEPLOYMENT_TYPES_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/com/deployment_reader.h"

namespace qor::com {

/// A type that a deployment file names, and where.
struct TypeMention {
  std::string pointer;
  std::string name;
};

/// Whether every program knows the type: a number, "bool" or "string", also with "std::" in front.
bool IsPrimitiveType(std::string_view name);

/// Checks one type definition: category, its mandatory members, their types. Appends the types that it is made of to
/// `mentions`. Its short name; empty when the definition cannot be used.
std::string CheckTypeDefinition(const DeploymentReader::Json& definition, const std::string& pointer,
                                DeploymentFaults& faults, std::vector<TypeMention>& mentions);

}  // namespace qor::com

#endif
