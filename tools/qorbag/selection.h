// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_SELECTION_H
#define QOR_TOOLS_QORBAG_SELECTION_H

#include <cstdint>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "src/qorbag/qor_view.h"

namespace qor::tools {

/// Which messages of the bags are wanted.
struct Selection {
  std::vector<std::string> events;  ///< empty: all
  double start = 0.0;               ///< seconds after the first message of all
  double end = 0.0;                 ///< the same; 0: to the end
  std::uint16_t domainId = qorbag::QorEventQuery::kAnyDomain;
  std::string network;  ///< network part of an address; empty: any
};

/// The names of the bags. `files` must live as long as the command.
void AddFileArguments(CLI::App& command, std::vector<std::string>& files);
/// The options that choose events; those that choose a time.
void AddEventOptions(CLI::App& command, Selection& selection);
void AddTimeOptions(CLI::App& command, Selection& selection);

/// Milliseconds of a number of seconds.
std::uint64_t Milliseconds(double seconds);

}  // namespace qor::tools

#endif
