// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/dds_monitor.h"

#include <algorithm>
#include <utility>

#include <asio/post.hpp>

#include "platform/maintaind/daemon/foreign_event.h"

namespace qor::maintaind {
namespace {

using ara::core::Result;

/// The highest domain whose default ports exist.
constexpr std::uint16_t kMaxDomain = 232;
constexpr std::uint32_t kLogIntervalMs = 10'000;

class DiscoveryWatch : public DomainWatch {
 public:
  explicit DiscoveryWatch(std::unique_ptr<dds::DiscoveryWatcher> watcher) : watcher_(std::move(watcher)) {}

 private:
  std::unique_ptr<dds::DiscoveryWatcher> watcher_;
};

}  // namespace

Result<std::unique_ptr<DomainWatch>> WatchDomain(std::uint16_t domainId, const std::string& interfaceIp,
                                                 dds::DiscoveryWatcher::Callbacks callbacks) {
  auto watcher = dds::DiscoveryWatcher::Create(domainId, interfaceIp, std::move(callbacks));
  if (!watcher) {
    return watcher.Error();
  }
  return std::unique_ptr<DomainWatch>(std::make_unique<DiscoveryWatch>(std::move(watcher).Value()));
}

/// A function for other threads that has its argument handled on the loop, unless the monitor has been stopped by then.
template <class Function>
auto DdsMonitor::PostToLoop(Function function) {
  return [&loop = loop_, alive = std::weak_ptr<Liveness>(liveness_), function = std::move(function)](auto argument) {
    asio::post(loop, [alive, function, argument = std::move(argument)] {
      if (!alive.expired()) {
        function(argument);
      }
    });
  };
}

DdsMonitor::DdsMonitor(asio::io_context& loop, Registry& registry, DdsMonitorOptions options,
                       DomainWatchFactory factory)
    : loop_(loop),
      registry_(registry),
      options_(std::move(options)),
      factory_(std::move(factory)),
      liveness_(std::make_shared<Liveness>()) {}

DdsMonitor::~DdsMonitor() { Stop(); }

void DdsMonitor::Start() {
  for (const std::uint16_t domain : options_.domains.value_or(std::vector<std::uint16_t>{0})) {
    Watch(domain);
  }
}

void DdsMonitor::Stop() {
  liveness_.reset();
  worker_.stop();  // what waits to be watched need not be any more
  worker_.join();
  const std::lock_guard lock(watchesMutex_);
  watches_.clear();
}

void DdsMonitor::OnDomain(std::uint16_t domainId) {
  if (!options_.domains) {
    Watch(domainId);
  }
}

void DdsMonitor::Watch(std::uint16_t domainId) {
  if (domainId > kMaxDomain) {
    log_.Warn("DdsMonitor_Watch", kLogIntervalMs)
        << "DDS domain " << domainId << " cannot be watched: the highest is " << kMaxDomain << ".";
    return;
  }
  if (!watched_.insert(domainId).second) {
    return;
  }
  auto report = PostToLoop([this, domainId](const Result<void>& outcome) { OnWatch(domainId, outcome); });
  asio::post(worker_, [this, domainId, callbacks = CallbacksFor(domainId), report = std::move(report)] {
    auto watch = factory_(domainId, options_.interfaceIp, callbacks);
    if (!watch) {
      report(Result<void>(watch.Error()));
      return;
    }
    report(Result<void>());
    const std::lock_guard lock(watchesMutex_);
    watches_.push_back(std::move(watch).Value());
  });
}

dds::DiscoveryWatcher::Callbacks DdsMonitor::CallbacksFor(std::uint16_t domainId) {
  return {
      PostToLoop([this, domainId](const dds::DiscoveredEndpoint& endpoint) { OnEndpoint(domainId, endpoint); }),
      PostToLoop([this](const std::string& guid) { OnEndpointGone(guid); }),
      PostToLoop([this](const std::string& guidPrefix) { OnParticipantGone(guidPrefix); }),
  };
}

void DdsMonitor::OnWatch(std::uint16_t domainId, const Result<void>& outcome) {
  if (!outcome) {
    log_.Error("DdsMonitor_OnWatch", kLogIntervalMs)
        << "DDS domain " << domainId << " cannot be watched: " << outcome.Error().Message();
    watched_.erase(domainId);
    return;
  }
  log_.Info() << "DDS domain " << domainId << " is being watched.";
}

void DdsMonitor::OnEndpoint(std::uint16_t domainId, const dds::DiscoveredEndpoint& endpoint) {
  if (endpoint.isOfPlatform) {
    return;
  }
  if (endpoints_.size() >= options_.maxEndpoints && !endpoints_.contains(endpoint.guid)) {
    log_.Warn("DdsMonitor_OnEndpoint", kLogIntervalMs)
        << "More than " << options_.maxEndpoints << " foreign DDS endpoints; further ones are not listed.";
    return;
  }
  endpoints_[endpoint.guid] = endpoint.participantGuid;
  dds::DiscoveredEndpoint seen = endpoint;
  seen.domainId = domainId;
  registry_.SetForeign(endpoint.guid, seen.isWriter ? EntityRole::kProvider : EntityRole::kConsumer,
                       ForeignNodeName(seen), ForeignEvent(seen));
}

void DdsMonitor::OnEndpointGone(const std::string& guid) {
  if (endpoints_.erase(guid) != 0) {
    registry_.RemoveForeign(guid);
  }
}

void DdsMonitor::OnParticipantGone(const std::string& guidPrefix) {
  std::erase_if(endpoints_, [&](const auto& endpoint) {
    if (endpoint.second != guidPrefix) {
      return false;
    }
    registry_.RemoveForeign(endpoint.first);
    return true;
  });
}

}  // namespace qor::maintaind
