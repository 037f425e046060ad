// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_OUTPUT_H
#define QOR_TOOLS_COMMON_OUTPUT_H

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/common/table.h"

namespace qor::tools {

/// The standard output of a tool. Everything written is on its way when Write returns, unless the reader did not take
/// it after a stop signal. Used by one thread.
class Output {
 public:
  /// Also makes a write to a closed pipe an ordinary error for this process.
  explicit Output(int fd);

  bool IsTerminal() const { return isTerminal_; }
  /// Colour, only on a terminal that can show it and when NO_COLOR is not set or empty.
  bool UsesColor() const { return usesColor_; }
  TableStyle Style() const;
  /// Rows and columns of the terminal; 24 x 80 when it does not tell.
  struct Size {
    std::size_t rows = 24;
    std::size_t columns = 80;
  };
  Size TerminalSize() const;

  void Write(std::string_view text);
  /// One object: on one line, or indented on a terminal. Everything outside ASCII is escaped, so that no text of the
  /// network reaches a terminal raw.
  void WriteJson(const nlohmann::ordered_json& object);

  /// A write failed for another reason than a closed pipe, such as a full disk; a line on stderr told.
  bool HasFailed() const { return hasFailed_; }
  /// Whether nobody reads any more: a write failed, or the system says so.
  bool HasReaderGone() const;

 private:
  const int fd_;
  const bool isTerminal_;
  const bool usesColor_;
  bool isClosed_ = false;
  bool isAbandoned_ = false;  ///< the reader did not take the rest after a stop signal
  bool hasFailed_ = false;
};

/// One diagnostic line on stderr: "<tool>: <text>".
void Complain(std::string_view text);
/// The name that Complain puts first; once, from main.
void SetToolName(std::string_view name);

}  // namespace qor::tools

#endif
