// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_ECHO_TEXT_H
#define QOR_TOOLS_QOREVENT_ECHO_TEXT_H

#include <string>
#include <string_view>

#include "src/qorevent/echo_options.h"
#include "tools/qorevent/echo_command_options.h"

namespace qor::tools {

/// Makes what echo prints for a sample. Any thread; never changes.
class EchoPrinter {
 public:
  explicit EchoPrinter(const EchoCommandOptions& options) : options_(options) {}

  /// Appends the sample: with --json an object on one line, otherwise its text in lines of its own, after what --time
  /// and the E2E check say. Control characters of the payload become "\xNN", zeros nothing.
  void Append(const qorevent::SampleInfo& sample, std::string& out) const;

 private:
  void AppendJson(const qorevent::SampleInfo& sample, std::string& out) const;
  void AppendBytes(const qorevent::SampleInfo& sample, std::string& out) const;
  /// What the text does not say itself.
  std::string Heading(const qorevent::SampleInfo& sample, bool isNameTold) const;

  const EchoCommandOptions& options_;
};

/// As hexadecimal digits, two a byte, `separator` between two bytes.
void AppendHex(std::span<const std::uint8_t> bytes, std::string_view separator, std::string& out);

}  // namespace qor::tools

#endif
