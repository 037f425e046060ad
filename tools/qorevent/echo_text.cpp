// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/echo_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>

#include <nlohmann/json.hpp>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using Code = QorDeserializer::DeserializationRetCode;

/// Local time with microseconds, or UTC as ISO 8601 has it.
std::string TimeText(std::chrono::system_clock::time_point time, bool isUtc) {
  const auto sinceEpoch = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch - seconds).count();
  const std::time_t whole = seconds.count();
  std::tm parts{};
  if (isUtc) {
    ::gmtime_r(&whole, &parts);
  } else {
    ::localtime_r(&whole, &parts);
  }
  std::array<char, 64> text{};
  std::size_t size = std::strftime(text.data(), text.size(), isUtc ? "%Y-%m-%dT%H:%M:%S" : "%Y-%m-%d %H:%M:%S", &parts);
  std::string fraction = std::to_string(micros);
  fraction.insert(0, 6 - fraction.size(), '0');
  return std::string(text.data(), size) + "." + fraction + (isUtc ? "Z" : "");
}

bool IsPlain(char c) { return c >= ' ' && c < '\x7F'; }

/// One line of a text, whose first tabs are the layout's.
void AppendLine(std::string_view line, std::string& out) {
  const std::size_t indent = std::min(line.find_first_not_of('\t'), line.size());
  out += line.substr(0, indent);
  line.remove_prefix(indent);
  if (std::ranges::all_of(line, IsPlain)) {
    out += line;
    return;
  }
  std::string withoutZeros(line);
  std::erase(withoutZeros, '\0');
  out += Printable(withoutZeros);
}

void AppendText(std::string_view text, bool isMultiLine, std::string& out) {
  for (std::size_t end = 0; isMultiLine && (end = text.find('\n')) != std::string_view::npos;) {
    AppendLine(text.substr(0, end), out);
    out += '\n';
    text.remove_prefix(end + 1);
  }
  AppendLine(text, out);
}

std::string Escaped(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', /*ensure_ascii=*/true, nlohmann::json::error_handler_t::replace);
}

}  // namespace

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

void EchoPrinter::Append(const qorevent::SampleInfo& sample, std::string& out) const {
  if (options_.common.isJson) {
    AppendJson(sample, out);
  } else if (sample.text.empty() && sample.retCode == Code::kSuccess) {
    AppendBytes(sample, out);
  } else {
    const bool isLong = options_.isMultiLine;
    const std::string heading = Heading(sample, !isLong && options_.fieldPath.empty());
    out += heading;
    out += heading.empty() ? "" : isLong ? "\n" : " ";
    AppendText(sample.text, isLong, out);
    if (sample.retCode != Code::kSuccess) {
      out += (sample.text.empty() ? "<" : " <") + Printable(sample.retInfo) + ">";
      out += isLong ? "\n---" : "";
    }
  }
  out += '\n';
}

std::string EchoPrinter::Heading(const qorevent::SampleInfo& sample, bool isNameTold) const {
  std::string heading = options_.hasTime ? TimeText(sample.receivedAt, /*isUtc=*/false) : "";
  const auto add = [&heading](const std::string& part) { heading += (heading.empty() ? "" : " ") + part; };
  if (!isNameTold && options_.names.size() > 1) {
    add(Printable(sample.eventName) + ":");
  }
  if (!sample.e2eStatus.empty()) {
    add("E2E " + sample.e2eStatus);
  }
  return heading;
}

void EchoPrinter::AppendBytes(const qorevent::SampleInfo& sample, std::string& out) const {
  const std::string heading = Heading(sample, /*isNameTold=*/true);
  out += heading + (heading.empty() ? "" : " ") + Printable(sample.eventName) + " " +
         std::to_string(sample.payload.size()) + " bytes" + (sample.payload.empty() ? "" : ": ");
  AppendHex(sample.payload, " ", out);
}

void EchoPrinter::AppendJson(const qorevent::SampleInfo& sample, std::string& out) const {
  const bool isWhole = sample.retCode == Code::kSuccess && !sample.text.empty();
  out += "{\"event\":" + Escaped(sample.eventName) + ",\"time\":\"" + TimeText(sample.receivedAt, /*isUtc=*/true);
  out += "\",\"e2e\":" + (sample.e2eStatus.empty() ? std::string("null") : Escaped(sample.e2eStatus));
  out += ",\"returnCode\":" + std::to_string(static_cast<int>(sample.retCode));
  out += ",\"value\":";
  out += isWhole ? std::string_view(sample.text) : "null";
  if (sample.retCode != Code::kSuccess) {
    out += ",\"error\":" + Escaped(sample.retInfo);
  }
  if (!isWhole && sample.retCode != Code::kAbsent) {
    out += ",\"bytes\":\"";
    AppendHex(sample.payload, "", out);
    out += '"';
  }
  out += '}';
}

}  // namespace qor::tools
