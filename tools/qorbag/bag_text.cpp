// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/bag_text.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>
#include <vector>

#include "tools/common/number_text.h"
#include "tools/common/printable.h"
#include "tools/common/time_text.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;
using maintaind::DriverType;
using qorbag::BagFileHeadInfo;
using qorbag::BagFileMessageInfo;

constexpr double kMilli = 1000.0;

/// Times that no clock of the calendar gives show as seconds.
std::string TimeText(std::uint64_t milliseconds) {
  constexpr std::uint64_t kYear1980 = 315532800000;
  constexpr std::uint64_t kYear9999 = 253370764800000;
  if (milliseconds < kYear1980 || milliseconds > kYear9999) {
    return FixedText(static_cast<double>(milliseconds) / kMilli, 3) + " s";
  }
  return LocalTimeText(std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds)),
                       TimeDigits::kMilli);
}

const char* CompressionName(qorbag::FileCompressionType type) {
  switch (type) {
    case qorbag::FileCompressionType::kNone:
      return "none";
    case qorbag::FileCompressionType::kLz4:
      return "lz4";
    case qorbag::FileCompressionType::kZstd:
      return "zstd";
  }
  return "unknown";
}

double Rate(const BagFileMessageInfo& message) {
  return message.msgCount > 1 && message.endTime > message.startTime
             ? static_cast<double>(message.msgCount - 1) * kMilli /
                   static_cast<double>(message.endTime - message.startTime)
             : std::numeric_limits<double>::quiet_NaN();
}

std::string BindingText(const BagFileMessageInfo& message) {
  if (message.driverType == DriverType::kDds) {
    const auto& dds = message.eventInfo.dds;
    return "DDS domain " + std::to_string(dds.domainId) + (dds.networkIp.empty() ? "" : " " + dds.networkIp);
  }
  const auto& someip = message.eventInfo.someip;
  return "SOME/IP " + HexText(someip.serviceId) + "." + HexText(someip.instanceId) + "." + HexText(someip.eventId) +
         (someip.networkIp.empty() ? "" : " " + someip.networkIp);
}

Json BindingJson(const BagFileMessageInfo& message) {
  if (message.driverType == DriverType::kDds) {
    const auto& dds = message.eventInfo.dds;
    return {{"driver", "DDS"},
            {"domainId", dds.domainId},
            {"topic", dds.topicName},
            {"serviceId", nullptr},
            {"instanceId", nullptr},
            {"eventId", nullptr},
            {"networkIp", dds.networkIp},
            {"subnetMask", dds.subnetMask}};
  }
  const auto& someip = message.eventInfo.someip;
  return {{"driver", "SOMEIP"},
          {"domainId", nullptr},
          {"topic", nullptr},
          {"serviceId", someip.serviceId},
          {"instanceId", someip.instanceId},
          {"eventId", someip.eventId},
          {"networkIp", someip.networkIp},
          {"subnetMask", someip.subnetMask}};
}

/// How much all events have together.
struct Totals {
  std::uint64_t count = 0;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

Totals TotalsOf(const BagFileHeadInfo& info) {
  Totals totals{0, std::numeric_limits<std::uint64_t>::max(), 0};
  for (const BagFileMessageInfo& message : info.messages) {
    if (message.msgCount != 0) {
      totals.count += message.msgCount;
      totals.begin = std::min(totals.begin, message.startTime);
      totals.end = std::max(totals.end, message.endTime);
    }
  }
  return totals.count != 0 ? totals : Totals();
}

std::vector<const BagFileMessageInfo*> ByName(const BagFileHeadInfo& info) {
  std::vector<const BagFileMessageInfo*> messages;
  for (const BagFileMessageInfo& message : info.messages) {
    messages.push_back(&message);
  }
  std::ranges::stable_sort(messages, {}, [](const BagFileMessageInfo* message) { return message->eventName; });
  return messages;
}

std::string EventTable(const BagFileHeadInfo& info, TableStyle style) {
  Table table({"EVENT", "TYPE", "BINDING", "MESSAGES", "RATE Hz", "FIRST", "LAST"});
  for (const BagFileMessageInfo* message : ByName(info)) {
    const bool hasAny = message->msgCount != 0;
    table.AddRow({message->eventName, message->dataType, BindingText(*message), std::to_string(message->msgCount),
                  FixedText(Rate(*message), 2), hasAny ? TimeText(message->startTime) : "",
                  hasAny ? TimeText(message->endTime) : ""});
  }
  return table.IsEmpty() ? "" : "\n" + table.ToText(style);
}

std::string RecordedText(const BagFileHeadInfo& info) {
  if (info.startRecordRealTime == 0) {
    return "not told";
  }
  return TimeText(info.startRecordRealTime) +
         (info.stopRecordRealTime == 0 ? "" : " to " + TimeText(info.stopRecordRealTime));
}

}  // namespace

std::string CountText(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string InfoText(const BagFileHeadInfo& info, TableStyle style) {
  const Totals totals = TotalsOf(info);
  std::vector<std::pair<std::string, std::string>> lines{
      {"file", Printable(info.fileName)},
      {"version", qorbag::VersionText(info.version)},
      {"size", ByteText(info.fileSize) + " (" + CountText(info.fileSize, "byte") + ")"},
      {"closed", info.isClosed ? "yes" : "no: this is what its complete chunks hold; 'qorbag fix' makes a bag of them"},
      {"recorded", RecordedText(info)},
      {"compression", CompressionName(info.compression)},
      {"messages", CountText(totals.count, "message") + " of " + CountText(info.messages.size(), "event") + " in " +
                       CountText(info.chunkCount, "chunk")}};
  if (totals.count != 0) {
    const double seconds = (static_cast<double>(totals.end) - static_cast<double>(totals.begin)) / kMilli;
    lines.emplace_back("time",
                       TimeText(totals.begin) + " to " + TimeText(totals.end) + " (" + FixedText(seconds, 3) + " s)");
  }
  std::string text;
  for (const auto& [key, value] : lines) {
    constexpr std::size_t kColumn = 13;
    text.append(key).append(":").append(kColumn - key.size() - 1, ' ').append(value).append("\n");
  }
  return text + EventTable(info, style);
}

Json InfoJson(const BagFileHeadInfo& info) {
  const Totals totals = TotalsOf(info);
  const auto orNull = [](bool isKnown, auto value) { return isKnown ? Json(value) : Json(); };
  const bool hasAny = totals.count != 0;
  Json json{{"file", info.fileName},
            {"version", qorbag::VersionText(info.version)},
            {"size", info.fileSize},
            {"closed", info.isClosed},
            {"compression", CompressionName(info.compression)},
            {"chunks", info.chunkCount},
            {"recordStart", orNull(info.startRecordRealTime != 0, info.startRecordRealTime)},
            {"recordStop", orNull(info.stopRecordRealTime != 0, info.stopRecordRealTime)},
            {"messages", totals.count},
            {"begin", orNull(hasAny, totals.begin)},
            {"end", orNull(hasAny, totals.end)},
            {"events", Json::array()}};
  for (const BagFileMessageInfo* message : ByName(info)) {
    const bool isAny = message->msgCount != 0;
    const double rate = Rate(*message);
    Json event{{"event", message->eventName},
               {"type", message->dataType},
               {"messages", message->msgCount},
               {"rate", orNull(rate == rate, rate)},
               {"first", orNull(isAny, message->startTime)},
               {"last", orNull(isAny, message->endTime)},
               {"serialization", static_cast<std::uint32_t>(message->serializationType)}};
    event.update(BindingJson(*message));
    json["events"].push_back(std::move(event));
  }
  return json;
}

}  // namespace qor::tools
