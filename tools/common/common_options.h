// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_COMMON_OPTIONS_H
#define QOR_TOOLS_COMMON_COMMON_OPTIONS_H

#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

#include "src/common/filters.h"

namespace qor::tools {

/// What every verb of every tool takes.
struct OutputOptions {
  bool isJson = false;  ///< --json
  int verbosity = 0;    ///< -v, -vv, -vvv
};

/// What every verb that asks the daemons takes.
struct CommonOptions : OutputOptions {
  bool isStrict = false;  ///< --strict
};

/// `options` must live as long as the command.
void AddOutputOptions(CLI::App& command, OutputOptions& options);
void AddCommonOptions(CLI::App& command, CommonOptions& options);

/// --instance, --network-ip, --domain-id, --uuid: which of several entities of one name is meant. Values that cannot be
/// are refused with what was expected. `filter` must live as long as the command.
void AddFilterOptions(CLI::App& command, CommonFilter& filter);

/// --dds-network, --someip-network: where events are received. Both must live as long as the command.
void AddNetworkOptions(CLI::App& command, std::string& ddsNetwork, std::string& someipNetwork);

/// Checks for option values, by the rules that all tools share.
CLI::Validator PositiveCount(std::uint64_t largest);
CLI::Validator Seconds();
CLI::Validator EventName();
CLI::Validator FileName();
CLI::Validator NetworkAddress();
CLI::Validator SomeipNetworkName();
CLI::Validator DomainId();

}  // namespace qor::tools

#endif
