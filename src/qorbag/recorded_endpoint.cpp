// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recorded_endpoint.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace qor::qorbag {
namespace {

using maintaind::DDSEventInfo;
using maintaind::DurabilityQos;
using maintaind::HistoryKind;
using maintaind::ReliabilityKind;

constexpr char kSeparator = ';';

constexpr std::array<std::pair<std::string_view, DurabilityQos>, 3> kDurabilities{{
    {"transient_local", DurabilityQos::kTransientLocal},
    {"transient", DurabilityQos::kTransient},
    {"persistent", DurabilityQos::kPersistent},
}};

/// Numbers by name; 0 is the default of each.
template <class Endpoint, class F>
void VisitNumbers(Endpoint& endpoint, F visit) {
  visit("max_sample_size", endpoint.maxSampleSize);
  visit("transport_priority", endpoint.transportPriority);
  visit("segment_size", endpoint.sharedMemorySegmentSize);
}

template <class Number>
bool ParseNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

void RestoreText(std::string_view name, std::string_view value, DDSEventInfo& endpoint) {
  if (name == "type") {
    endpoint.typeName = value;
  } else if (name == "partition") {
    endpoint.partition = value;
  } else if (name == "keep_last") {
    ParseNumber(value, endpoint.qos.history.depth);
  }
  VisitNumbers(endpoint, [&](std::string_view known, auto& number) {
    if (name == known) {
      ParseNumber(value, number);
    }
  });
}

void RestoreFlag(std::string_view flag, DDSEventInfo& endpoint) {
  if (flag == "best_effort") {
    endpoint.qos.reliability = ReliabilityKind::kBestEffort;
  } else if (flag == "keep_all") {
    endpoint.qos.history.kind = HistoryKind::kKeepAll;
  }
  for (const auto& [name, durability] : kDurabilities) {
    if (flag == name) {
      endpoint.qos.durability = durability;
    }
  }
}

}  // namespace

std::string WithEndpointSettings(const DDSEventInfo& endpoint, const std::string& dataType) {
  std::string text = endpoint.qosProfile;
  const auto add = [&text](std::string_view setting, std::string_view value = {}) {
    text.append(1, kSeparator).append(setting).append(value);
  };
  const maintaind::QosInfo& qos = endpoint.qos;
  if (qos.reliability == ReliabilityKind::kBestEffort) {
    add("best_effort");
  }
  for (const auto& [name, durability] : kDurabilities) {
    if (qos.durability == durability) {
      add(name);
    }
  }
  if (qos.history.kind == HistoryKind::kKeepAll) {
    add("keep_all");
  } else if (qos.history.depth != maintaind::HistoryQos{}.depth) {
    add("keep_last=", std::to_string(qos.history.depth));
  }
  if (!endpoint.typeName.empty() && endpoint.typeName != dataType) {
    add("type=", endpoint.typeName);
  }
  if (!endpoint.partition.empty()) {
    add("partition=", endpoint.partition);
  }
  VisitNumbers(endpoint, [&](const std::string& name, auto number) {
    if (number != 0) {
      add(name + "=", std::to_string(number));
    }
  });
  return text;
}

void RestoreEndpointSettings(DDSEventInfo& endpoint) {
  const std::string text = std::exchange(endpoint.qosProfile, {});
  std::string_view rest = text;
  const auto take = [&rest] {
    const std::string_view one = rest.substr(0, rest.find(kSeparator));
    rest.remove_prefix(std::min(rest.size(), one.size() + 1));
    return one;
  };
  endpoint.qosProfile = take();
  while (!rest.empty()) {
    const std::string_view setting = take();
    if (const std::size_t equals = setting.find('='); equals != std::string_view::npos) {
      RestoreText(setting.substr(0, equals), setting.substr(equals + 1), endpoint);
    } else {
      RestoreFlag(setting, endpoint);
    }
  }
}

}  // namespace qor::qorbag
