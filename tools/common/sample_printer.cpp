// SPDX-License-Identifier: Apache-2.0
#include "tools/common/sample_printer.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include <nlohmann/json.hpp>

#include "tools/common/printable.h"
#include "tools/common/time_text.h"

namespace qor::tools {
namespace {

using Code = QorDeserializer::DeserializationRetCode;

std::string Escaped(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', /*ensure_ascii=*/true, nlohmann::json::error_handler_t::replace);
}

/// As hexadecimal digits, two a byte, `separator` between two bytes.
void AppendHex(std::span<const std::uint8_t> bytes, std::string_view separator, std::string& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  bool isFirst = true;
  for (const std::uint8_t byte : bytes) {
    out += isFirst ? std::string_view() : separator;
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 0xFU];
    isFirst = false;
  }
}

}  // namespace

std::string TerminalText(std::string_view text) {
  std::string withoutZeros(text);
  std::erase(withoutZeros, '\0');
  return Printable(withoutZeros);
}

qorevent::EchoRendering SampleLayout::Rendering() const {
  qorevent::EchoRendering rendering;
  rendering.format = static_cast<QorDeserializer::FormatType>((isMultiLine ? 1U : 0U) | (isSummary ? 2U : 0U));
  rendering.isJson = isJson;
  rendering.isRaw = isRaw;
  rendering.fieldPath = fieldPath;
  rendering.textFilter = &TerminalText;
  return rendering;
}

void AddLayoutOptions(CLI::App& command, SampleLayout& layout, const std::string& timeText) {
  auto* multiLine = command.add_flag("-m,--multi-line", layout.isMultiLine, "A line for each member");
  auto* summary = command.add_flag("-s,--summary", layout.isSummary, "Lists by their type and length only");
  auto* field = command.add_option("-f,--field", layout.fieldPath,
                                   "Only this part: members by name, elements by number, as in objects[2].position");
  field->option_text("PATH");
  command.add_flag("--raw", layout.isRaw, "The bytes in hexadecimal instead")
      ->excludes(multiLine)
      ->excludes(summary)
      ->excludes(field);
  command.add_flag("--time", layout.hasTime, timeText);
}

SamplePrinter::SamplePrinter(const SampleLayout& layout, const std::string& eventName)
    : layout_(layout), name_(Printable(eventName)), jsonName_(Escaped(eventName)) {}

std::string_view SamplePrinter::Print(const qorevent::SampleInfo& sample) {
  out_.clear();
  if (layout_.isJson) {
    AddJson(sample);
  } else if (layout_.isRaw || sample.retCode == Code::kTypeUnknown) {
    AddBytes(sample);
  } else {
    AddText(sample);
  }
  out_ += '\n';
  return out_;
}

void SamplePrinter::AddText(const qorevent::SampleInfo& sample) {
  const bool isPart = !layout_.fieldPath.empty();
  const bool isLong = layout_.isMultiLine && !isPart;
  AddHeading(sample, /*isNameTold=*/!layout_.isMultiLine && !isPart);
  if (isLong && !out_.empty()) {
    out_.back() = '\n';
  }
  out_ += sample.text;
  if (sample.retCode != Code::kSuccess) {
    out_ += (sample.text.empty() ? "<" : " <") + Printable(sample.retInfo) + ">";
    out_ += isLong ? "\n---" : "";
  }
}

void SamplePrinter::AddHeading(const qorevent::SampleInfo& sample, bool isNameTold) {
  if (layout_.hasTime) {
    out_ += LocalTimeText(sample.receivedAt, TimeDigits::kMicro) + " ";
  }
  if (!isNameTold && layout_.hasSeveralNames) {
    out_ += name_ + ": ";
  }
  if (!sample.e2eStatus.empty()) {
    out_ += "E2E " + sample.e2eStatus + " ";
  }
}

void SamplePrinter::AddBytes(const qorevent::SampleInfo& sample) {
  AddHeading(sample, /*isNameTold=*/true);
  out_ += name_ + " " + std::to_string(sample.payload.size()) + " bytes" + (sample.payload.empty() ? "" : ": ");
  AppendHex(sample.payload, " ", out_);
}

void SamplePrinter::AddJson(const qorevent::SampleInfo& sample) {
  const bool isWhole = sample.retCode == Code::kSuccess && !layout_.isRaw;
  out_ += "{\"event\":" + jsonName_ + ",\"time\":\"" + UtcTimeText(sample.receivedAt, TimeDigits::kMicro);
  out_ += "\",\"e2e\":" + (sample.e2eStatus.empty() ? std::string("null") : Escaped(sample.e2eStatus));
  out_ += ",\"returnCode\":" + std::to_string(static_cast<int>(sample.retCode));
  out_ += ",\"value\":";
  out_ += isWhole ? std::string_view(sample.text) : "null";
  if (sample.retCode != Code::kSuccess) {
    out_ += ",\"error\":" + Escaped(sample.retInfo);
  }
  if (!isWhole && sample.retCode != Code::kAbsent) {
    out_ += ",\"bytes\":\"";
    AppendHex(sample.payload, "", out_);
    out_ += '"';
  }
  out_ += '}';
}

}  // namespace qor::tools
