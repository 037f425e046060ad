// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PORT_MAP_H
#define QOR_QORBAG_PORT_MAP_H

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "src/common/records/event_info.h"

namespace qor::qorbag {

/// The ports of the SOME/IP service instances that are played, and what takes the place of those that cannot be had.
/// Used by one thread.
class PortMap {
 public:
  using Probe = std::function<bool(std::uint16_t port)>;

  /// `used` are known to be taken; `isInUse` finds out about others.
  PortMap(std::set<std::uint16_t> used, Probe isInUse) : used_(std::move(used)), isInUse_(std::move(isInUse)) {}

  /// The service instance of the event needs its ports.
  void Add(const maintaind::SomeipEventInfo& event);

  /// Whether all ports that are needed can be had, each by the one that needs it.
  bool CheckPortStatus();
  /// Replaces all of them by free ones of the range (see CheckInputPortInfo). False, with a line in the log, when that
  /// is none, or too small.
  bool GetInputPubPort(const std::string& range);

  /// Puts what takes their place into the ports of an event.
  void Apply(maintaind::SomeipEventInfo& event) const;
  /// Those that CheckPortStatus found taken or needed twice, as "30501, 30502".
  std::string MissingText() const;

 private:
  using Instance = std::pair<std::uint16_t, std::uint16_t>;     // service id, instance id
  using Replacements = std::map<std::uint16_t, std::uint16_t>;  // original port -> current one

  bool IsTaken(std::uint16_t port) const;
  std::vector<std::uint16_t> GetInputPorts(std::uint16_t low, std::uint16_t high, std::size_t needed) const;
  void UpdatePortMap(const std::vector<std::uint16_t>& ports);
  std::size_t Needed() const;

  const std::set<std::uint16_t> used_;
  const Probe isInUse_;
  std::map<Instance, Replacements> instances_;
  std::set<std::uint16_t> missing_;
};

}  // namespace qor::qorbag

#endif
