// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_LIVE_TABLE_H
#define QOR_TOOLS_COMMON_LIVE_TABLE_H

#include <cstddef>
#include <string>

#include "tools/common/output.h"
#include "tools/common/table.h"

namespace qor::tools {

/// A table on a terminal that is drawn over its previous state. What does not fit on the screen is cut off.
class LiveTable {
 public:
  explicit LiveTable(Output& out) : out_(out) {}

  /// `title`: a line above the table; empty: none.
  void Draw(const Table& table, const std::string& title = "");
  /// Before something else is printed: what was drawn stays, and the next drawing begins below.
  void Leave() { drawnLines_ = 0; }

 private:
  Output& out_;
  std::size_t drawnLines_ = 0;
};

}  // namespace qor::tools

#endif
