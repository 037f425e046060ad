// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_EVENT_NAME_H
#define QOR_COMMON_EVENT_NAME_H

#include <string>

/// Names as users type them: "name" or "name[uuid]". Any thread.
namespace qor::common {

/// Splits a name of at most 5000 characters. False, with a line in the log and nothing set, when it is longer.
bool GetSubEventName(const std::string& name, std::string& pureName, std::string& uuid);

/// The same for at most 5050 characters. The uuid is what stands between the last "[" and a "]" at the very end; a name
/// without these two is all name.
bool GetNameAndUuid(const std::string& name, std::string& pureName, std::string& uuid);

/// Whether the name stands for every name: "ALL" or "all".
bool IsAllNames(const std::string& name);

}  // namespace qor::common

#endif
