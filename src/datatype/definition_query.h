// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_DEFINITION_QUERY_H
#define QOR_DATATYPE_DEFINITION_QUERY_H

#include <string>

#include "src/datatype/definition_tables.h"

namespace qor::datatype {

/// Adds every data type definition of every daemon to `texts`; of definitions of one name that of the first daemon
/// stays. False, with a line in the log for each daemon that did not answer, when none did. Any thread; waits for each
/// daemon at most 300 ms.
bool QueryAllDefinitions(DefinitionTexts& texts);

/// The definition of one name, from the first daemon that has it; empty, with a line in the log for each daemon that
/// did not answer, when none has. As above.
std::string QueryDefinition(const std::string& name);

}  // namespace qor::datatype

#endif
