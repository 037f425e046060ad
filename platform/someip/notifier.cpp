// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/notifier.h"

#include <algorithm>
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

ara::core::Result<void> Notifier::AddSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber,
                                                bool isReliable) {
  if (isReliable ? !settings_.hasTcp : settings_.udp == nullptr) {
    return MakeError(WireError::kNotOpen, "eventgroup " + std::to_string(eventgroupId) + " cannot be subscribed by " +
                                              (isReliable ? "TCP" : "UDP") + ", which is not open");
  }
  std::vector<EventPtr> fields;
  Destinations to;
  {
    const std::lock_guard lock(mutex_);
    if (!book_.Add(eventgroupId, subscriber, isReliable)) {
      return {};
    }
    UpdateLocked();
    fields = FieldsOfLocked(eventgroupId, isReliable);
    const auto connection = connections_.find(subscriber);
    if (!isReliable) {
      to.udp.push_back(subscriber);
    } else if (connection != connections_.end()) {
      to.tcp.push_back(connection->second);
    }
  }
  SendLast(fields, to);
  return {};
}

/// A notification that is being sent meanwhile comes first or is the one that is sent here; never an older one last.
void Notifier::SendLast(const std::vector<EventPtr>& fields, const Destinations& to) {
  for (const EventPtr& field : fields) {
    const std::lock_guard sending(field->sending);
    if (field->hasLast) {
      (void)Send(field->settings, field->last, to);  // what is unsent is counted by the socket
    }
  }
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

bool Notifier::AddConnection(std::shared_ptr<TcpConnection> connection, std::size_t maxConnections) {
  std::vector<EventPtr> fields;
  {
    const std::lock_guard lock(mutex_);
    if (connections_.size() >= maxConnections) {
      return false;
    }
    connections_[connection->Remote()] = connection;
    UpdateLocked();
    // Its subscription may have overtaken it.
    for (const std::uint16_t eventgroupId : book_.EventgroupsOf(connection->Remote(), true)) {
      const auto some = FieldsOfLocked(eventgroupId, true);
      fields.insert(fields.end(), some.begin(), some.end());
    }
  }
  SendLast(fields, {{}, {std::move(connection)}});
  return true;
}

bool Notifier::HasConnection(const Endpoint& peer) const {
  const std::lock_guard lock(mutex_);
  return connections_.contains(peer);
}

void Notifier::RemoveConnection(const TcpConnection& connection) {
  const std::lock_guard lock(mutex_);
  const auto found = connections_.find(connection.Remote());
  if (found == connections_.end() || found->second.get() != &connection) {
    return;
  }
  book_.RemoveAll(connection.Remote(), true);
  connections_.erase(found);
  UpdateLocked();
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

std::vector<Notifier::EventPtr> Notifier::FieldsOfLocked(std::uint16_t eventgroupId, bool isReliable) const {
  std::vector<EventPtr> fields;
  for (const auto& [eventId, event] : events_) {
    const EventSettings& settings = event->settings;
    if (settings.isField && settings.isReliable == isReliable &&
        std::ranges::find(settings.eventgroups, eventgroupId) != settings.eventgroups.end()) {
      fields.push_back(event);
    }
  }
  return fields;
}

}  // namespace qor::someip
