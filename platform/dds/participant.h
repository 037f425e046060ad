// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_PARTICIPANT_H
#define QOR_DDS_PARTICIPANT_H

#include <fastdds/rtps/common/Guid.h>
#include <fastdds/rtps/common/Locator.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/ara/core/result.h"
#include "platform/dds/shared_memory_port.h"

namespace eprosima::fastdds::dds {
class DomainParticipant;
class Topic;
}  // namespace eprosima::fastdds::dds

namespace qor::dds {

/// One Fast DDS participant of this process, with the topics that its endpoints use. Any thread. Shared by its
/// endpoints; the last one takes it away, and with it its files in /dev/shm.
class Participant : public std::enable_shared_from_this<Participant> {
 public:
  /// Keeps one topic of a participant, and the participant, alive.
  class TopicLease {
   public:
    TopicLease(std::shared_ptr<Participant> participant, eprosima::fastdds::dds::Topic* topic)
        : participant_(std::move(participant)), topic_(topic) {}
    TopicLease(TopicLease&& other) noexcept = default;
    TopicLease& operator=(TopicLease&&) = delete;
    ~TopicLease();

    Participant& GetParticipant() const { return *participant_; }
    eprosima::fastdds::dds::Topic* GetTopic() const { return topic_; }

   private:
    std::shared_ptr<Participant> participant_;  // null: moved from
    eprosima::fastdds::dds::Topic* topic_;
  };

  /// On 127.0.0.1 or on `address`, which must be one of this host.
  static ara::core::Result<std::shared_ptr<Participant>> Create(std::uint16_t domainId, const std::string& address,
                                                                const std::string& name);
  ~Participant();
  Participant(const Participant&) = delete;
  Participant& operator=(const Participant&) = delete;

  /// The topic with this type. kBadConfig when this process already uses the topic with another type, or the type name
  /// with and without a key.
  ara::core::Result<TopicLease> LeaseTopic(const std::string& topicName, const std::string& typeName, bool isKeyed);

  /// Where endpoints listen that are not told otherwise.
  const eprosima::fastrtps::rtps::LocatorList_t& ListeningLocators() const { return listeningLocators_; }

  const std::string& Address() const { return address_; }
  const std::string& SubnetMask() const { return subnetMask_; }
  bool HasSharedMemory() const { return hasSharedMemory_; }
  const eprosima::fastrtps::rtps::GuidPrefix_t& GuidPrefix() const { return guidPrefix_; }
  eprosima::fastdds::dds::DomainParticipant& Get() { return *participant_; }

 private:
  struct SharedTopic {
    eprosima::fastdds::dds::Topic* topic = nullptr;
    bool isKeyed = false;
    std::size_t users = 0;
  };

  Participant(std::uint16_t domainId, std::string address, std::string subnetMask);
  ara::core::Result<eprosima::fastdds::dds::Topic*> CreateTopicLocked(const std::string& topicName,
                                                                      const std::string& typeName, bool isKeyed);
  bool FindListeningLocators();
  void ReturnTopic(const std::string& topicName);

  std::uint16_t domainId_;
  std::string address_;
  std::string subnetMask_;
  bool hasSharedMemory_ = false;
  std::optional<SharedMemoryPort> sharedMemoryPort_;
  eprosima::fastdds::dds::DomainParticipant* participant_ = nullptr;  // owned; deleted through the factory
  eprosima::fastrtps::rtps::GuidPrefix_t guidPrefix_;

  eprosima::fastrtps::rtps::LocatorList_t listeningLocators_;

  std::mutex mutex_;
  std::map<std::string, SharedTopic> topics_;  // guarded by mutex_; by topic name
  std::map<std::string, bool> types_;          // guarded by mutex_; registered type name -> keyed
};

}  // namespace qor::dds

#endif
