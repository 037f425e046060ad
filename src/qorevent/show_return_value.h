// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_SHOW_RETURN_VALUE_H
#define QOR_QOREVENT_SHOW_RETURN_VALUE_H

#include <string>

namespace qor {

/// The data type of one shown event.
struct ShowReturnValue {
  std::string dataTypeName;
  std::string topLevelTypeJson;  ///< the definition of the top-level type
  std::string typeListJson;      ///< a JSON array of the definitions that it refers to
};

}  // namespace qor

#endif
