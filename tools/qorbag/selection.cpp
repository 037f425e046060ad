// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/selection.h"

#include <cmath>

#include "tools/common/common_options.h"
#include "tools/common/quantity.h"

namespace qor::tools {
namespace {

constexpr int kMostFiles = 10000;
constexpr double kLatest = 1e9;

}  // namespace

void AddFileArguments(CLI::App& command, std::vector<std::string>& files) {
  command.add_option("files", files, "Bags; one that was not closed ends in .active")
      ->option_text("FILE...")
      ->required()
      ->expected(1, kMostFiles);
}

void AddEventOptions(CLI::App& command, Selection& selection) {
  command
      .add_option("-e,--event", selection.events, "Only this event: a name, or a pattern with * and ?; may be repeated")
      ->option_text("NAME")
      ->allow_extra_args(false);
  command.add_option("--domain-id", selection.domainId, "Only events of this DDS domain")
      ->check(DomainId())
      ->option_text("0..63");
  command.add_option("--network-ip", selection.network, "Only events of the network with this address, as in 10.0.0.0")
      ->check(NetworkAddress())
      ->option_text("ADDRESS");
}

void AddTimeOptions(CLI::App& command, Selection& selection) {
  constexpr double kLeast = 0.001;
  AddDurationOption(command, "--start", selection.start, 0, kLatest,
                    "From so long after the first message: seconds, or such as 10m");
  AddDurationOption(command, "--end", selection.end, kLeast, kLatest, "Up to so long after the first message");
}

std::uint64_t Milliseconds(double seconds) {
  constexpr double kMilli = 1000.0;
  return static_cast<std::uint64_t>(std::llround(seconds * kMilli));
}

}  // namespace qor::tools
