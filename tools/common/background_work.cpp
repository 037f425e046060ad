// SPDX-License-Identifier: Apache-2.0
#include "tools/common/background_work.h"

#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <thread>

#include "platform/ipc/unique_fd.h"
#include "tools/common/number_text.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

/// On stderr, drawn over itself; nothing when that is no terminal.
class ProgressBar {
 public:
  explicit ProgressBar(const std::string& label) : label_(Printable(label)) {}
  ~ProgressBar() {
    if (isDrawn_) {
      Write("\r\033[K");
    }
  }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void Draw(double share) {
    if (!isTerminal_) {
      return;
    }
    constexpr std::size_t kWidth = 30;
    constexpr double kPercent = 100.0;
    share = std::clamp(share, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(kWidth));
    const std::string text = label_ + " [" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] " +
                             FixedText(share * kPercent, 0) + " %";
    isDrawn_ = true;
    Write("\r" + std::string(CutToWidth(text, Columns())) + "\033[K");
  }

 private:
  static std::size_t Columns() {
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return isKnown ? size.ws_col - 1U : 79U;
  }
  /// What a terminal does not take is not missed.
  static void Write(const std::string& text) {
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
  }

  const bool isTerminal_ = ::isatty(STDERR_FILENO) == 1;
  const std::string label_;
  bool isDrawn_ = false;
};

}  // namespace

void DoInBackground(const BackgroundWork& work, StopSignal& stop) {
  constexpr std::chrono::milliseconds kQuick{300};  // what is done by then needs no bar
  constexpr std::chrono::milliseconds kPeriod{100};
  const ipc::UniqueFd done(::eventfd(0, EFD_CLOEXEC));
  ProgressBar bar(work.label);
  std::thread worker([&] {
    work.run();
    ::eventfd_write(done.Get(), 1);
  });
  auto wake = stop.WaitFor(kQuick, done.Get());
  while (wake == StopSignal::Wake::kTimeout) {
    bar.Draw(work.progress());
    wake = stop.WaitFor(kPeriod, done.Get());
  }
  if (wake == StopSignal::Wake::kSignal) {
    work.cancel();
  }
  worker.join();
}

}  // namespace qor::tools
