// SPDX-License-Identifier: Apache-2.0
#include "tools/common/table.h"

#include <algorithm>
#include <cstddef>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using Row = std::vector<std::string>;

std::vector<std::size_t> ColumnWidths(const Row& heading, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < heading.size(); ++column) {
    std::size_t width = DisplayWidth(heading[column]);
    for (const Row& row : rows) {
      width = std::max(width, DisplayWidth(row[column]));
    }
    widths.push_back(width);
  }
  return widths;
}

/// The last cell is not padded, so that no line ends in blanks.
std::string Aligned(const Row& row, const std::vector<std::size_t>& widths) {
  constexpr std::size_t kGap = 2;
  std::string line;
  for (std::size_t column = 0; column < row.size(); ++column) {
    line += row[column];
    if (column + 1 < row.size()) {
      line.append(widths[column] - DisplayWidth(row[column]) + kGap, ' ');
    }
  }
  return line;
}

std::string TabSeparated(const Row& row) {
  std::string line;
  for (const std::string& cell : row) {
    line += (line.empty() ? "" : "\t") + cell;
  }
  return line;
}

}  // namespace

void Table::AddRow(Row cells) {
  cells.resize(heading_.size());
  for (std::string& cell : cells) {
    cell = cell.empty() ? "-" : Printable(cell);
  }
  rows_.push_back(std::move(cells));
}

std::string Table::ToText(TableStyle style) const {
  std::string text;
  if (style == TableStyle::kPipe) {
    for (const Row& row : rows_) {
      text += TabSeparated(row) + "\n";
    }
    return text;
  }
  const auto widths = ColumnWidths(heading_, rows_);
  const bool isColored = style == TableStyle::kTerminalColor;
  text += (isColored ? "\033[1m" : "") + Aligned(heading_, widths) + (isColored ? "\033[0m" : "") + "\n";
  for (const Row& row : rows_) {
    text += Aligned(row, widths) + "\n";
  }
  return text;
}

}  // namespace qor::tools
