// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/record_text.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "tools/common/number_text.h"
#include "tools/common/printable.h"
#include "tools/qorbag/bag_text.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;
using qorbag::RecorderStatus;
using Event = RecorderStatus::Event;

constexpr double kMsPerSecond = 1000;

const char* BindingText(maintaind::DriverType driver) {
  return driver == maintaind::DriverType::kDds ? "DDS" : "SOMEIP";
}

double SecondsBetween(const RecorderStatus& status, const RecorderStatus& before) {
  return static_cast<double>(status.elapsedMs - before.elapsedMs) / kMsPerSecond;
}

/// "-" at the beginning.
std::string RateText(std::uint64_t now, std::uint64_t before, double seconds) {
  return seconds > 0 ? FixedText(static_cast<double>(now - before) / seconds, 0) : "-";
}

}  // namespace

std::string RecordTitle(const RecorderStatus& status, const RecorderStatus& before) {
  const double seconds = SecondsBetween(status, before);
  const double bytes = static_cast<double>(status.allSize - std::min(status.allSize, before.allSize));
  return FixedText(static_cast<double>(status.elapsedMs) / kMsPerSecond, 0) + " s  dropped " +
         std::to_string(status.counts.dropped) + "  queue " + ByteText(status.waiting.bytes) + "  " +
         ByteText(status.allSize) + "  " + ByteRateText(seconds > 0 ? bytes / seconds : 0) + "  " +
         RateText(status.written, before.written, seconds) + " messages/s  " + Printable(status.fileName);
}

Table RecordTable(const RecorderStatus& status, const RecorderStatus& before) {
  const double seconds = SecondsBetween(status, before);
  std::map<std::pair<std::string, std::uint32_t>, std::uint64_t> receivedBefore;
  for (const Event& event : before.events) {
    receivedBefore[{event.name, event.number}] = event.counts.received;
  }
  std::vector<const Event*> events;
  for (const Event& event : status.events) {
    events.push_back(&event);
  }
  std::ranges::stable_sort(events, std::greater(), [](const Event* event) { return event->counts.received; });
  Table table({"EVENT", "BINDING", "RATE Hz", "RECEIVED", "DROPPED", "LOST"});
  for (const Event* event : events) {
    const std::uint64_t known = receivedBefore[{event->name, event->number}];
    table.AddRow({event->name, BindingText(event->driver), RateText(event->counts.received, known, seconds),
                  std::to_string(event->counts.received), std::to_string(event->counts.dropped),
                  std::to_string(event->lost)});
  }
  return table;
}

Json RecordJson(const RecorderStatus& status, const char* type) {
  Json events = Json::array();
  for (const Event& event : status.events) {
    events.push_back({{"event", event.name},
                      {"binding", BindingText(event.driver)},
                      {"received", event.counts.received},
                      {"written", event.written},
                      {"skipped", event.counts.skipped},
                      {"dropped", event.counts.dropped},
                      {"lost", event.lost}});
  }
  return {{"type", type},
          {"elapsed", static_cast<double>(status.elapsedMs) / kMsPerSecond},
          {"file", status.fileName},
          {"files", status.files},
          {"splitIndex", status.splitIndex},
          {"fileSize", status.fileSize},
          {"size", status.allSize},
          {"queue", {{"messages", status.waiting.messages}, {"bytes", status.waiting.bytes}}},
          {"received", status.counts.received},
          {"written", status.written},
          {"skipped", status.counts.skipped},
          {"dropped", status.counts.dropped},
          {"lost", status.lost},
          {"events", std::move(events)}};
}

std::string RecordSummary(const RecorderStatus& status) {
  const auto events = std::ranges::count_if(status.events, [](const Event& event) { return event.written != 0; });
  std::string text = "Recorded " + CountText(status.written, "message") + " of " +
                     CountText(static_cast<std::uint64_t>(events), "event") + " in " +
                     FixedText(static_cast<double>(status.elapsedMs) / kMsPerSecond, 1) + " s, " +
                     ByteText(status.allSize);
  text += status.files == 1 ? ", in " : ", in " + CountText(status.files, "file") + "; the last is ";
  text += Printable(status.fileName) + "\n";
  if (status.counts.skipped != 0) {
    text += "Left out, as asked or because they are empty: " + CountText(status.counts.skipped, "sample") + "\n";
  }
  if (status.counts.dropped != 0) {
    text += "Dropped, because writing was too slow or failed: " + CountText(status.counts.dropped, "sample") + "\n";
  }
  if (status.lost != 0) {
    text += "Lost before they arrived here: " + CountText(status.lost, "sample") + "\n";
  }
  return text;
}

}  // namespace qor::tools
