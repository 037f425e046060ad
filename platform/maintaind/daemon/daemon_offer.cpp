// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/daemon_offer.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "platform/maintaind/service/tools_service.h"

namespace qor::maintaind {
namespace {

using someip::sd::RemoteService;

constexpr std::uint16_t kToolsService = QORMaintaindToolsService::ServiceIdentifier;
constexpr std::uint8_t kToolsVersion = 1;
constexpr const char* kInstanceKey = "instance";
constexpr std::uint16_t kAnyInstance = 65535;

std::optional<std::uint16_t> DaemonInstanceOf(const someip::sd::Configuration& configuration) {
  const auto item = std::ranges::find(configuration, kInstanceKey, &someip::sd::ConfigurationItem::key);
  if (item == configuration.end() || !item->value) {
    return std::nullopt;
  }
  const std::string& text = *item->value;
  std::uint16_t instance = kAnyInstance;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), instance);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber && instance != kAnyInstance ? std::optional(instance) : std::nullopt;
}

}  // namespace

bool IsToolsService(const someip::sd::ServiceKey& key) { return key.service == kToolsService; }

someip::sd::OfferedService OfferOfDaemon(std::uint16_t daemonInstance, std::uint16_t serviceInstance,
                                         const someip::Endpoint& endpoint) {
  someip::sd::OfferedService service;
  service.key = {kToolsService, serviceInstance, kToolsVersion};
  service.endpoints.tcp = endpoint;
  service.configuration.push_back({kInstanceKey, std::to_string(daemonInstance)});
  return service;
}

std::optional<RemoteDaemon> DaemonOf(const RemoteService& service) {
  const auto& tcp = service.endpoints.tcp;
  if (!IsToolsService(service.key) || service.key.major != kToolsVersion ||
      service.state != RemoteService::State::kOffered || !tcp || tcp->address != service.host) {
    return std::nullopt;
  }
  const auto instance = DaemonInstanceOf(service.configuration);
  if (!instance) {
    return std::nullopt;
  }
  return RemoteDaemon{.instance = *instance, .address = tcp->address.Text(), .port = tcp->port};
}

}  // namespace qor::maintaind
