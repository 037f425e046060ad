// SPDX-License-Identifier: Apache-2.0
#include "tools/common/live_table.h"

#include <sstream>
#include <string>

#include "tools/common/printable.h"

namespace qor::tools {

void LiveTable::Draw(const Table& table, const std::string& title) {
  const Output::Size size = out_.TerminalSize();
  std::string text;
  if (drawnLines_ > 0) {
    text = "\033[" + std::to_string(drawnLines_) + "A";
  }
  const std::size_t heading = title.empty() ? 0 : 1;
  std::istringstream lines((title.empty() ? "" : title + "\n") + table.ToText(TableStyle::kTerminal));
  drawnLines_ = 0;
  for (std::string line; drawnLines_ + 1 < size.rows && std::getline(lines, line); ++drawnLines_) {
    const bool isHeading = drawnLines_ == heading && out_.UsesColor();
    text += isHeading ? "\033[1m" : "";
    text += CutToWidth(line, size.columns);
    text += isHeading ? "\033[0m" : "";
    text += "\033[K\n";  // line by line: what is cleared at once, some terminals keep in their history
  }
  text += "\033[J";
  out_.Write(text);
}

}  // namespace qor::tools
