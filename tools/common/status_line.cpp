// SPDX-License-Identifier: Apache-2.0
#include "tools/common/status_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstddef>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

std::size_t Columns() {
  winsize size{};
  const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return isKnown ? size.ws_col - 1U : 79U;
}

/// What a terminal does not take is not missed.
void Write(const std::string& text) {
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

StatusLine::StatusLine() : isTerminal_(::isatty(STDERR_FILENO) == 1) {}

void StatusLine::Draw(const std::string& text) {
  if (isTerminal_) {
    isDrawn_ = true;
    Write("\r" + std::string(CutToWidth(Printable(text), Columns())) + "\033[K");
  }
}

void StatusLine::Clear() {
  if (isDrawn_) {
    isDrawn_ = false;
    Write("\r\033[K");
  }
}

}  // namespace qor::tools
