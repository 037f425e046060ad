// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_HZ_TEXT_H
#define QOR_TOOLS_QOREVENT_HZ_TEXT_H

#include <string>

#include <nlohmann/json.hpp>

#include "src/qorevent/event_hz_info.h"
#include "tools/common/live_table.h"
#include "tools/common/output.h"

/// Rates as a person and as a program reads them.
namespace qor::tools {

/// Prints what hz measures: on a terminal a table in place, in a pipe one line for each event, with --json one object
/// for each event.
class HzPrinter {
 public:
  HzPrinter(Output& out, bool isJson) : out_(out), isJson_(isJson), table_(out) {}

  void PrintReport(const qorevent::EventHzList& events);
  void PrintSummary(const qorevent::EventHzTotalsList& events);

 private:
  Output& out_;
  const bool isJson_;
  LiveTable table_;
};

/// One line: the name, then "key=value" cells, separated by tabs.
std::string HzLine(const std::string& name, const qorevent::EventHzInfo& info);
/// Figures that are not a number are null.
nlohmann::ordered_json HzJson(const std::string& name, const qorevent::EventHzInfo& info);

}  // namespace qor::tools

#endif
