// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_RECORD_TEXT_H
#define QOR_TOOLS_QORBAG_RECORD_TEXT_H

#include <string>

#include <nlohmann/json.hpp>

#include "src/qorbag/qor_recorder.h"
#include "tools/common/table.h"

/// Where a recording stands, as a person and as a program reads it.
namespace qor::tools {

/// One line; rates since the status `before`.
std::string RecordTitle(const qorbag::RecorderStatus& status, const qorbag::RecorderStatus& before);
/// The events, the busiest first.
Table RecordTable(const qorbag::RecorderStatus& status, const qorbag::RecorderStatus& before);
/// `type`: "status" or "summary".
nlohmann::ordered_json RecordJson(const qorbag::RecorderStatus& status, const char* type);
/// How it ended, in some lines.
std::string RecordSummary(const qorbag::RecorderStatus& status);

}  // namespace qor::tools

#endif
