// SPDX-License-Identifier: Apache-2.0
#include "tools/common/live_table.h"

#include <sstream>
#include <string>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

/// The first `width` characters of a printable line.
std::string Cut(std::string line, std::size_t width) {
  std::size_t end = 0;
  for (std::size_t count = 0; end < line.size(); ++end) {
    const bool isFirstByte = (line[end] & 0xC0) != 0x80;
    if (isFirstByte && ++count > width) {
      break;
    }
  }
  line.resize(end);
  return line;
}

}  // namespace

void LiveTable::Draw(const Table& table) {
  const Output::Size size = out_.TerminalSize();
  std::string text;
  if (drawnLines_ > 0) {
    text = "\033[" + std::to_string(drawnLines_) + "A\033[J";  // up, and clear from there
  }
  std::istringstream lines(table.ToText(TableStyle::kTerminal));
  drawnLines_ = 0;
  for (std::string line; drawnLines_ + 1 < size.rows && std::getline(lines, line); ++drawnLines_) {
    const bool isHeading = drawnLines_ == 0 && out_.UsesColor();
    line = Cut(std::move(line), size.columns);
    text += isHeading ? "\033[1m" + line + "\033[0m\n" : line + "\n";
  }
  out_.Write(text);
}

}  // namespace qor::tools
