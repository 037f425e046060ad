// SPDX-License-Identifier: Apache-2.0
#ifndef ARA_CORE_STRING_H
#define ARA_CORE_STRING_H

#include <string>

namespace ara::core {

using String = std::string;

}  // namespace ara::core

#endif
