// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/neighbour_daemons.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>
#include <vector>

#include "platform/maintaind/service/tools_service.h"

namespace qor::maintaind {
namespace {

constexpr std::uint16_t kToolsService = QORMaintaindToolsService::ServiceIdentifier;
constexpr std::uint8_t kToolsVersion = 1;
constexpr const char* kInstanceKey = "instance";

/// Neither 0 nor "any".
std::uint16_t InstanceOf(someip::Ipv4Address address) {
  return std::clamp<std::uint16_t>(static_cast<std::uint16_t>(address.value), 1, someip::sd::kAnyInstance - 1);
}

std::optional<std::uint16_t> DaemonInstanceOf(const someip::sd::Configuration& configuration) {
  const auto item = std::ranges::find(configuration, kInstanceKey, &someip::sd::ConfigurationItem::key);
  if (item == configuration.end() || !item->value) {
    return std::nullopt;
  }
  const std::string& text = *item->value;
  std::uint16_t instance = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), instance);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(instance) : std::nullopt;
}

}  // namespace

ara::core::Result<someip::sd::OfferedService> NeighbourDaemons::Open(someip::Ipv4Address address) {
  const auto port = tools_.Open(address);
  if (!port) {
    return port.Error();
  }
  someip::sd::OfferedService service;
  service.key = {kToolsService, InstanceOf(address), kToolsVersion};
  service.endpoints.tcp = someip::Endpoint{address, port.Value()};
  service.configuration.push_back({kInstanceKey, std::to_string(instance_)});
  return service;
}

bool NeighbourDaemons::IsDaemon(const someip::sd::ServiceKey& key) { return key.service == kToolsService; }

void NeighbourDaemons::OnOffered(const someip::sd::RemoteService& service) {
  const auto instance = DaemonInstanceOf(service.configuration);
  const auto& tcp = service.endpoints.tcp;
  if (!instance || !tcp || tcp->address != service.host || service.key.major != kToolsVersion) {
    OnGone(service);
    return;
  }
  daemons_[service.key] = {.instance = *instance, .address = tcp->address.Text(), .port = tcp->port};
  Publish();
}

void NeighbourDaemons::OnGone(const someip::sd::RemoteService& service) {
  if (daemons_.erase(service.key) != 0) {
    Publish();
  }
}

void NeighbourDaemons::Publish() {
  std::vector<RemoteDaemon> daemons;
  for (const auto& [key, daemon] : daemons_) {
    daemons.push_back(daemon);
  }
  board_.Set(std::move(daemons));
}

}  // namespace qor::maintaind
