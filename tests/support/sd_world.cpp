// SPDX-License-Identifier: Apache-2.0
#include "tests/support/sd_world.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qor::test {

using namespace someip::sd;

namespace {

std::string Hex(std::uint32_t value) {
  char text[9];
  std::snprintf(text, sizeof(text), "%x", value);
  return text;
}

std::string NameOf(const ServiceKey& key) { return Hex(key.service) + "." + Hex(key.instance); }
std::string NameOf(SdWorld::Address address) { return "host" + std::to_string(address.value & 0xFFU); }

}  // namespace

void SdWorld::Host::Tell(const std::string& line) {
  told_ += line + ";";
  if (onTold) {
    onTold(line);
  }
}

void SdWorld::Host::SendMulticast(std::span<const std::uint8_t> message) {
  world_.Post(address_, std::nullopt, message);
}
void SdWorld::Host::SendUnicast(Address destination, std::span<const std::uint8_t> message) {
  world_.Post(address_, destination, message);
}

void SdWorld::Host::OnServiceOffered(const RemoteService& service) {
  Tell("offered " + NameOf(service.key) + " by " + NameOf(service.host));
}
void SdWorld::Host::OnServiceChanged(const RemoteService& service) { Tell("changed " + NameOf(service.key)); }
void SdWorld::Host::OnServiceGone(const RemoteService& service) {
  Tell("gone " + NameOf(service.key) + " " + Text(service.state));
}
std::optional<Refusal> SdWorld::Host::OnSubscribe(const Subscriber& subscriber) {
  Tell("subscriber " + NameOf(subscriber.host) + " of " + Hex(subscriber.eventgroup));
  return answer;
}
void SdWorld::Host::OnSubscriberEnded(const Subscriber& subscriber, SubscriberEnd end) {
  Tell("subscriber " + NameOf(subscriber.host) + " " + Text(end));
}
void SdWorld::Host::OnSubscriberRefused(const Subscriber& subscriber, Refusal reason) {
  Tell("refused " + NameOf(subscriber.host) + " " + Text(reason));
}
void SdWorld::Host::OnSubscriptionState(const Subscription& subscription) {
  Tell("subscription " + Hex(subscription.eventgroup) + " " + Text(subscription.state) +
       (subscription.multicast ? " " + subscription.multicast->address.Text() : ""));
}
void SdWorld::Host::OnReboot(Address host) { Tell("reboot " + NameOf(host)); }
void SdWorld::Host::OnConflict(const ServiceKey& key, std::optional<Address> owner, Address claimant) {
  Tell("conflict " + NameOf(key) + " of " + (owner ? NameOf(*owner) : "us") + " with " + NameOf(claimant));
}
void SdWorld::Host::OnFault(Address sender, SdFault fault) { Tell("fault " + NameOf(sender) + " " + Text(fault)); }

SdWorld::Host& SdWorld::AddHost(std::uint32_t address) {
  hosts_.push_back(std::make_unique<Host>(*this, Address{address}));
  Restart(*hosts_.back());
  return *hosts_.back();
}

void SdWorld::Restart(Host& host) {
  host.agent_ = std::make_unique<SdAgent>(
      config, [this] { return now_; }, host, host, host.address_.value);
  host.told_.clear();
}

void SdWorld::Pass(Duration duration) {
  const TimePoint end = now_ + duration;
  int wakeUpsInARow = 0;
  while (true) {
    Deliver();
    std::optional<TimePoint> next;
    for (const auto& host : hosts_) {
      const auto wakeUp = host->agent_->NextWakeUp();
      next = wakeUp && (!next || *wakeUp < *next) ? wakeUp : next;
    }
    if (!next || *next > end) {
      break;
    }
    wakeUpsInARow = *next > now_ ? 0 : wakeUpsInARow + 1;
    if (wakeUpsInARow > 1000) {
      std::fputs("an agent asks to be woken again and again\n", stderr);
      std::abort();
    }
    now_ = std::max(now_, *next);
    for (const auto& host : hosts_) {
      if (const auto wakeUp = host->agent_->NextWakeUp(); wakeUp && *wakeUp <= now_) {
        host->agent_->OnTime();
      }
    }
  }
  now_ = end;
}

void SdWorld::Inject(Host& to, Address from, bool isMulticast, const std::vector<Entry>& entries, std::uint16_t session,
                     bool isReboot) {
  SdMessageWriter writer;
  for (const Entry& entry : entries) {
    if (!writer.Add(entry)) {
      std::abort();
    }
  }
  to.agent_->OnDatagram(from, isMulticast, writer.Finish(session, isReboot));
  Deliver();
}

std::vector<int> SdWorld::TimesOf(EntryType type, std::uint16_t service) const {
  std::vector<int> times;
  for (const Sent& one : sent) {
    for (const Entry& entry : one.message.entries) {
      if (!one.to && entry.type == type && entry.service == service) {
        times.push_back(static_cast<int>(one.time.count()));
      }
    }
  }
  return times;
}

void SdWorld::Post(Address from, std::optional<Address> to, std::span<const std::uint8_t> bytes) {
  const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(now_ - start_);
  sent.push_back({time, from, to, std::get<SdMessage>(DecodeSdMessage(bytes))});
  if (!lose || !lose(sent.back())) {
    underway_.push_back({from, to, {bytes.begin(), bytes.end()}});
  }
}

void SdWorld::Deliver() {
  while (!underway_.empty()) {
    const std::vector<Datagram> arriving = std::exchange(underway_, {});
    for (const Datagram& datagram : arriving) {
      const auto sender =
          std::find_if(hosts_.begin(), hosts_.end(), [&](const auto& host) { return host->address_ == datagram.from; });
      for (const auto& host : hosts_) {
        if ((*sender)->isConnected && host->isConnected && host->address_ != datagram.from &&
            (!datagram.to || *datagram.to == host->address_)) {
          host->agent_->OnDatagram(datagram.from, !datagram.to, datagram.bytes);
        }
      }
    }
  }
}

}  // namespace qor::test
