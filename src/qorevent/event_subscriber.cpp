// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/event_subscriber.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "src/common/qor_common.h"
#include "src/qorevent/event_records.h"

namespace qor::qorevent {

using maintaind::DriverType;
using maintaind::EventRegisterInfo;
using maintaind::TransportQos;

bool EventSubscriber::IsUsingRawData(const std::vector<TransportQos>& transports) {
  return std::any_of(transports.begin(), transports.end(), [](TransportQos transport) {
    return transport == TransportQos::kIcc || transport == TransportQos::kFshm || transport == TransportQos::kPcie;
  });
}

std::vector<com::Subscriber> EventSubscriber::DoSubscribe(const std::string& name,
                                                          const std::vector<maintaind::EventInfoWithPubSub>& records,
                                                          const Handler& handler) {
  std::vector<com::Subscriber> subscribers;
  const auto dds = WithBinding(records, DriverType::kDds);
  const auto someip = WithBinding(records, DriverType::kSomeip);
  log_.Info() << "subscribing to [" << name << "]";
  if (dds.has_value()) {
    if (auto subscriber = SubscribeDds(name, *dds, handler)) {
      subscribers.push_back(std::move(subscriber));
    }
  }
  if (someip.has_value()) {
    if (auto subscriber = SubscribeSomeip(name, *someip, handler)) {
      subscribers.push_back(std::move(subscriber));
    }
  }
  if (subscribers.empty() && dds.has_value() && someip.has_value()) {
    log_.Error() << "DDS and SOMEIP record all failed! Stop.";
  }
  return subscribers;
}

com::Subscriber EventSubscriber::SubscribeDds(const std::string& name, const EventRegisterInfo& event,
                                              const Handler& handler) {
  const maintaind::DDSEventInfo& dds = event.bindings.begin()->second.dds;
  if (QorCommon::GetInstance().IsUsingDSHM(dds.transports)) {
    log_.Info() << "[SubscribeEvent][RecvMemory event=" << name << "]";
    if (!IsDpAdapterReady()) {
      log_.Error() << "Dp adapter initialized failed in event: " << name;
      return {};
    }
  } else if (dds.dataMode == maintaind::DataMode::kRawBuffer || IsUsingRawData(dds.transports)) {
    log_.Info() << "[SubscribeEvent][RawData event=" << name << "]";
  } else {
    LogNormalEvent(name);
  }
  return RegisterAndSubscribe(name, event, handler);
}

com::Subscriber EventSubscriber::SubscribeSomeip(const std::string& name, const EventRegisterInfo& event,
                                                 const Handler& handler) {
  const maintaind::SomeipEventInfo& someip = event.bindings.begin()->second.someip;
  if (options_.someipNetwork.empty() && someip.networkName.empty() && someip.networkIp.empty()) {
    log_.Error() << "No SOME/IP network. DoSubscribe SOMEIP event " << name << " ignored!";
    return {};
  }
  LogNormalEvent(name);
  return RegisterAndSubscribe(name, event, handler);
}

com::Subscriber EventSubscriber::RegisterAndSubscribe(const std::string& name, const EventRegisterInfo& event,
                                                      const Handler& handler) {
  const std::lock_guard lock(QorCommon::GetInstance().modifyConfigMutex_);
  if (!RegistConfig(event)) {
    log_.Error() << "Create sub failed! " << name;
    return {};
  }
  const DriverType driver = event.bindings.begin()->first;
  auto subscriber = node_.Subscribe(options_.nodePath + event.eventName,
                                    [driver, handler](const com::RecvBuffer& sample) { handler(driver, sample); });
  CheckSub(name, driver, subscriber);
  return subscriber;
}

bool EventSubscriber::RegistConfig(const EventRegisterInfo& event) const {
  return Helper::AddConfig(/*isPublisher=*/false, options_, event);
}

void EventSubscriber::CheckSub(const std::string& name, DriverType driver, const com::Subscriber& subscriber) const {
  if (subscriber) {
    return;
  }
  if (driver == DriverType::kDds) {
    log_.Error() << "New DDS sub failed for event: " << name;
  } else {
    log_.Error() << "New SOMEIP sub failed for event: " << name;
  }
}

void EventSubscriber::LogNormalEvent(const std::string& name) const {
  log_.Info() << "[SubscribeEvent][Normal event=" << name << "]";
}

}  // namespace qor::qorevent
