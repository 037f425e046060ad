// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/discovery_watcher.h"

#include <algorithm>
#include <deque>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/DomainParticipantListener.hpp>
#include <map>
#include <mutex>
#include <utility>

#include "platform/com/application_name.h"
#include "platform/dds/dds_error.h"
#include "platform/dds/delivery_gate.h"
#include "platform/dds/discovered_endpoint.h"
#include "platform/dds/fast_dds_library.h"
#include "platform/dds/guid_text.h"
#include "platform/dds/host_interfaces.h"
#include "platform/dds/participant_qos.h"
#include "platform/dds/shared_memory.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;
using com::TransportError;

/// Enough to listen; a watcher sends no samples. Without shared memory of its own Fast DDS would hide from it which
/// endpoints have some.
constexpr std::uint32_t kSegmentSize = 512U << 10U;

}  // namespace

/// Fast DDS calls from several threads: what it says is queued, and handed on by one thread at a time, in order.
class DiscoveryWatcher::Impl : private fdds::DomainParticipantListener {
 public:
  Impl(std::uint16_t domainId, Callbacks callbacks) : domainId_(domainId), callbacks_(std::move(callbacks)) {}

  ~Impl() override {
    gate_.Close();
    if (participant_ != nullptr) {
      FastDdsFactory().delete_participant(participant_);
    }
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  bool Open(const ParticipantOptions& options) {
    participant_ =
        FastDdsFactory().create_participant(domainId_, MakeParticipantQos(options), this, fdds::StatusMask::none());
    if (participant_ == nullptr) {
      return false;
    }
    participantGuid_ = GuidText(participant_->guid().guidPrefix);
    return true;
  }

  const std::string& ParticipantGuid() const { return participantGuid_; }

 private:
  /// What is announced by the participant for those of its endpoints that do not say it themselves.
  struct KnownParticipant {
    std::string name;
    bool isOfPlatform = false;
    ReachableBy reachable;
  };

  void on_participant_discovery(fdds::DomainParticipant* /*own*/, rtps::ParticipantDiscoveryInfo&& info) override {
    const std::string guid = GuidText(info.info.m_guid.guidPrefix);
    const bool isGone = info.status == rtps::ParticipantDiscoveryInfo::REMOVED_PARTICIPANT ||
                        info.status == rtps::ParticipantDiscoveryInfo::DROPPED_PARTICIPANT;
    {
      const std::lock_guard lock(mutex_);
      if (isGone) {
        participants_.erase(guid);
      } else {
        participants_[guid] = {info.info.m_participantName.to_string(),
                               std::ranges::equal(info.info.m_userData.data_vec(), kPlatformMark),
                               ReadLocators(info.info.default_locators)};
      }
    }
    if (isGone) {
      Hand([this, guid] { callbacks_.onParticipantGone(guid); });
    }
  }

  void on_publisher_discovery(fdds::DomainParticipant* /*own*/, rtps::WriterDiscoveryInfo&& info) override {
    OnEndpoint(info.info, info.status == rtps::WriterDiscoveryInfo::REMOVED_WRITER);
  }

  void on_subscriber_discovery(fdds::DomainParticipant* /*own*/, rtps::ReaderDiscoveryInfo&& info) override {
    OnEndpoint(info.info, info.status == rtps::ReaderDiscoveryInfo::REMOVED_READER);
  }

  template <class ProxyData>
  void OnEndpoint(const ProxyData& data, bool isGone) {
    if (isGone) {
      Hand([this, guid = GuidText(data.guid())] { callbacks_.onEndpointGone(guid); });
      return;
    }
    DiscoveredEndpoint endpoint = ReadEndpoint(data);
    endpoint.domainId = domainId_;
    FillFromParticipant(endpoint);
    Hand([this, endpoint = std::move(endpoint)] { callbacks_.onEndpoint(endpoint); });
  }

  void FillFromParticipant(DiscoveredEndpoint& endpoint) {
    const std::lock_guard lock(mutex_);
    const auto found = participants_.find(endpoint.participantGuid);
    if (found == participants_.end()) {
      return;
    }
    endpoint.participantName = found->second.name;
    endpoint.isOfPlatform = found->second.isOfPlatform;
    if (endpoint.transports.empty()) {
      endpoint.transports = found->second.reachable.transports;
      endpoint.address = found->second.reachable.address;
    }
  }

  void Hand(std::function<void()> call) {
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(std::move(call));
    }
    gate_.Signal([this] { HandAll(); });
  }

  void HandAll() {
    while (!gate_.IsClosed()) {
      std::function<void()> call;
      {
        const std::lock_guard lock(mutex_);
        if (calls_.empty()) {
          return;
        }
        call = std::move(calls_.front());
        calls_.pop_front();
      }
      call();
    }
  }

  std::uint16_t domainId_;
  Callbacks callbacks_;
  fdds::DomainParticipant* participant_ = nullptr;  // owned; deleted through the factory
  std::string participantGuid_;
  DeliveryGate gate_;

  std::mutex mutex_;
  std::map<std::string, KnownParticipant> participants_;  // guarded by mutex_; by GUID prefix
  std::deque<std::function<void()>> calls_;               // guarded by mutex_
};

ara::core::Result<std::unique_ptr<DiscoveryWatcher>> DiscoveryWatcher::Create(std::uint16_t domainId,
                                                                              const std::string& interfaceIp,
                                                                              Callbacks callbacks) {
  if (domainId > kMaxDomainId) {
    return DomainIdError(domainId);
  }
  ParticipantOptions options{com::ApplicationName(), {kLoopbackAddress}, UsableSegmentSize(kSegmentSize), domainId};
  if (!IsLoopback(interfaceIp)) {
    if (!SubnetMaskOf(interfaceIp)) {
      return NoNetworkError(interfaceIp);
    }
    options.addresses.push_back(interfaceIp);
  }
  auto impl = std::make_unique<Impl>(domainId, std::move(callbacks));
  if (!impl->Open(options)) {
    return NoParticipantError(domainId, interfaceIp);
  }
  return std::unique_ptr<DiscoveryWatcher>(new DiscoveryWatcher(std::move(impl)));
}

DiscoveryWatcher::DiscoveryWatcher(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

DiscoveryWatcher::~DiscoveryWatcher() = default;

const std::string& DiscoveryWatcher::ParticipantGuid() const { return impl_->ParticipantGuid(); }

}  // namespace qor::dds
