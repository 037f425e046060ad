// SPDX-License-Identifier: Apache-2.0
#include "tools/common/background_work.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <thread>

#include "platform/ipc/unique_fd.h"
#include "tools/common/number_text.h"
#include "tools/common/status_line.h"

namespace qor::tools {
namespace {

/// What a share of work looks like.
std::string BarText(const std::string& label, double share) {
  constexpr std::size_t kWidth = 30;
  constexpr double kPercent = 100.0;
  share = std::clamp(share, 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(share * static_cast<double>(kWidth));
  return label + " [" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] " +
         FixedText(share * kPercent, 0) + " %";
}

}  // namespace

void DoInBackground(const BackgroundWork& work, StopSignal& stop) {
  constexpr std::chrono::milliseconds kQuick{300};  // what is done by then needs no bar
  constexpr std::chrono::milliseconds kPeriod{100};
  const ipc::UniqueFd done(::eventfd(0, EFD_CLOEXEC));
  StatusLine line;
  std::thread worker([&] {
    work.run();
    ::eventfd_write(done.Get(), 1);
  });
  auto wake = stop.WaitFor(kQuick, done.Get());
  while (wake == StopSignal::Wake::kTimeout) {
    line.Draw(BarText(work.label, work.progress()));
    wake = stop.WaitFor(kPeriod, done.Get());
  }
  if (wake == StopSignal::Wake::kSignal) {
    work.cancel();
  }
  worker.join();
}

}  // namespace qor::tools
