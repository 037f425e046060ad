// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_OUTBOX_H
#define QOR_SOMEIP_SD_OUTBOX_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "platform/someip/sd/sd_message.h"
#include "platform/someip/sd/sd_sender.h"

namespace qor::someip::sd {

/// Numbers the messages to one destination: 1 to 0xFFFF and again from 1. The reboot flag is set until the first wrap.
class SessionCounter {
 public:
  struct Session {
    std::uint16_t number;
    bool isReboot;
  };
  Session Next();

 private:
  std::uint16_t last_ = 0;
  bool hasWrapped_ = false;
};

/// Collects entries and sends them, as few messages as hold them, in the order in which they came.
class Outbox {
 public:
  /// Remembers the sessions of at most `maxDestinations`. All further destinations share one counter: for each of them
  /// it still grows, which is what a receiver looks at.
  Outbox(SdSender& sender, std::size_t maxDestinations) : sender_(sender), maxDestinations_(maxDestinations) {}

  void AddMulticast(Entry entry) { multicast_.push_back(std::move(entry)); }
  void AddUnicast(Ipv4Address destination, Entry entry) { unicast_[destination].push_back(std::move(entry)); }
  void Flush();

  std::size_t DestinationCount() const { return sessions_.size(); }

 private:
  template <class Send>
  static void Pack(const std::vector<Entry>& entries, SessionCounter& sessions, Send send);
  SessionCounter& SessionsTo(Ipv4Address destination);

  SdSender& sender_;
  const std::size_t maxDestinations_;
  std::vector<Entry> multicast_;
  std::map<Ipv4Address, std::vector<Entry>> unicast_;
  SessionCounter multicastSessions_;
  std::map<Ipv4Address, SessionCounter> sessions_;
  SessionCounter furtherSessions_;
};

}  // namespace qor::someip::sd

#endif
