// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/participant.h"

#include <algorithm>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>

#include "platform/com/transport.h"
#include "platform/dds/dds_error.h"
#include "platform/dds/fast_dds_library.h"
#include "platform/dds/host_interfaces.h"
#include "platform/dds/participant_qos.h"
#include "platform/dds/raw_type.h"
#include "platform/dds/shared_memory.h"
#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;
using com::TransportError;
using eprosima::fastrtps::types::ReturnCode_t;

constexpr QorLog kLog("DDS");

/// Every page of it is touched when the participant starts. Holds several samples of 2 MB on their way; what finds no
/// room is sent again by a reliable writer.
constexpr std::uint32_t kSegmentSize = 16U << 20U;
/// Names travel as bounded strings in discovery.
constexpr std::size_t kMaxNameLength = 255;
constexpr const char* kLocatorTopic = "qor_listening_locators";

}  // namespace

Participant::TopicLease::~TopicLease() {
  if (participant_ != nullptr) {
    participant_->ReturnTopic(topic_->get_name());
  }
}

Participant::Participant(std::uint16_t domainId, std::string address, std::string subnetMask)
    : domainId_(domainId), address_(std::move(address)), subnetMask_(std::move(subnetMask)) {}

ara::core::Result<std::shared_ptr<Participant>> Participant::Create(std::uint16_t domainId, const std::string& address,
                                                                    const std::string& name) {
  if (domainId > kMaxDomainId) {
    return DomainIdError(domainId);
  }
  const auto mask = SubnetMaskOf(address);
  if (!mask) {
    return NoNetworkError(address);
  }
  std::shared_ptr<Participant> made(new Participant(domainId, address, *mask));
  ParticipantOptions options{name, {address}, UsableSegmentSize(kSegmentSize), domainId};
  made->hasSharedMemory_ = options.segmentSize != 0;
  if (made->hasSharedMemory_) {
    made->sharedMemoryPort_ = SharedMemoryPort::Reserve();
    options.sharedMemoryPort = made->sharedMemoryPort_.has_value() ? made->sharedMemoryPort_->Number() : 0;
  }
  made->participant_ = FastDdsFactory().create_participant(domainId, MakeParticipantQos(options));
  if (made->participant_ == nullptr) {
    return NoParticipantError(domainId, address);
  }
  made->guidPrefix_ = made->participant_->guid().guidPrefix;
  if (!made->FindListeningLocators()) {
    return DdsError(TransportError::kLibrary, "Fast DDS does not tell where its participant listens");
  }
  return made;
}

Participant::~Participant() {
  if (participant_ == nullptr) {
    return;
  }
  if (FastDdsFactory().delete_participant(participant_) != ReturnCode_t::RETCODE_OK) {
    kLog.Error() << "Fast DDS could not delete the participant in domain " << domainId_ << " on " << address_;
  }
}

/// Fast DDS picks the ports when it opens them, and only a reader tells what they are.
bool Participant::FindListeningLocators() {
  const auto topic = LeaseTopic(kLocatorTopic, kLocatorTopic, false);
  fdds::Subscriber* const subscriber = participant_->create_subscriber(fdds::SUBSCRIBER_QOS_DEFAULT);
  if (!topic || subscriber == nullptr) {
    return false;
  }
  fdds::DataReader* const reader =
      subscriber->create_datareader(topic.Value().GetTopic(), fdds::DATAREADER_QOS_DEFAULT);
  const bool isFound =
      reader != nullptr && reader->get_listening_locators(listeningLocators_) == ReturnCode_t::RETCODE_OK;
  subscriber->delete_contained_entities();
  participant_->delete_subscriber(subscriber);
  return isFound;
}

ara::core::Result<Participant::TopicLease> Participant::LeaseTopic(const std::string& topicName,
                                                                   const std::string& typeName, bool isKeyed) {
  if (topicName.empty() || topicName.size() > kMaxNameLength || typeName.empty() || typeName.size() > kMaxNameLength) {
    return DdsError(TransportError::kBadConfig, "a topic and its type must have names of 1 to 255 characters; topic '" +
                                                    topicName + "' with type '" + typeName + "' has not");
  }
  const std::lock_guard lock(mutex_);
  SharedTopic& shared = topics_[topicName];
  if (shared.topic == nullptr) {
    const auto topic = CreateTopicLocked(topicName, typeName, isKeyed);
    if (!topic) {
      topics_.erase(topicName);
      return topic.Error();
    }
    shared.topic = topic.Value();
    shared.isKeyed = isKeyed;
  } else if (shared.topic->get_type_name() != typeName || shared.isKeyed != isKeyed) {
    return DdsError(TransportError::kBadConfig,
                    "topic '" + topicName + "' is in use by this process with type '" + shared.topic->get_type_name() +
                        (shared.isKeyed ? "', keyed" : "', without key") + "; type '" + typeName +
                        (isKeyed ? "', keyed," : "', without key,") + " contradicts that");
  }
  ++shared.users;
  return TopicLease(shared_from_this(), shared.topic);
}

ara::core::Result<fdds::Topic*> Participant::CreateTopicLocked(const std::string& topicName,
                                                               const std::string& typeName, bool isKeyed) {
  const auto [known, isNew] = types_.try_emplace(typeName, isKeyed);
  if (known->second != isKeyed) {
    return DdsError(TransportError::kBadConfig,
                    "type '" + typeName + "' is in use by this process " + (known->second ? "with" : "without") +
                        " a key; topic '" + topicName + "' wants it " + (isKeyed ? "with" : "without") + " one");
  }
  if (isNew) {
    const fdds::TypeSupport type(new RawType(typeName, isKeyed));
    if (type.register_type(participant_) != ReturnCode_t::RETCODE_OK) {
      types_.erase(known);
      return DdsError(TransportError::kLibrary, "Fast DDS refused the type '" + typeName + "'");
    }
  }
  fdds::Topic* topic = participant_->create_topic(topicName, typeName, fdds::TOPIC_QOS_DEFAULT);
  if (topic == nullptr) {
    return DdsError(TransportError::kLibrary, "Fast DDS refused the topic '" + topicName + "'");
  }
  return topic;
}

void Participant::ReturnTopic(const std::string& topicName) {
  const std::lock_guard lock(mutex_);
  const auto found = topics_.find(topicName);
  if (found == topics_.end() || --found->second.users > 0) {
    return;
  }
  const std::string typeName = found->second.topic->get_type_name();
  if (participant_->delete_topic(found->second.topic) != ReturnCode_t::RETCODE_OK) {
    kLog.Error() << "Fast DDS could not delete the topic '" << topicName << "'";
  }
  topics_.erase(found);
  const bool isTypeInUse = std::ranges::any_of(
      topics_, [&typeName](const auto& entry) { return entry.second.topic->get_type_name() == typeName; });
  if (!isTypeInUse && participant_->unregister_type(typeName) == ReturnCode_t::RETCODE_OK) {
    types_.erase(typeName);
  }
}

}  // namespace qor::dds
