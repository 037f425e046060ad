// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_FOREIGN_SERVICES_H
#define QOR_MAINTAIND_DAEMON_FOREIGN_SERVICES_H

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/com/deployment.h"
#include "platform/maintaind/daemon/host_network.h"
#include "platform/maintaind/daemon/registry.h"
#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/services.h"

namespace qor::maintaind {

/// Puts into the registry what SOME/IP service discovery shows of other hosts. A service and its events are listed as
/// the deployment describes them, one that it does not describe by its numbers. What ended stays listed as offline.
/// Where a daemon runs - its tools service is offered - that daemon lists what its host offers, and nothing of that
/// host is listed here. One thread; no sockets, no clocks.
class ForeignServices {
 public:
  /// `registry` and `deployment` outlive this. What is offered is bounded by who calls; of what ended the latest
  /// `maxEnded` services are remembered.
  ForeignServices(Registry& registry, const com::Deployment& deployment,
                  std::size_t maxEnded = someip::sd::SdLimits{}.endedServices);

  /// An offer that is new or has changed. One that says nothing new leaves the registry alone.
  void OnOffered(const someip::sd::RemoteService& offer);
  /// An offer has ended; its state says how.
  void OnGone(const someip::sd::RemoteService& offer);

  /// As Registry::SetNetwork(). Addresses of this network are listed with its mask.
  void SetOwnNetwork(const std::string& ip, const std::string& subnetMask);

 private:
  using Key = someip::sd::ServiceKey;

  /// The entities of one service in the deployment.
  struct Description {
    std::vector<const ServiceRegisterInfo*> services;
    std::vector<const EventRegisterInfo*> events;
  };
  struct Known {
    someip::sd::RemoteService service;
    std::optional<std::list<Key>::iterator> ended;  ///< its place in ended_
  };
  struct Host {
    std::set<Key> services;
    std::set<Key> daemons;  ///< tools services that are offered
  };
  using Services = std::map<Key, Known>;
  using Hosts = std::map<someip::Ipv4Address, Host>;

  void SetDaemon(const someip::sd::RemoteService& offer, bool isOffered);
  void Update(someip::sd::RemoteService service);
  void Leave(Known& known);
  void Forget(Services::iterator place);
  void ForgetIfEmpty(Hosts::iterator host);
  void Show(const someip::sd::RemoteService& service, const Host& host);
  template <class Info>
  void ShowEntity(const std::string& id, const someip::sd::RemoteService& service, Info info);
  void Hide(const Key& key);
  const Description& DescriptionOf(const Key& key) const;

  Registry& registry_;
  const std::size_t maxEnded_;
  std::map<Key, Description> described_;
  HostNetwork network_;
  Services services_;     ///< offered and lately ended, without tools services
  std::list<Key> ended_;  ///< the longest ended first
  Hosts hosts_;           ///< of services_, and those with a daemon
};

}  // namespace qor::maintaind

#endif
