// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recording_names.h"

#include <array>
#include <string_view>

#include "platform/log/qor_log.h"

namespace qor::qorbag {
namespace {

constexpr QorLog kLog("QorRecorder");
constexpr std::string_view kSuffix = ".bag";

std::string BaseOf(const RecorderOptions& options) {
  std::string base = options.name.empty() ? options.prefix : options.name;
  if (base.ends_with(kSuffix)) {
    base.resize(base.size() - kSuffix.size());
  }
  return base;
}

std::string DateText(std::time_t now) {
  std::tm local{};
  std::array<char, sizeof "2026-01-01-00-00-00"> text{};
  return ::localtime_r(&now, &local) != nullptr &&
                 std::strftime(text.data(), text.size(), "%Y-%m-%d-%H-%M-%S", &local) != 0
             ? text.data()
             : "";
}

}  // namespace

RecordingNames MakeRecordingNames(const RecorderOptions& options, std::uint32_t splitIndex, std::time_t now) {
  std::string joined;
  const auto add = [&joined](const std::string& part) { joined += (joined.empty() ? "" : "_") + part; };
  if (const std::string base = BaseOf(options); !base.empty()) {
    add(base);
  }
  if (options.appendDate) {
    add(DateText(now));
  }
  if (options.split) {
    add(std::to_string(splitIndex));
  }
  if (joined.empty()) {
    kLog.Warn() << "Recorder bag filename is empty(No prefix, appendDate, split).";
  }
  const std::string bag = options.outputPath + joined + std::string(kSuffix);
  return {bag, bag + ".active"};
}

}  // namespace qor::qorbag
