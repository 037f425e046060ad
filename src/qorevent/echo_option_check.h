// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_ECHO_OPTION_CHECK_H
#define QOR_QOREVENT_ECHO_OPTION_CHECK_H

#include <string>

#include "src/qorevent/echo_options.h"

namespace qor::qorevent {

/// Whether the name and the options can be used. The first that cannot has its line in the log. Any thread.
bool CheckParam(const std::string& eventName, const EchoOptions& options);

}  // namespace qor::qorevent

#endif
