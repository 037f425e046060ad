// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_LOG_DLT_SINK_H
#define QOR_LOG_DLT_SINK_H

#include <memory>

#include "platform/log/log_core.h"

namespace qor::log {

/// A sink that hands lines to the DLT daemon of the host; null when this build has no DLT support or the registration
/// fails.
std::shared_ptr<LogSink> MakeDltSink();

}  // namespace qor::log

#endif
