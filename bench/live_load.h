// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_BENCH_LIVE_LOAD_H
#define QOR_BENCH_LIVE_LOAD_H

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
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
#include <span>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "bench/cpu_time.h"
#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/dds/endpoint_qos.h"
#include "platform/dds/participant_qos.h"

/// What the benchmarks with live publishers share. Each publisher and each receiver is a process of its own; the one
/// that starts them never uses DDS itself.
namespace qor::bench {

using Clock = std::chrono::steady_clock;

/// Does `work` in another process, which ends with this one; its result, a plain value, comes back.
template <class Result>
class Child {
  static_assert(std::is_trivially_copyable_v<Result>);

 public:
  template <class Work>
  explicit Child(Work work) {
    int ends[2];
    if (::pipe(ends) != 0) {
      return;
    }
    process_ = ::fork();
    if (process_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      const Result result = work();
      ::_exit(::write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    ::close(ends[1]);
    end_ = ends[0];
  }
  ~Child() { Join(); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Waits for its end.
  Result Join() {
    if (process_ > 0) {
      static_cast<void>(!::read(end_, &result_, sizeof result_));
      ::close(end_);
      ::waitpid(process_, nullptr, 0);
      process_ = -1;
    }
    return result_;
  }

 private:
  pid_t process_ = -1;
  int end_ = -1;
  Result result_{};
};

/// What one receiver saw.
struct Received {
  std::uint64_t samples = 0;
  double perSecond = 0;
  double cpuMicroseconds = 0;  ///< of the process, for each sample
};

/// Watches a count until samples have come and then none for a while.
template <class Count>
Received Watch(Count count) {
  constexpr std::chrono::milliseconds kPeriod{5};
  constexpr std::chrono::milliseconds kSilence{500};
  constexpr std::chrono::seconds kPatience{20};
  const auto start = Clock::now();
  std::uint64_t before = 0;
  while ((before = count()) == 0 && Clock::now() - start < kPatience) {
    std::this_thread::sleep_for(kPeriod);
  }
  const double cpu = CpuSeconds(RUSAGE_SELF);
  const auto first = Clock::now();
  auto last = first;
  std::uint64_t seen = before;
  while (Clock::now() - last < kSilence) {
    std::this_thread::sleep_for(kPeriod);
    if (const std::uint64_t now = count(); now != seen) {
      seen = now;
      last = Clock::now();
    }
  }
  const auto counted = static_cast<double>(seen - before);
  return {seen, counted / std::chrono::duration<double>(last - first).count(),
          (CpuSeconds(RUSAGE_SELF) - cpu) * 1e6 / counted};
}

inline double MedianOf(std::vector<Received> all, double Received::*member) {
  std::ranges::sort(all, {}, member);
  return all[all.size() / 2].*member;
}

inline maintaind::EventRegisterInfo DdsLoadEvent(const std::string& name) {
  maintaind::EventRegisterInfo event;
  event.eventName = name;
  event.dataTypeName = "Bytes";
  auto& dds = event.bindings[maintaind::DriverType::kDds].dds;
  dds.domainId = 61;
  dds.topicName = name;
  dds.typeName = event.dataTypeName;
  return event;
}

struct Load {
  std::size_t size = 64;  ///< bytes of a sample; the first eight are its number, from 0
  std::chrono::milliseconds duration{2000};
  double perSecond = 0;  ///< 0: as fast as it goes
};

/// Publishes as soon as there is a subscriber; how many samples.
inline std::uint64_t Publish(const maintaind::EventRegisterInfo& event, const Load& load) {
  if (!Helper::AddConfig(true, {}, event)) {
    return 0;
  }
  com::NodeHandle node("/bench/publisher");
  auto publisher = node.Advertise(event.eventName);
  while (publisher.GetSubscriberCount() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::vector<std::uint8_t> payload(load.size, 0x5A);
  std::uint64_t count = 0;
  const auto begin = Clock::now();
  for (auto now = begin; now - begin < load.duration; now = Clock::now()) {
    const double due = std::chrono::duration<double>(now - begin).count() * load.perSecond;
    if (load.perSecond > 0 && static_cast<double>(count) >= due) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      continue;
    }
    std::memcpy(payload.data(), &count, sizeof count);
    if (!publisher.Publish(payload)) {
      break;
    }
    ++count;
  }
  static_cast<void>(publisher.WaitForFlush(std::chrono::seconds(10)));
  return count;
}

/// The byte type that a program without the middleware would write.
class BytesType : public eprosima::fastdds::dds::TopicDataType {
 public:
  using Payload = eprosima::fastrtps::rtps::SerializedPayload_t;
  using Handle = eprosima::fastrtps::rtps::InstanceHandle_t;

  explicit BytesType(const std::string& name) {
    setName(name.c_str());
    m_typeSize = 4;
  }
  bool serialize(void* /*data*/, Payload* /*payload*/) override { return false; }
  bool deserialize(Payload* payload, void* data) override {
    static_cast<std::vector<std::uint8_t>*>(data)->assign(payload->data + 4, payload->data + payload->length);
    return true;
  }
  std::function<std::uint32_t()> getSerializedSizeProvider(void* /*data*/) override {
    return [] { return 0U; };
  }
  void* createData() override { return new std::vector<std::uint8_t>; }
  void deleteData(void* data) override { delete static_cast<std::vector<std::uint8_t>*>(data); }
  bool getKey(void* /*data*/, Handle* /*handle*/, bool /*forceMd5*/) override { return false; }
};

/// Takes bytes into a file, in blocks of 1 MiB.
class BlockFile {
 public:
  explicit BlockFile(const std::string& name) : file_(::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)) {}
  ~BlockFile() { ::close(file_); }
  BlockFile(const BlockFile&) = delete;
  BlockFile& operator=(const BlockFile&) = delete;

  void Append(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kBlock = std::size_t{1} << 20U;
    block_.insert(block_.end(), bytes.begin(), bytes.end());
    if (block_.size() >= kBlock) {
      static_cast<void>(!::write(file_, block_.data(), block_.size()));
      block_.clear();
    }
  }

 private:
  const int file_;
  std::vector<std::uint8_t> block_;
};

class BareListener : public eprosima::fastdds::dds::DataReaderListener {
 public:
  explicit BareListener(BlockFile* file) : file_(file) {}
  void on_data_available(eprosima::fastdds::dds::DataReader* reader) override {
    eprosima::fastdds::dds::SampleInfo info;
    while (reader->take_next_sample(&bytes_, &info) == eprosima::fastrtps::types::ReturnCode_t::RETCODE_OK) {
      count_ += info.valid_data ? 1 : 0;
      if (file_ != nullptr) {
        file_->Append(bytes_);
      }
    }
  }
  std::uint64_t Count() const { return count_; }

 private:
  BlockFile* const file_;
  std::atomic<std::uint64_t> count_{0};
  std::vector<std::uint8_t> bytes_;
};

/// A reader of the DDS library alone, which copies each sample and counts it. `file` may be null.
inline Received ReceiveBareDds(const maintaind::EventRegisterInfo& event, BlockFile* file) {
  namespace fdds = eprosima::fastdds::dds;
  constexpr std::uint32_t kSegmentSize = 16U << 20U;
  const auto& binding = event.bindings.at(maintaind::DriverType::kDds).dds;
  auto* factory = fdds::DomainParticipantFactory::get_instance();
  auto* participant =
      factory->create_participant(binding.domainId, dds::MakeParticipantQos({"bare", {"127.0.0.1"}, kSegmentSize}));
  const fdds::TypeSupport type(new BytesType(binding.typeName));
  type.register_type(participant);
  auto* topic = participant->create_topic(binding.topicName, binding.typeName, fdds::TOPIC_QOS_DEFAULT);
  auto* subscriber = participant->create_subscriber(fdds::SUBSCRIBER_QOS_DEFAULT);
  BareListener listener(file);
  auto* reader = subscriber->create_datareader(topic, dds::MakeReaderQos(binding, 0), &listener);
  const Received received = Watch([&listener] { return listener.Count(); });
  subscriber->delete_datareader(reader);
  participant->delete_contained_entities();
  factory->delete_participant(participant);
  return received;
}

}  // namespace qor::bench

#endif
