// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_QUANTITY_H
#define QOR_TOOLS_COMMON_QUANTITY_H

#include <cstdint>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

/// Sizes and times as users type them.
namespace qor::tools {

/// "500", "64K", "1.5G": bytes; K, M, G and T are powers of 1024, and "iB" or "B" may follow. 0 for what is none.
std::uint64_t ParseSize(const std::string& text);
/// "90", "0.5", "90s", "10m", "2h", "1h30m": seconds. Nothing for what is none.
std::optional<double> ParseDuration(const std::string& text);

/// Options of these kinds; `value` must live as long as the command.
CLI::Option* AddSizeOption(CLI::App& command, const std::string& name, std::uint64_t& value, std::uint64_t least,
                           std::uint64_t most, const std::string& about);
CLI::Option* AddDurationOption(CLI::App& command, const std::string& name, double& value, double least, double most,
                               const std::string& about);

}  // namespace qor::tools

#endif
