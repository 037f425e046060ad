// SPDX-License-Identifier: Apache-2.0
#include "src/common/communicability.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

#include "platform/com/host_domain.h"
#include "platform/log/qor_log.h"

namespace qor::common {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::TransportQos;
using qorevent::CommunicableType;

constexpr QorLog kLog{"QorCommon"};
constexpr std::size_t kLongestAppName = 5000;

bool UsesOneOf(const EventInfoWithPubSub& record, std::initializer_list<TransportQos> wanted) {
  const auto dds = record.bindings.find(DriverType::kDds);
  return dds != record.bindings.end() && std::ranges::any_of(dds->second.dds.transports, [wanted](TransportQos used) {
           return std::ranges::find(wanted, used) != wanted.end();
         });
}

}  // namespace

std::string GetHostDomainInfo() {
  const std::string domain = com::HostDomainName();
  kLog.Debug() << "[QorMaintaindEventClient][Get app host domain name][domainName=" << domain << "]";
  return domain;
}

Communicability Communicability::OfThisHost() { return {GetHostDomainInfo(), ResourceConfig::Load()}; }

bool Communicability::IsTheSameField(const std::string& appName) const {
  if (appName.empty() || appName.size() > kLongestAppName) {
    kLog.Warn() << "[QorCommon][App name length should not be 0 or greater than 5000][length=" << appName.size() << "]";
    return false;
  }
  const std::string field = config_.FieldOf(appName);
  kLog.Debug() << "[QorCommon][Server fieldName=" << field << ", Current fieldName=" << config_.CurrentField() << "]";
  return field == config_.CurrentField();
}

bool Communicability::IsIccAvailable(const std::string& appName, const std::string& hostDomain) const {
  if (hostDomain == hostDomain_ || !IsTheSameField(appName)) {
    return false;
  }
  kLog.Debug() << "[QorCommon][ICC available in DP_Linux and DP_Core]";
  return true;
}

bool Communicability::FiltByLocal(const EventInfoWithPubSub& record) const {
  if (record.hostDomainName != hostDomain_ || !IsTheSameField(record.applicationName) ||
      !UsesOneOf(record, {TransportQos::kShm, TransportQos::kDshm, TransportQos::kDshmMbuf, TransportQos::kFshm})) {
    return false;
  }
  kLog.Debug() << "[QorCommon][FiltByLocal event][eventName=" << record.eventName << "]";
  return true;
}

bool Communicability::FiltByNetwork(const EventInfoWithPubSub& record) {
  if (record.bindings.contains(DriverType::kDds)) {
    if (!UsesOneOf(record, {TransportQos::kUdp})) {
      return false;
    }
    kLog.Debug() << "[FiltByNetwork][eventName=" << record.eventName << "]";
    return true;
  }
  if (!record.bindings.contains(DriverType::kSomeip)) {
    return false;
  }
  kLog.Debug() << "[QorCommon][FiltByNetwork][eventName=" << record.eventName << "]";
  return true;
}

bool Communicability::FiltByCross(const EventInfoWithPubSub& record) const {
  if (!IsIccAvailable(record.applicationName, record.hostDomainName)) {
    kLog.Debug() << "[QorCommon][ICC unavailable][eventName=" << record.eventName << "]";
    return false;
  }
  if (!UsesOneOf(record, {TransportQos::kIcc})) {
    return false;
  }
  kLog.Debug() << "[QorCommon][FiltByCross][eventName=" << record.eventName << "]";
  return true;
}

bool Communicability::FiltByAll(const EventInfoWithPubSub& record) const {
  if (FiltByLocal(record)) {
    kLog.Debug() << "[QorCommon][FiltByAll][The event is local communicable event][event=" << record.eventName << "]";
    return true;
  }
  if (FiltByNetwork(record)) {
    kLog.Debug() << "[QorCommon][FiltByAll][The event is network communicable event][event=" << record.eventName << "]";
    return true;
  }
  if (FiltByCross(record)) {
    kLog.Debug() << "[QorCommon][FiltByAll][The event is cross communicable event][event=" << record.eventName << "]";
    return true;
  }
  return false;
}

bool Communicability::IsKept(const EventInfoWithPubSub& record, CommunicableType type) const {
  if (type == CommunicableType::kLocal && FiltByLocal(record)) {
    kLog.Debug() << "[QorCommon][LOCAL][eventName=" << record.eventName << "]";
    return true;
  }
  if (type == CommunicableType::kNetwork && FiltByNetwork(record)) {
    kLog.Debug() << "[QorCommon][NETWORK][eventName=" << record.eventName << "]";
    return true;
  }
  if (type == CommunicableType::kCross && FiltByCross(record)) {
    kLog.Debug() << "[QorCommon][CROSS][eventName=" << record.eventName << "]";
    return true;
  }
  if (type == CommunicableType::kAll && FiltByAll(record)) {
    kLog.Debug() << "[QorCommon][ALL][eventName=" << record.eventName << "]";
    return true;
  }
  return false;
}

}  // namespace qor::common
