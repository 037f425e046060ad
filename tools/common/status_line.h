// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_STATUS_LINE_H
#define QOR_TOOLS_COMMON_STATUS_LINE_H

#include <string>

namespace qor::tools {

/// One line on stderr that is drawn over itself, and gone when it is destroyed. Nothing when stderr is no terminal.
class StatusLine {
 public:
  StatusLine();
  ~StatusLine() { Clear(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool IsShown() const { return isTerminal_; }
  /// What does not fit is cut off; the text may come from anywhere.
  void Draw(const std::string& text);
  /// Makes room for other lines.
  void Clear();

 private:
  const bool isTerminal_;
  bool isDrawn_ = false;
};

}  // namespace qor::tools

#endif
