// SPDX-License-Identifier: Apache-2.0
#include "platform/com/application_name.h"

#include <cerrno>
#include <cstdlib>

namespace qor::com {

std::string ApplicationName() {
  if (const char* chosen = std::getenv("QOR_APP_NAME"); chosen != nullptr && *chosen != '\0') {
    return chosen;
  }
  return program_invocation_short_name;
}

}  // namespace qor::com
