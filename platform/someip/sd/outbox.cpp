// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/outbox.h"

#include <utility>

namespace qor::someip::sd {

SessionCounter::Session SessionCounter::Next() {
  if (++last_ == 0) {
    last_ = 1;  // 0 would say that sessions are not counted
    hasWrapped_ = true;
  }
  return {last_, !hasWrapped_};
}

/// An entry that no message can hold is left out.
template <class Send>
void Outbox::Pack(const std::vector<Entry>& entries, SessionCounter& sessions, Send send) {
  SdMessageWriter writer;
  const auto finish = [&] {
    const auto session = sessions.Next();
    send(writer.Finish(session.number, session.isReboot));
  };
  for (const Entry& entry : entries) {
    if (writer.Add(entry)) {
      continue;
    }
    if (!writer.IsEmpty()) {
      finish();
      static_cast<void>(writer.Add(entry));
    }
  }
  if (!writer.IsEmpty()) {
    finish();
  }
}

void Outbox::Flush() {
  const auto multicast = std::exchange(multicast_, {});
  const auto unicast = std::exchange(unicast_, {});
  Pack(multicast, multicastSessions_, [this](const auto& message) { sender_.SendMulticast(message); });
  for (const auto& [destination, entries] : unicast) {
    Pack(entries, SessionsTo(destination),
         [this, to = destination](const auto& message) { sender_.SendUnicast(to, message); });
  }
}

SessionCounter& Outbox::SessionsTo(Ipv4Address destination) {
  const auto found = sessions_.find(destination);
  if (found != sessions_.end()) {
    return found->second;
  }
  return sessions_.size() < maxDestinations_ ? sessions_[destination] : furtherSessions_;
}

}  // namespace qor::someip::sd
