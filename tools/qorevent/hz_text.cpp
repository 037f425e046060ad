// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/hz_text.h"

#include "tools/common/number_text.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;
using qorevent::EventHzInfo;
using qorevent::EventHzTotals;

constexpr int kRateDigits = 2;
constexpr int kSecondsDigits = 6;

Json TotalsJson(const std::string& name, const EventHzTotals& totals) {
  return {{"type", "summary"},
          {"event", name},
          {"samples", totals.sampleCount},
          {"bytes", totals.byteCount},
          {"duration", totals.duration},
          {"rate", totals.meanRate},
          {"bandwidth", totals.bandwidth},
          {"lost", totals.lostCount},
          {"subscribed", totals.isSubscribed}};
}

std::string TotalsLine(const std::string& name, const EventHzTotals& totals) {
  return Printable(name) + "\tsummary\tsamples=" + std::to_string(totals.sampleCount) +
         "\tduration=" + FixedText(totals.duration, kSecondsDigits) +
         "\trate=" + FixedText(totals.meanRate, kRateDigits) + "\tbandwidth=" + ByteRateText(totals.bandwidth) +
         "\tlost=" + std::to_string(totals.lostCount) + (totals.isSubscribed ? "\n" : "\tnot subscribed\n");
}

Table ReportTable(const qorevent::EventHzList& events) {
  Table table({"EVENT", "RATE Hz", "MIN s", "MAX s", "STD DEV s", "JITTER s", "WINDOW", "BANDWIDTH"});
  for (const auto& [name, info] : events) {
    table.AddRow({name, FixedText(info.rate, kRateDigits), FixedText(info.minInterval, kSecondsDigits),
                  FixedText(info.maxInterval, kSecondsDigits), FixedText(info.stdDev, kSecondsDigits),
                  FixedText(info.jitter, kSecondsDigits), std::to_string(info.windowSize),
                  ByteRateText(info.bandwidth)});
  }
  return table;
}

Table SummaryTable(const qorevent::EventHzTotalsList& events) {
  Table table({"EVENT", "SAMPLES", "DURATION s", "MEAN RATE Hz", "BANDWIDTH", "LOST"});
  for (const auto& [name, totals] : events) {
    table.AddRow({name, std::to_string(totals.sampleCount), FixedText(totals.duration, 3),
                  FixedText(totals.meanRate, kRateDigits), ByteRateText(totals.bandwidth),
                  totals.isSubscribed ? std::to_string(totals.lostCount) : std::string("not subscribed")});
  }
  return table;
}

}  // namespace

std::string HzLine(const std::string& name, const EventHzInfo& info) {
  return Printable(name) + "\trate=" + FixedText(info.rate, kRateDigits) +
         "\tmin=" + FixedText(info.minInterval, kSecondsDigits) +
         "\tmax=" + FixedText(info.maxInterval, kSecondsDigits) + "\tstddev=" + FixedText(info.stdDev, kSecondsDigits) +
         "\tjitter=" + FixedText(info.jitter, kSecondsDigits) + "\twindow=" + std::to_string(info.windowSize) +
         "\tbandwidth=" + ByteRateText(info.bandwidth) + "\n";
}

Json HzJson(const std::string& name, const EventHzInfo& info) {
  return {{"type", "report"},
          {"event", name},
          {"rate", info.rate},
          {"min", info.minInterval},
          {"max", info.maxInterval},
          {"stdDev", info.stdDev},
          {"jitter", info.jitter},
          {"window", info.windowSize},
          {"bandwidth", info.bandwidth},
          {"samples", info.sampleCount}};
}

void HzPrinter::PrintReport(const qorevent::EventHzList& events) {
  if (!isJson_ && out_.IsTerminal()) {
    table_.Draw(ReportTable(events));
    return;
  }
  for (const auto& [name, info] : events) {
    if (isJson_) {
      out_.WriteJson(HzJson(name, info));
    } else {
      out_.Write(HzLine(name, info));
    }
  }
}

void HzPrinter::PrintSummary(const qorevent::EventHzTotalsList& events) {
  if (!isJson_ && out_.IsTerminal()) {
    out_.Write("\n" + SummaryTable(events).ToText(out_.Style()));
    return;
  }
  for (const auto& [name, totals] : events) {
    if (isJson_) {
      out_.WriteJson(TotalsJson(name, totals));
    } else {
      out_.Write(TotalsLine(name, totals));
    }
  }
}

}  // namespace qor::tools
