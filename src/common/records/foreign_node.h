// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_FOREIGN_NODE_H
#define QOR_COMMON_RECORDS_FOREIGN_NODE_H

#include <string_view>

namespace qor::maintaind {

/// How the names begin that daemons give to programs which know no daemon. All daemons that see such a program give it
/// the same name.
inline constexpr std::string_view kForeignDdsNode = "dds:";
inline constexpr std::string_view kForeignSomeipNode = "someip:";

inline bool IsForeignNode(std::string_view name) {
  return name.starts_with(kForeignDdsNode) || name.starts_with(kForeignSomeipNode);
}

}  // namespace qor::maintaind

#endif
