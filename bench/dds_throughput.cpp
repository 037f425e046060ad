// SPDX-License-Identifier: Apache-2.0
// How much the middleware adds to its DDS library: one publisher at full speed, received by a bare DataReader and by a
// Subscriber, each in a process of its own, one after the other in every round.
//
//   dds_throughput [ROUNDS [SECONDS]]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TopicDataType.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/cpu_time.h"
#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/dds/endpoint_qos.h"
#include "platform/dds/participant_qos.h"

namespace {

namespace fdds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;
using Clock = std::chrono::steady_clock;

constexpr const char* kType = "Bytes";
constexpr std::uint32_t kSegmentSize = 16U << 20U;

/// What one receiver saw.
struct Result {
  double perSecond = 0;
  double cpuMicrosecondsPerSample = 0;
};

qor::maintaind::EventRegisterInfo Event(const std::string& topic) {
  qor::maintaind::EventRegisterInfo event;
  event.eventName = topic;
  event.dataTypeName = kType;
  auto& dds = event.bindings[qor::maintaind::DriverType::kDds].dds;
  dds.domainId = 61;
  dds.topicName = topic;
  dds.typeName = kType;
  return event;
}

/// Counts samples from the first to the last one.
class Meter {
 public:
  void Count() {
    if (count_.load(std::memory_order_relaxed) == 0) {
      firstCpu_ = qor::bench::CpuSeconds(RUSAGE_SELF);
      first_ = Clock::now();
    }
    count_.fetch_add(1, std::memory_order_release);
  }

  /// Waits until samples have come and then none for a while.
  Result Finish() {
    std::uint64_t seen = 0;
    Clock::time_point last = Clock::now();
    const auto start = last;
    while (Clock::now() - last < std::chrono::milliseconds(500) ||
           (seen == 0 && Clock::now() - start < std::chrono::seconds(20))) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (const auto now = count_.load(std::memory_order_acquire); now != seen) {
        seen = now;
        last = Clock::now();
      }
    }
    const double seconds = std::chrono::duration<double>(last - first_).count();
    return {static_cast<double>(seen) / seconds,
            (qor::bench::CpuSeconds(RUSAGE_SELF) - firstCpu_) * 1e6 / static_cast<double>(seen)};
  }

 private:
  std::atomic<std::uint64_t> count_{0};
  double firstCpu_ = 0;      // written before the first count
  Clock::time_point first_;  // written before the first count
};

/// The byte type that a program without the middleware would write.
class BytesType : public fdds::TopicDataType {
 public:
  BytesType() {
    setName(kType);
    m_typeSize = 4;
  }
  bool serialize(void* /*data*/, rtps::SerializedPayload_t* /*payload*/) override { return false; }
  bool deserialize(rtps::SerializedPayload_t* payload, void* data) override {
    static_cast<std::vector<std::uint8_t>*>(data)->assign(payload->data + 4, payload->data + payload->length);
    return true;
  }
  std::function<std::uint32_t()> getSerializedSizeProvider(void* /*data*/) override {
    return [] { return 0U; };
  }
  void* createData() override { return new std::vector<std::uint8_t>; }
  void deleteData(void* data) override { delete static_cast<std::vector<std::uint8_t>*>(data); }
  bool getKey(void* /*data*/, rtps::InstanceHandle_t* /*handle*/, bool /*forceMd5*/) override { return false; }
};

class BareListener : public fdds::DataReaderListener {
 public:
  explicit BareListener(Meter& meter) : meter_(meter) {}
  void on_data_available(fdds::DataReader* reader) override {
    fdds::SampleInfo info;
    while (reader->take_next_sample(&bytes_, &info) == eprosima::fastrtps::types::ReturnCode_t::RETCODE_OK) {
      if (info.valid_data) {
        meter_.Count();
      }
    }
  }

 private:
  Meter& meter_;
  std::vector<std::uint8_t> bytes_;
};

Result ReceiveBare(const std::string& topicName) {
  const auto event = Event(topicName).bindings.at(qor::maintaind::DriverType::kDds).dds;
  auto* factory = fdds::DomainParticipantFactory::get_instance();
  auto* participant =
      factory->create_participant(event.domainId, qor::dds::MakeParticipantQos({"bare", {"127.0.0.1"}, kSegmentSize}));
  const fdds::TypeSupport type(new BytesType);
  type.register_type(participant);
  auto* topic = participant->create_topic(topicName, kType, fdds::TOPIC_QOS_DEFAULT);
  auto* subscriber = participant->create_subscriber(fdds::SUBSCRIBER_QOS_DEFAULT);
  Meter meter;
  BareListener listener(meter);
  auto* reader = subscriber->create_datareader(topic, qor::dds::MakeReaderQos(event, 0), &listener);
  const Result result = meter.Finish();
  subscriber->delete_datareader(reader);
  participant->delete_contained_entities();
  factory->delete_participant(participant);
  return result;
}

Result ReceiveCom(const std::string& topicName) {
  Meter meter;
  if (!qor::Helper::AddConfig(false, {}, Event(topicName))) {
    return {};
  }
  qor::com::NodeHandle node("/bench/receiver");
  const auto subscriber = node.Subscribe(topicName, [&meter](const qor::com::RecvBuffer&) { meter.Count(); });
  return meter.Finish();
}

void Publish(const std::string& topicName, std::size_t size, std::chrono::seconds duration) {
  if (!qor::Helper::AddConfig(true, {}, Event(topicName))) {
    return;
  }
  qor::com::NodeHandle node("/bench/publisher");
  auto publisher = node.Advertise(topicName);
  while (publisher.GetSubscriberCount() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const std::vector<std::uint8_t> payload(size, 0x5A);
  const auto end = Clock::now() + duration;
  while (Clock::now() < end && publisher.Publish(payload)) {
  }
  (void)publisher.WaitForFlush(std::chrono::seconds(10));
}

/// Runs `work` in a process of its own; this one never uses DDS itself.
template <class Work>
pid_t InChild(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(0);
  }
  return child;
}

Result Measure(Result (*receive)(const std::string&), std::size_t size, std::chrono::seconds duration) {
  static int run = 0;
  const std::string topic = "throughput_" + std::to_string(::getpid()) + "_" + std::to_string(++run);
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) {
    return {};
  }
  const pid_t receiver = InChild([&] {
    const Result result = receive(topic);
    (void)!::write(ends[1], &result, sizeof(result));
  });
  const pid_t publisher = InChild([&] { Publish(topic, size, duration); });
  Result result;
  ::close(ends[1]);
  (void)!::read(ends[0], &result, sizeof(result));
  ::close(ends[0]);
  ::waitpid(receiver, nullptr, 0);
  ::waitpid(publisher, nullptr, 0);
  return result;
}

Result Median(std::vector<Result> results) {
  const auto median = [&results](double Result::*member) {
    std::ranges::sort(results, {}, member);
    return results[results.size() / 2].*member;
  };
  return {median(&Result::perSecond), median(&Result::cpuMicrosecondsPerSample)};
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  const std::chrono::seconds duration(argc > 2 ? std::max(1, std::atoi(argv[2])) : 2);
  std::printf("%8s %14s %14s %7s %14s %14s %7s\n", "bytes", "bare /s", "com /s", "ratio", "bare us CPU", "com us CPU",
              "ratio");
  for (const std::size_t size : {std::size_t{64}, std::size_t{1024}, std::size_t{65536}}) {
    std::vector<Result> bare;
    std::vector<Result> com;
    for (int round = 0; round < rounds; ++round) {
      bare.push_back(Measure(ReceiveBare, size, duration));
      com.push_back(Measure(ReceiveCom, size, duration));
    }
    const Result b = Median(bare);
    const Result c = Median(com);
    std::printf("%8zu %14.0f %14.0f %7.2f %14.2f %14.2f %7.2f\n", size, b.perSecond, c.perSecond,
                c.perSecond / b.perSecond, b.cpuMicrosecondsPerSample, c.cpuMicrosecondsPerSample,
                c.cpuMicrosecondsPerSample / b.cpuMicrosecondsPerSample);
    std::fflush(stdout);
  }
  return 0;
}
