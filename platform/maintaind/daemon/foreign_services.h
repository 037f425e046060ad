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
/// Where a daemon runs - a tools service is offered that can be used - that daemon lists what its host offers, and
/// nothing of that host is listed here. One thread; no sockets, no clocks.
class ForeignServices {
 public:
  /// `registry` and `deployment` outlive this. What is offered is bounded by who calls; of what ended the latest
  /// `maxEnded` services are remembered.
  ForeignServices(Registry& registry, const com::Deployment& deployment,
                  std::size_t maxEnded = someip::sd::SdLimits{}.endedServices);

  /// An offer that is new, has changed or has ended; its state says which. Nothing is listed before Refresh().
  void OnOffer(const someip::sd::RemoteService& offer);
  /// Lists what has changed since. A host can change its mind many times within a datagram, with all that it offers;
  /// called once for all that, this does the work once, and none for what is as it was.
  void Refresh();

  /// As Registry::SetNetwork(). Addresses of this network are listed with its mask, at once.
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
    std::optional<someip::sd::RemoteService> shown;  ///< as it is listed; nothing: it is not
    std::optional<std::list<Key>::iterator> ended;   ///< its place in ended_
  };
  struct Host {
    std::set<Key> services;
    std::set<Key> daemons;  ///< tools services that are offered and can be used
  };
  using Services = std::map<Key, Known>;
  using Hosts = std::map<someip::Ipv4Address, Host>;

  void SetDaemon(const someip::sd::RemoteService& offer);
  void Update(someip::sd::RemoteService service);
  void Leave(Known& known);
  void Forget(Services::iterator place);
  void ForgetIfEmpty(Hosts::iterator host);
  void Refresh(Known& known);
  void Show(const someip::sd::RemoteService& service);
  template <class Info>
  void ShowEntity(const std::string& id, const someip::sd::RemoteService& service, Info info);
  void Hide(Known& known);
  const Description& DescriptionOf(const Key& key) const;

  Registry& registry_;
  const std::size_t maxEnded_;
  std::map<Key, Description> described_;
  HostNetwork network_;
  Services services_;                           ///< offered and lately ended, without tools services
  std::list<Key> ended_;                        ///< the longest ended first
  Hosts hosts_;                                 ///< of services_, and those with a daemon
  std::set<Key> changed_;                       ///< of services_, since the last Refresh()
  std::set<someip::Ipv4Address> changedHosts_;  ///< of hosts_: whether they have a daemon
};

}  // namespace qor::maintaind

#endif
