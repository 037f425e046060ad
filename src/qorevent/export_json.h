// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EXPORT_JSON_H
#define QOR_QOREVENT_EXPORT_JSON_H

#include <string>
#include <vector>

#include "src/qorevent/export_info.h"

namespace qor::qorevent {

/// The export document: {"events": [...]}, one object an event, its keys in a fixed order. Text that is no UTF-8 is
/// written with replacement characters. Ends with a newline. Any thread.
std::string ExportJsonInfo(const std::vector<ExportInfo>& events);

}  // namespace qor::qorevent

#endif
