// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/notifier.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "platform/someip/udp_message.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {
namespace {

constexpr std::uint16_t kFirstEventId = 0x8000;

std::string EventText(std::uint16_t eventId) { return "event " + std::to_string(eventId); }

}  // namespace

ara::core::Result<void> Notifier::Check(const EventSettings& settings) const {
  if (settings.eventId < kFirstEventId || settings.eventId == 0xFFFF) {
    return MakeError(WireError::kBadArgument,
                     "an event's id must be from 32768 to 65534, not " + std::to_string(settings.eventId));
  }
  if (settings.tp && !settings.tp->Check().empty()) {
    return MakeError(WireError::kBadArgument, EventText(settings.eventId) + ": " + settings.tp->Check());
  }
  if (settings.isReliable ? !settings_.hasTcp : settings_.udp == nullptr) {
    return MakeError(WireError::kNotOpen, EventText(settings.eventId) + " needs " +
                                              (settings.isReliable ? "TCP" : "UDP") + ", which is not open");
  }
  return {};
}

ara::core::Result<void> Notifier::AddEvent(const EventSettings& settings) {
  if (auto checked = Check(settings); !checked) {
    return checked;
  }
  const auto event = std::make_shared<Event>();
  event->settings = settings;
  const std::lock_guard lock(mutex_);
  event->destinations = FindDestinationsLocked(settings);
  events_[settings.eventId] = event;
  return {};
}

void Notifier::RemoveEvent(std::uint16_t eventId) {
  const std::lock_guard lock(mutex_);
  events_.erase(eventId);
}

ara::core::Result<void> Notifier::Notify(std::uint16_t eventId, std::span<const std::uint8_t> payload) {
  EventPtr event;
  {
    const std::lock_guard lock(mutex_);
    const auto found = events_.find(eventId);
    if (found == events_.end()) {
      return MakeError(WireError::kUnknownEvent, "there is no " + EventText(eventId));
    }
    event = found->second;
  }
  const EventSettings& settings = event->settings;
  const bool isSegmented = !settings.isReliable && payload.size() > kMaxUdpPayload;
  if (payload.size() > settings_.maxMessageSize || (isSegmented && !settings.tp)) {
    return MakeError(WireError::kTooLarge,
                     EventText(eventId) + ": " + std::to_string(payload.size()) + " bytes, but " +
                         (isSegmented && !settings.tp ? "a datagram takes 1400 and segmentation is off"
                                                      : "at most " + std::to_string(settings_.maxMessageSize)));
  }
  const std::lock_guard sending(event->sending);
  if (settings.isField) {
    event->last.assign(payload.begin(), payload.end());
    event->hasLast = true;
  }
  std::shared_ptr<const Destinations> destinations;
  {
    const std::lock_guard lock(mutex_);
    destinations = event->destinations;
    event->newcomers.clear();
  }
  if (!Send(settings, payload, *destinations)) {
    return MakeError(WireError::kNotSent, EventText(eventId) + ": the system did not take all datagrams");
  }
  return {};
}

/// A TCP peer that takes no more is dropped, which is not the sender's concern.
bool Notifier::Send(const EventSettings& event, std::span<const std::uint8_t> payload, const Destinations& to) {
  MessageHeader header;
  header.serviceId = settings_.serviceId;
  header.methodId = event.eventId;
  header.SetPayloadSize(payload.size());
  header.sessionId = NextSession();
  header.interfaceVersion = settings_.majorVersion;
  header.type = MessageType::kNotification;
  if (!event.isReliable) {
    return SendUdpMessage(*settings_.udp, header, payload, to.udp, event.tp ? &*event.tp : nullptr);
  }
  const auto head = EncodeHeader(header);
  for (const Connection& connection : to.tcp) {
    (void)connection->Send(head, payload);
  }
  return true;
}

std::uint16_t Notifier::NextSession() {
  std::uint16_t session = 0;
  while (session == 0) {
    session = static_cast<std::uint16_t>(session_.fetch_add(1, std::memory_order_relaxed) + 1);
  }
  return session;
}

ara::core::Result<bool> Notifier::AddSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber,
                                                bool isReliable) {
  if (isReliable ? !settings_.hasTcp : settings_.udp == nullptr) {
    return MakeError(WireError::kNotOpen, "eventgroup " + std::to_string(eventgroupId) + " cannot be subscribed by " +
                                              (isReliable ? "TCP" : "UDP") + ", which is not open");
  }
  const std::lock_guard lock(mutex_);
  if (!book_.Add(eventgroupId, subscriber, isReliable)) {
    return false;
  }
  UpdateLocked();
  return AddNewcomerLocked(eventgroupId, subscriber, isReliable);
}

/// To the fields of one eventgroup. False when it has none.
bool Notifier::AddNewcomerLocked(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable) {
  bool isAdded = false;
  for (const auto& [eventId, event] : events_) {
    const EventSettings& settings = event->settings;
    if (settings.isField && settings.isReliable == isReliable &&
        std::ranges::find(settings.eventgroups, eventgroupId) != settings.eventgroups.end()) {
      event->newcomers.insert(subscriber);
      isAdded = true;
    }
  }
  return isAdded;
}

/// A notification that is being sent meanwhile comes first, or is the one that is sent here, or makes this one
/// needless; never an older one last.
void Notifier::SendFields() {
  for (const EventPtr& field : FieldsWithNewcomers()) {
    const std::lock_guard sending(field->sending);
    if (const Destinations to = TakeNewcomers(*field); field->hasLast) {
      (void)Send(field->settings, field->last, to);  // what is unsent is counted by the socket
    }
  }
}

std::vector<Notifier::EventPtr> Notifier::FieldsWithNewcomers() const {
  const std::lock_guard lock(mutex_);
  std::vector<EventPtr> fields;
  for (const auto& [eventId, event] : events_) {
    if (!event->newcomers.empty()) {
      fields.push_back(event);
    }
  }
  return fields;
}

/// Those of them who are subscribers still, and connected.
Notifier::Destinations Notifier::TakeNewcomers(Event& field) {
  const std::lock_guard lock(mutex_);
  const auto newcomers = std::exchange(field.newcomers, {});
  Destinations to;
  std::ranges::copy_if(field.destinations->udp, std::back_inserter(to.udp),
                       [&](const Endpoint& subscriber) { return newcomers.contains(subscriber); });
  std::ranges::copy_if(field.destinations->tcp, std::back_inserter(to.tcp),
                       [&](const Connection& connection) { return newcomers.contains(connection->Remote()); });
  return to;
}

bool Notifier::RemoveSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable) {
  const std::lock_guard lock(mutex_);
  const bool isRemoved = book_.Remove(eventgroupId, subscriber, isReliable);
  UpdateLocked();
  return isRemoved;
}

void Notifier::RemoveAllSubscribers(const Endpoint& subscriber) {
  const std::lock_guard lock(mutex_);
  book_.RemoveAll(subscriber, true);
  book_.RemoveAll(subscriber, false);
  UpdateLocked();
}

std::size_t Notifier::SubscriberCount(std::uint16_t eventgroupId) const {
  const std::lock_guard lock(mutex_);
  return book_.Count(eventgroupId);
}

bool Notifier::AddConnection(const std::shared_ptr<TcpConnection>& connection, std::size_t maxConnections) {
  const Endpoint& peer = connection->Remote();
  {
    const std::lock_guard lock(mutex_);
    if (connections_.size() >= maxConnections) {
      return false;
    }
    connections_[peer] = connection;
    UpdateLocked();
    for (const std::uint16_t eventgroupId : book_.EventgroupsOf(peer, true)) {  // they may have overtaken it
      AddNewcomerLocked(eventgroupId, peer, true);
    }
  }
  SendFields();
  return true;
}

bool Notifier::HasConnection(const Endpoint& peer) const {
  const std::lock_guard lock(mutex_);
  return connections_.contains(peer);
}

bool Notifier::RemoveConnection(const TcpConnection& connection) {
  const std::lock_guard lock(mutex_);
  const auto found = connections_.find(connection.Remote());
  if (found == connections_.end() || found->second.get() != &connection) {
    return false;
  }
  book_.RemoveAll(connection.Remote(), true);
  connections_.erase(found);
  UpdateLocked();
  return true;
}

std::vector<std::shared_ptr<TcpConnection>> Notifier::Connections() const {
  const std::lock_guard lock(mutex_);
  std::vector<Connection> all;
  for (const auto& [remote, connection] : connections_) {
    all.push_back(connection);
  }
  return all;
}

/// After every change of subscribers or connections, which are rare beside messages.
void Notifier::UpdateLocked() {
  for (const auto& [eventId, event] : events_) {
    event->destinations = FindDestinationsLocked(event->settings);
  }
}

std::shared_ptr<const Notifier::Destinations> Notifier::FindDestinationsLocked(const EventSettings& settings) const {
  auto destinations = std::make_shared<Destinations>();
  std::vector<Endpoint> subscribers = book_.Of(settings.eventgroups, settings.isReliable);
  if (!settings.isReliable) {
    destinations->udp = std::move(subscribers);
    return destinations;
  }
  for (const Endpoint& subscriber : subscribers) {
    if (const auto found = connections_.find(subscriber); found != connections_.end()) {
      destinations->tcp.push_back(found->second);
    }
  }
  return destinations;
}

}  // namespace qor::someip
