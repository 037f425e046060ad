// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/player_publishers.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "platform/com/helper.h"
#include "src/common/qor_common.h"
#include "src/qorbag/player_log.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;

in_addr_t Ipv4Of(const sockaddr* address) {
  sockaddr_in ipv4{};
  std::memcpy(&ipv4, address, sizeof ipv4);
  return ipv4.sin_addr.s_addr;
}

/// Whether an interface of this host is in the network of the address.
bool HasInterfaceTowards(const std::string& ip) {
  in_addr wanted{};
  ifaddrs* list = nullptr;
  if (::inet_pton(AF_INET, ip.c_str(), &wanted) != 1 || ::getifaddrs(&list) != 0) {
    return false;
  }
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET && entry->ifa_netmask != nullptr) {
      const in_addr_t mask = Ipv4Of(entry->ifa_netmask);
      if ((Ipv4Of(entry->ifa_addr) & mask) == (wanted.s_addr & mask)) {
        return true;
      }
    }
  }
  return false;
}

void LogDDSWriterQosInfo(const maintaind::DDSEventInfo& dds) {
  if (!dds.udpMulticastAddress.empty()) {
    kPlayerLog.Verbose() << "[QorPlayer][SetDDSWriterQosInfo][DDS udp multicast addr=" << dds.udpMulticastAddress
                         << "]";
  }
  for (const std::string& address : dds.discoveryMulticastAddresses) {
    kPlayerLog.Verbose() << "[QorPlayer][SetDDSWriterQosInfo][DDS discovery multicast addr=" << address << "]";
  }
}

}  // namespace

void PlayerPublishers::AdvertiseEvents(const std::vector<PlayedEvent>& events) {
  for (const PlayedEvent& event : events) {
    Advertise(event);
  }
}

void PlayerPublishers::Advertise(const PlayedEvent& event) {
  Publishers& publishers = event.isRaw ? raw_ : normal_;
  const PlayedEventIndex index = event.Index();
  if (publishers.contains(index)) {
    return;
  }
  if (com::Publisher publisher = CreatePublisher(event)) {
    publishers.emplace(index, std::move(publisher));
  }
}

com::Publisher PlayerPublishers::CreatePublisher(const PlayedEvent& event) {
  return event.Driver() == DriverType::kDds ? DDSConfig(event) : SOMEIPServiceConfig(event);
}

com::Publisher PlayerPublishers::SOMEIPServiceConfig(const PlayedEvent& event) {
  kPlayerLog.Verbose() << "New SOMEIP pub.";
  com::Publisher publisher = AdvertiseAs(event);
  if (publisher) {
    kPlayerLog.Verbose() << "New SOMEIP pub created.";
  }
  return publisher;
}

com::Publisher PlayerPublishers::DDSConfig(const PlayedEvent& event) {
  const maintaind::DDSEventInfo& dds = event.Binding().dds;
  kPlayerLog.Verbose() << (event.isRaw ? "New DDS pub using raw data." : "New DDS pub.");
  if (!dds.networkIp.empty() && !HasInterfaceTowards(dds.networkIp)) {
    kPlayerLog.Error() << "[QorPlayer] Cannot find available ip from OS, networkSegment=" << dds.networkIp;
    return {};
  }
  LogDDSWriterQosInfo(dds);
  com::Publisher publisher = AdvertiseAs(event);
  if (publisher) {
    kPlayerLog.Verbose() << (event.isRaw ? "New DDS pub using raw data created. " : "New DDS pub created. ");
  } else if (event.isRaw) {
    kPlayerLog.Error() << "Create DDS Pub failed because dp adapter initialization failed for "
                       << event.registration.eventName;
  }
  return publisher;
}

com::Publisher PlayerPublishers::AdvertiseAs(const PlayedEvent& event) {
  constexpr char kPath[] = "/qorbag/play/";
  const Helper::RegisterOptions config{kPath, "", options_.someipNet, std::to_string(made_++)};
  const std::lock_guard lock(QorCommon::GetInstance().modifyConfigMutex_);
  return Helper::AddConfig(/*isPublisher=*/true, config, event.registration)
             ? node_.Advertise(kPath + config.entityName)
             : com::Publisher();
}

com::Publisher* PlayerPublishers::Find(const PlayedEvent& event) {
  Publishers& publishers = event.isRaw ? raw_ : normal_;
  const auto found = publishers.find(event.Index());
  return found != publishers.end() ? &found->second : nullptr;
}

bool PlayerPublishers::WaitForFlush(const std::function<bool()>& isWanted) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kSlice{100};
  const auto end = Clock::now() + std::chrono::seconds(10);
  bool isFlushed = true;
  for (Publishers* publishers : {&normal_, &raw_}) {
    for (auto& [index, publisher] : *publishers) {
      kPlayerLog.Verbose() << "[QorPlay][Event wait for flush][serviceId=" << index.serviceId
                           << ", instanceId=" << index.instanceId << ", eventId=" << index.eventId
                           << ", driverType=" << index.driverType << ", networkSegment=" << index.networkSegment
                           << ", domainId=" << index.domainId << ", topicName=" << index.topicName << "]";
      bool isDone = publisher.WaitForFlush(std::chrono::milliseconds(0));
      while (!isDone && isWanted() && Clock::now() < end) {
        isDone = publisher.WaitForFlush(kSlice);
      }
      isFlushed = isFlushed && isDone;
    }
  }
  return isFlushed;
}

}  // namespace qor::qorbag
