// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_TABLE_H
#define QOR_TOOLS_COMMON_TABLE_H

#include <string>
#include <vector>

namespace qor::tools {

/// How records are laid out as text.
enum class TableStyle {
  kTerminal,       ///< aligned columns under a heading
  kTerminalColor,  ///< the same, the heading emphasised
  kPipe,           ///< one line a record, cells separated by tabs, no heading
};

/// A table of texts. Cells may come from the network: they are made printable here. An empty cell shows as "-".
class Table {
 public:
  explicit Table(std::vector<std::string> heading) : heading_(std::move(heading)) {}

  /// As many cells as the heading has.
  void AddRow(std::vector<std::string> cells);
  bool IsEmpty() const { return rows_.empty(); }

  std::string ToText(TableStyle style) const;

 private:
  std::vector<std::string> heading_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace qor::tools

#endif
