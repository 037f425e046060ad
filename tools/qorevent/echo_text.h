// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_ECHO_TEXT_H
#define QOR_TOOLS_QOREVENT_ECHO_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "src/qorevent/echo_options.h"
#include "tools/qorevent/echo_command_options.h"

namespace qor::tools {

/// Makes what echo prints for the samples of one event. Used by one thread at a time.
class EchoPrinter {
 public:
  EchoPrinter(const EchoCommandOptions& options, const std::string& eventName);

  /// The sample: with --json an object on one line, otherwise its text in lines of its own, after what --time and the
  /// E2E check say. Valid until the next call.
  std::string_view Print(const qorevent::SampleInfo& sample);

 private:
  void AddText(const qorevent::SampleInfo& sample);
  void AddJson(const qorevent::SampleInfo& sample);
  void AddBytes(const qorevent::SampleInfo& sample);
  /// What the text does not say itself; a blank stands behind it.
  void AddHeading(const qorevent::SampleInfo& sample, bool isNameTold);

  const EchoCommandOptions& options_;
  const std::string name_;      ///< fit for a terminal
  const std::string jsonName_;  ///< as JSON
  std::string out_;
};

/// A text of the network, fit for a terminal: characters that are not become "\xNN", zeros nothing.
std::string TerminalText(std::string_view text);

/// As hexadecimal digits, two a byte, `separator` between two bytes.
void AppendHex(std::span<const std::uint8_t> bytes, std::string_view separator, std::string& out);

}  // namespace qor::tools

#endif
