// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/port_map.h"

#include <algorithm>

#include "src/qorbag/player_log.h"
#include "src/qorbag/port_range.h"

namespace qor::qorbag {
namespace {

std::string JoinPorts(const auto& ports) {
  std::string text;
  for (const std::uint16_t port : ports) {
    text += (text.empty() ? "" : ", ") + std::to_string(port);
  }
  return text;
}

}  // namespace

void PortMap::Add(const maintaind::SomeipEventInfo& event) {
  const auto [instance, isNew] = instances_.try_emplace({event.serviceId, event.instanceId});
  if (!isNew) {
    kPlayerLog.Verbose() << "Service instance existed, update port";
  }
  for (const std::uint16_t port : {event.udpPort, event.tcpPort}) {
    if (port != 0) {
      instance->second.emplace(port, port);
    }
  }
}

bool PortMap::CheckPortStatus() {
  std::vector<std::uint16_t> required;
  missing_.clear();
  bool isRepeated = false;
  for (const auto& [instance, ports] : instances_) {
    for (const auto& [port, current] : ports) {
      if (std::ranges::find(required, port) != required.end()) {
        isRepeated = true;
        missing_.insert(port);
      } else if (IsTaken(port)) {
        kPlayerLog.Warn() << "Service " << instance.first << " instance " << instance.second << " port " << port
                          << " in use!";
        missing_.insert(port);
      }
      required.push_back(port);
    }
  }
  kPlayerLog.Info() << "Required ports : " << JoinPorts(required);
  if (isRepeated) {
    kPlayerLog.Warn() << "Original ports repeated!";
  }
  if (missing_.empty()) {
    kPlayerLog.Info() << "Original ports are all available!";
  }
  return missing_.empty();
}

bool PortMap::IsTaken(std::uint16_t port) const {
  if (used_.contains(port)) {
    kPlayerLog.Info() << "Port may be used!";
    return true;
  }
  return isInUse_(port);
}

bool PortMap::GetInputPubPort(const std::string& range) {
  const auto input = CheckInputPortInfo(range);
  if (!input) {
    return false;
  }
  const auto ports = GetInputPorts(input->low, input->high, Needed());
  if (ports.size() < Needed()) {
    kPlayerLog.Error() << "Input available ports " << ports.size() << " not enough!";
    return false;
  }
  UpdatePortMap(ports);
  return true;
}

std::vector<std::uint16_t> PortMap::GetInputPorts(std::uint16_t low, std::uint16_t high, std::size_t needed) const {
  std::vector<std::uint16_t> free;
  for (std::uint32_t port = std::max<std::uint16_t>(low, 1); port <= high && free.size() < needed; ++port) {
    if (!IsTaken(static_cast<std::uint16_t>(port))) {
      free.push_back(static_cast<std::uint16_t>(port));
    }
  }
  return free;
}

void PortMap::UpdatePortMap(const std::vector<std::uint16_t>& ports) {
  auto next = ports.begin();
  for (auto& [instance, replacements] : instances_) {
    for (auto& [original, current] : replacements) {
      current = *next++;
      kPlayerLog.Info() << "Service " << instance.first << " instance " << instance.second << " original port "
                        << original << " update!";
      kPlayerLog.Info() << "After get input port, available currentPort_ : " << current;
    }
  }
}

void PortMap::Apply(maintaind::SomeipEventInfo& event) const {
  const auto instance = instances_.find({event.serviceId, event.instanceId});
  if (instance == instances_.end()) {
    return;
  }
  for (std::uint16_t* port : {&event.udpPort, &event.tcpPort}) {
    const auto found = instance->second.find(*port);
    *port = found != instance->second.end() ? found->second : *port;
  }
}

std::string PortMap::MissingText() const { return JoinPorts(missing_); }

std::size_t PortMap::Needed() const {
  std::size_t count = 0;
  for (const auto& [instance, ports] : instances_) {
    count += ports.size();
  }
  return count;
}

}  // namespace qor::qorbag
