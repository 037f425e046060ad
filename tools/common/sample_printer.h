// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_SAMPLE_PRINTER_H
#define QOR_TOOLS_COMMON_SAMPLE_PRINTER_H

#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "src/qorevent/echo_options.h"

namespace qor::tools {

/// How samples are printed.
struct SampleLayout {
  std::string fieldPath;  ///< empty: the whole value
  bool isJson = false;    ///< --json, of the options of every verb
  bool isMultiLine = false;
  bool isSummary = false;
  bool isRaw = false;
  bool hasTime = false;
  bool hasSeveralNames = false;  ///< samples of other events stand between those of one

  qorevent::EchoRendering Rendering() const;
};

/// The options of the layout; `timeText` says what the time is. `layout` must live as long as the command.
void AddLayoutOptions(CLI::App& command, SampleLayout& layout, const std::string& timeText);

/// Makes what is printed for the samples of one event. Used by one thread at a time; the layout must outlive it.
class SamplePrinter {
 public:
  SamplePrinter(const SampleLayout& layout, const std::string& eventName);

  /// The sample: with --json an object on one line, otherwise its text in lines of its own, after what --time and the
  /// E2E check say. Valid until the next call.
  std::string_view Print(const qorevent::SampleInfo& sample);

 private:
  void AddText(const qorevent::SampleInfo& sample);
  void AddJson(const qorevent::SampleInfo& sample);
  void AddBytes(const qorevent::SampleInfo& sample);
  /// What the text does not say itself; a blank stands behind it.
  void AddHeading(const qorevent::SampleInfo& sample, bool isNameTold);

  const SampleLayout& layout_;
  const std::string name_;      ///< fit for a terminal
  const std::string jsonName_;  ///< as JSON
  std::string out_;
};

/// A text of the network, fit for a terminal: characters that are not become "\xNN", zeros nothing.
std::string TerminalText(std::string_view text);

}  // namespace qor::tools

#endif
