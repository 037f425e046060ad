// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/receive_options.h"

#include <limits>

namespace qor::tools {

void AddReceiveOptions(CLI::App& command, ReceiveOptions& options, int maxNames) {
  command.add_option("names", options.names, "Event names; a uuid may follow in square brackets")
      ->option_text("NAME...")
      ->check(EventName())
      ->expected(1, maxNames);
  command.add_option("-d,--duration", options.duration, "End after receiving for so many seconds")
      ->check(Seconds())
      ->option_text("SECONDS");
  command
      .add_option("-t,--timeout", options.timeout,
                  "Wait at most so many seconds for one of the names to appear and for the first sample")
      ->check(Seconds())
      ->option_text("SECONDS");
  AddFilterOptions(command, options.filter);
  AddNetworkOptions(command, options.ddsNetwork, options.someipNetwork);
  AddCommonOptions(command, options.common);
}

void RequireNames(const ReceiveOptions& options) {
  if (options.names.empty()) {
    throw CLI::RequiredError("NAME");
  }
}

CLI::Option* AddCountOption(CLI::App& command, ReceiveOptions& options, const std::string& text) {
  return command.add_option("-n,--count", options.count, text)
      ->check(PositiveCount(std::numeric_limits<std::uint64_t>::max()))
      ->option_text("N");
}

}  // namespace qor::tools
