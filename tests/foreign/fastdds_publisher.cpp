// SPDX-License-Identifier: Apache-2.0
// A DDS program that knows nothing of this project: it publishes a counter on the DDS library's own API, over UDP on
// 127.0.0.1 only.
//
//   fastdds_publisher DOMAIN TOPIC RATE_HZ [TYPE]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastrtps/utils/IPLocator.h>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/publisher/qos/DataWriterQos.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TopicDataType.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>

namespace fdds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

namespace {

constexpr std::uint32_t kEncapsulationSize = 4;

class CounterType : public fdds::TopicDataType {
 public:
  explicit CounterType(const char* name) {
    setName(name);
    m_typeSize = kEncapsulationSize + sizeof(std::uint32_t);
  }

  bool serialize(void* data, rtps::SerializedPayload_t* payload) override {
    const unsigned char encapsulation[kEncapsulationSize] = {0, 1, 0, 0};
    std::memcpy(payload->data, encapsulation, kEncapsulationSize);
    std::memcpy(payload->data + kEncapsulationSize, data, sizeof(std::uint32_t));
    payload->encapsulation = CDR_LE;
    payload->length = m_typeSize;
    return true;
  }
  bool deserialize(rtps::SerializedPayload_t* payload, void* data) override {
    std::memcpy(data, payload->data + kEncapsulationSize, sizeof(std::uint32_t));
    return true;
  }
  std::function<std::uint32_t()> getSerializedSizeProvider(void* /*data*/) override {
    return [size = m_typeSize] { return size; };
  }
  void* createData() override { return new std::uint32_t(0); }
  void deleteData(void* data) override { delete static_cast<std::uint32_t*>(data); }
  bool getKey(void* /*data*/, rtps::InstanceHandle_t* /*handle*/, bool /*forceMd5*/) override { return false; }
};

fdds::DomainParticipantQos LoopbackOnly() {
  fdds::DomainParticipantQos qos;
  qos.name("foreign fastdds");
  auto udp = std::make_shared<eprosima::fastdds::rtps::UDPv4TransportDescriptor>();
  udp->interfaceWhiteList = {"127.0.0.1"};
  udp->maxInitialPeersRange = 60;
  qos.transport().use_builtin_transports = false;
  qos.transport().user_transports.push_back(std::move(udp));
  rtps::Locator_t loopback;
  rtps::IPLocator::setIPv4(loopback, 127, 0, 0, 1);
  qos.wire_protocol().builtin.initialPeersList.push_back(loopback);
  qos.wire_protocol().builtin.metatrafficUnicastLocatorList.push_back(loopback);
  qos.wire_protocol().builtin.discovery_config.leaseDuration = {4, 0};
  qos.wire_protocol().builtin.discovery_config.leaseDuration_announcementperiod = {1, 0};
  return qos;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s DOMAIN TOPIC RATE_HZ [TYPE]\n", argv[0]);
    return 2;
  }
  auto* factory = fdds::DomainParticipantFactory::get_instance();
  auto* participant = factory->create_participant(static_cast<std::uint32_t>(std::atoi(argv[1])), LoopbackOnly());
  if (participant == nullptr) {
    return 1;
  }
  const fdds::TypeSupport type(new CounterType(argc > 4 ? argv[4] : "Counter"));
  type.register_type(participant);
  auto* topic = participant->create_topic(argv[2], type.get_type_name(), fdds::TOPIC_QOS_DEFAULT);
  auto* publisher = participant->create_publisher(fdds::PUBLISHER_QOS_DEFAULT);
  auto* writer = publisher->create_datawriter(topic, fdds::DATAWRITER_QOS_DEFAULT);
  const auto period = std::chrono::nanoseconds(1'000'000'000 / std::max(1, std::atoi(argv[3])));
  auto due = std::chrono::steady_clock::now();
  for (std::uint32_t counter = 0;; ++counter) {
    writer->write(&counter);
    due += period;
    std::this_thread::sleep_until(due);
  }
}
