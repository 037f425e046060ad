// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/someip_gateway.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include "platform/com/someip/service_records.h"
#include "platform/dds/host_interfaces.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/gateway/exported_service.h"
#include "platform/maintaind/gateway/gateway_loops.h"
#include "platform/maintaind/gateway/imported_service.h"
#include "platform/maintaind/gateway/loop_thread.h"
#include "platform/maintaind/gateway/service_key.h"
#include "platform/someip/sd/sd_runner.h"

namespace qor::maintaind {
namespace {

namespace sd = someip::sd;

constexpr QorLog kLog("SomeipGateway");
/// For what other hosts can cause as often as they like.
constexpr std::uint32_t kLogIntervalMs = 10'000;
/// Between two looks at what is lost, and at what could not be opened.
constexpr std::chrono::seconds kCheckPeriod{1};
/// What other hosts offer is listed at once, but then not again before this has passed: they can change it all with
/// every datagram.
constexpr std::chrono::milliseconds kRefreshPause{100};

sd::ServiceFilter FilterOf(const ServiceIndex& index) {
  return {index.serviceId, index.instanceId, index.majorVersion, sd::kAnyMinor};
}

}  // namespace

/// What the broker and service discovery tell is worked off by a message to the own loop wherever the teller must not
/// be called back.
class SomeipGateway::Impl : public BrokerGateway,
                            public sd::SdListener,
                            public RemoteSubscriptions,
                            public std::enable_shared_from_this<Impl> {
 public:
  Impl(asio::io_context& loop, const Parts& parts, const SomeipGatewayOptions& options)
      : parts_(parts),
        options_(options),
        loop_(loop),
        checkTimer_(loop),
        refreshTimer_(loop),
        events_("qor_gateway"),
        ports_("qor_gateway_io"),
        paced_("qor_gateway_tp"),
        discovery_(std::in_place, loop, options.discovery, sd::SdSocketOptions{options.address, options.group}, *this,
                   [this](bool isUp) { OnNetwork(isUp); }) {}

  ara::core::Result<void> Start() {
    if (const auto opened = discovery_->Open(); !opened) {
      return opened.Error();
    }
    parts_.broker.SetGateway(this);
    discovery_->Agent().Require({QORMaintaindToolsService::ServiceIdentifier});
    if (!discovery_->Socket().IsUp()) {
      kLog.Warn() << "No running interface has the address " << options_.address.Text()
                  << " yet; SOME/IP between hosts begins when one has it.";
    }
    Check();
    return {};
  }

  void Stop() {
    if (!isStopped_) {
      discovery_->Agent().Stop();
      Close();
    }
  }

  void Close() {
    if (isStopped_) {
      return;
    }
    isStopped_ = true;
    parts_.broker.SetGateway(nullptr);
    checkTimer_.cancel();
    refreshTimer_.cancel();
    imported_.clear();
    exported_.clear();
    parts_.neighbours.Close();
    discovery_.reset();
    events_.Stop();
    ports_.Stop();
    paced_.Stop();
  }

  // --- From the broker ---

  void OnOffered(const ServiceOffer& offer) override {
    offers_[offer.service] = offer;
    Later([service = offer.service](Impl& self) { self.UpdateOffer(service); });
  }
  void OnOfferEnded(const ServiceIndex& service) override {
    offers_.erase(service);
    Later([service](Impl& self) { self.UpdateOffer(service); });
  }
  void OnWanted(const ServiceIndex& service, bool isWanted) override {
    Later([service, isWanted](Impl& self) { self.Want(service, isWanted); });
  }
  void OnSubscriberChange(const SubscriberChange& change) override {
    Later([change](Impl& self) {
      if (const auto service = self.imported_.find(change.subscription.service); service != self.imported_.end()) {
        service->second->OnSubscriberChange(change);
      }
    });
  }

  // --- From service discovery ---

  void OnServiceOffered(const sd::RemoteService& service) override {
    kLog.Debug() << Name(service) << " is offered.";
    OnOfferOf(service);
  }
  void OnServiceChanged(const sd::RemoteService& service) override {
    kLog.Debug() << Name(service) << " is offered otherwise than before.";
    OnOfferOf(service);
  }
  void OnServiceGone(const sd::RemoteService& service) override {
    kLog.Debug() << Name(service) << " is gone: " << sd::Text(service.state) << ".";
    imported_.erase(IndexOf(service.key));
    List(service);
  }

  std::optional<sd::Refusal> OnSubscribe(const sd::Subscriber& subscriber) override {
    if (!exported_.contains(IndexOf(subscriber.service))) {
      return sd::Refusal::kNotNow;
    }
    Later([subscriber](Impl& self) {  // after the acknowledgement
      if (const auto service = self.exported_.find(IndexOf(subscriber.service)); service != self.exported_.end()) {
        service->second->AddSubscriber(subscriber);
      }
    });
    return std::nullopt;
  }
  void OnSubscriberEnded(const sd::Subscriber& subscriber, sd::SubscriberEnd /*end*/) override {
    Later([subscriber](Impl& self) {
      if (const auto service = self.exported_.find(IndexOf(subscriber.service)); service != self.exported_.end()) {
        service->second->RemoveSubscriber(subscriber);
      }
    });
  }
  void OnSubscriberRefused(const sd::Subscriber& subscriber, sd::Refusal reason) override {
    kLog.Warn("SomeipGateway_Refused", kLogIntervalMs)
        << "Host " << subscriber.host.Text() << " cannot subscribe eventgroup " << subscriber.eventgroup << " of "
        << com::Text(IndexOf(subscriber.service)) << ": " << sd::Text(reason) << ".";
  }
  void OnSubscriptionState(const sd::Subscription& subscription) override {
    if (const auto service = imported_.find(IndexOf(subscription.service)); service != imported_.end()) {
      service->second->OnSubscriptionState(subscription);
    }
  }
  void OnReboot(someip::Ipv4Address host) override {
    kLog.Warn("SomeipGateway_Reboot_" + host.Text(), kLogIntervalMs) << "Host " << host.Text() << " has started anew.";
  }
  void OnConflict(const sd::ServiceKey& key, std::optional<someip::Ipv4Address> owner,
                  someip::Ipv4Address claimant) override {
    if (const auto instead = owner ? std::nullopt : parts_.neighbours.GiveWay(key, claimant)) {
      discovery_->Agent().StopOffer(key);
      discovery_->Agent().Offer(*instead);
      return;
    }
    kLog.Warn("SomeipGateway_Conflict", kLogIntervalMs)
        << "Host " << claimant.Text() << " offers " << com::Text(IndexOf(key)) << ", which "
        << (owner ? "host " + owner->Text() : std::string("this host")) << " offers already.";
  }
  void OnFault(someip::Ipv4Address sender, sd::SdFault fault) override {
    kLog.Warn(std::string("SomeipGateway_") + sd::Text(fault), kLogIntervalMs)
        << "A service discovery message of host " << sender.Text()
        << " was ignored, in part at least: " << sd::Text(fault) << ".";
  }

  // --- From imported services ---

  void Subscribe(const sd::Subscription& subscription) override { discovery_->Agent().Subscribe(subscription); }
  void Unsubscribe(const sd::ServiceKey& service, std::uint16_t eventgroup) override {
    discovery_->Agent().Unsubscribe(service, eventgroup);
  }

 private:
  static std::string Name(const sd::RemoteService& service) {
    return com::Text(IndexOf(service.key)) + " of host " + service.host.Text();
  }

  /// When whatever is running now has returned.
  void Later(std::function<void(Impl&)> run) {
    asio::post(loop_, [weak = weak_from_this(), run = std::move(run)] {
      if (const auto self = weak.lock(); self != nullptr && !self->isStopped_) {
        run(*self);
      }
    });
  }

  void OnNetwork(bool isUp) {
    const std::string address = options_.address.Text();
    kLog.Info() << "The network of " << address << (isUp ? " is there." : " is gone.");
    if (!isUp) {
      return;
    }
    if (const auto mask = dds::SubnetMaskOf(address)) {
      parts_.registry.SetNetwork(address, *mask);
      parts_.foreign.SetOwnNetwork(address, *mask);
    }
    for (const auto& [index, service] : imported_) {
      service->OnNetworkUp();
    }
  }

  /// Once the address is there and this daemon may speak.
  void OfferTools() {
    if (areToolsOffered_ || !discovery_->Socket().IsUp() || discovery_->Socket().IsListenOnly()) {
      return;
    }
    const auto tools = parts_.neighbours.Open(options_.address);
    if (!tools) {
      kLog.Error("SomeipGateway_Tools", kLogIntervalMs)
          << "The daemons of other hosts do not see this one: " << tools.Error().Message();
      return;
    }
    areToolsOffered_ = true;
    discovery_->Agent().Offer(tools.Value());
  }

  /// Brings what other hosts see of a service up to date with what an application offers.
  void UpdateOffer(const ServiceIndex& index) {
    imported_.erase(index);  // the application's offer has taken the place of this one, if only for a moment
    const auto offer = offers_.find(index);
    if (offer == offers_.end()) {
      EndExport(index);
      Import(index);
      return;
    }
    if (offer->second.isLocalOnly) {
      EndExport(index);
      return;
    }
    const auto known = exported_.find(index);
    if (known != exported_.end() && known->second->Update(offer->second)) {
      discovery_->Agent().Offer(known->second->Offered());
      return;
    }
    EndExport(index);
    Export(offer->second);
  }

  void Export(const ServiceOffer& offer) {
    auto opened = ExportedService::Open(Loops(), parts_.broker, options_.address, offer);
    if (!opened) {
      kLog.Error("SomeipGateway_Export_" + com::Text(offer.service), kLogIntervalMs)
          << com::Text(offer.service) << " cannot be offered to other hosts: " << opened.Error().Message();
      return;
    }
    const auto& service = exported_.emplace(offer.service, std::move(opened).Value()).first->second;
    service->SetLostHandler([this](const sd::Subscriber& lost) { discovery_->Agent().EndSubscriber(lost); });
    discovery_->Agent().Offer(service->Offered());
  }

  void EndExport(const ServiceIndex& service) {
    if (const auto known = exported_.find(service); known != exported_.end()) {
      discovery_->Agent().StopOffer(KeyOf(service));
      exported_.erase(known);
    }
  }

  void Want(const ServiceIndex& service, bool isWanted) {
    if (!isWanted) {
      wanted_.erase(service);
      imported_.erase(service);
      discovery_->Agent().Release(FilterOf(service));
      return;
    }
    wanted_.insert(service);
    discovery_->Agent().Require(FilterOf(service));
    Import(service);
  }

  void OnOfferOf(const sd::RemoteService& service) {
    List(service);
    const auto known = imported_.find(IndexOf(service.key));
    if (known != imported_.end() && known->second->Update(service)) {
      return;
    }
    if (known != imported_.end()) {
      imported_.erase(known);
    }
    // Once for all that a datagram says.
    Later([index = IndexOf(service.key)](Impl& self) { self.Import(index); });
  }

  void List(const sd::RemoteService& service) {
    parts_.foreign.OnOffer(service);
    if (service.host != options_.address) {  // this host's other daemon has a socket here
      parts_.neighbours.OnOffer(service);
    }
    if (!std::exchange(isRefreshDue_, true)) {
      refreshTimer_.expires_at(nextRefresh_);
      refreshTimer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        if (const auto self = weak.lock(); self != nullptr && !error && !self->isStopped_) {
          self->Refresh();
        }
      });
    }
  }

  void Refresh() {
    isRefreshDue_ = false;
    parts_.foreign.Refresh();
    parts_.neighbours.Refresh();
    nextRefresh_ = std::chrono::steady_clock::now() + kRefreshPause;
  }

  /// Brings a service of another host here, when it is wanted and there.
  void Import(const ServiceIndex& index) {
    if (!wanted_.contains(index) || offers_.contains(index) || imported_.contains(index)) {
      return;
    }
    const auto remote = discovery_->Agent().FindService(KeyOf(index));
    if (!remote || remote->state != sd::RemoteService::State::kOffered) {
      return;
    }
    const auto complain = [&](const std::string& reason) {
      kLog.Warn("SomeipGateway_Import_" + com::Text(index), kLogIntervalMs)
          << Name(*remote) << " cannot be used: " << reason << ".";
    };
    if (discovery_->Socket().IsListenOnly()) {
      complain("another program speaks SOME/IP service discovery on " + options_.address.Text());
      return;
    }
    if (remote->endpoints == someip::Endpoints{}) {
      complain("its offer names no endpoint");
      return;
    }
    auto opened = ImportedService::Open(Loops(), parts_.broker, *this,
                                        {options_.address, options_.discovery.timing.offerTtl}, *remote);
    if (!opened) {
      complain(opened.Error().Message());
      return;
    }
    imported_.emplace(index, std::move(opened).Value());
  }

  GatewayLoops Loops() { return {loop_, events_.Loop(), ports_.Loop(), paced_.Loop()}; }

  /// What could not be opened, for want of descriptors for example, is tried again.
  void Check() {
    for (const auto& [index, service] : imported_) {
      service->ReportLost();
      service->Retry();
    }
    for (const auto& [index, offer] : offers_) {
      if (!offer.isLocalOnly && !exported_.contains(index)) {
        Export(offer);
      }
    }
    for (const ServiceIndex& index : wanted_) {
      Import(index);
    }
    OfferTools();
    checkTimer_.expires_after(kCheckPeriod);
    checkTimer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
      if (const auto self = weak.lock(); self != nullptr && !error && !self->isStopped_) {
        self->Check();
      }
    });
  }

  const Parts parts_;
  const SomeipGatewayOptions options_;
  asio::io_context& loop_;
  asio::steady_timer checkTimer_;
  asio::steady_timer refreshTimer_;
  std::chrono::steady_clock::time_point nextRefresh_;  ///< not before
  bool isRefreshDue_ = false;
  LoopThread events_;
  LoopThread ports_;
  LoopThread paced_;
  std::optional<sd::SdRunner> discovery_;
  std::map<ServiceIndex, ServiceOffer> offers_;  ///< of applications of this host
  std::set<ServiceIndex> wanted_;                ///< looked for by applications of this host
  std::map<ServiceIndex, std::unique_ptr<ExportedService>> exported_;
  std::map<ServiceIndex, std::unique_ptr<ImportedService>> imported_;
  bool areToolsOffered_ = false;
  bool isStopped_ = false;
};

SomeipGateway::SomeipGateway(asio::io_context& loop, const Parts& parts, const SomeipGatewayOptions& options)
    : impl_(std::make_shared<Impl>(loop, parts, options)) {}

SomeipGateway::~SomeipGateway() { impl_->Close(); }

ara::core::Result<void> SomeipGateway::Start() { return impl_->Start(); }

void SomeipGateway::Stop() { impl_->Stop(); }

}  // namespace qor::maintaind
