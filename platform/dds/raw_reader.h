// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_RAW_READER_H
#define QOR_DDS_RAW_READER_H

#include <atomic>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <memory>

#include "platform/ara/core/result.h"
#include "platform/com/transport.h"
#include "platform/dds/delivery_gate.h"
#include "platform/dds/endpoint_transports.h"
#include "platform/dds/participant.h"
#include "platform/dds/raw_type.h"
#include "platform/dp/mbuf.h"

namespace eprosima::fastdds::dds {
class DataReader;
class Subscriber;
}  // namespace eprosima::fastdds::dds

namespace qor::dds {

/// Reads raw samples of one topic through a Fast DDS reader and subscriber of its own. The handler runs on Fast DDS's
/// receive threads.
class RawReader : public com::EventReader, private eprosima::fastdds::dds::DataReaderListener {
 public:
  static ara::core::Result<std::unique_ptr<com::EventReader>> Create(Participant::TopicLease topic,
                                                                     const EndpointTransports& transports,
                                                                     maintaind::EventInfo used,
                                                                     const com::ReaderOptions& options,
                                                                     com::RecvHandler handler);
  ~RawReader() override;
  RawReader(const RawReader&) = delete;
  RawReader& operator=(const RawReader&) = delete;

  std::size_t MatchedWriters() const override;
  std::uint64_t LostSamples() const override { return lost_.load(std::memory_order_relaxed); }
  const maintaind::EventInfo& Used() const override { return used_; }

 private:
  /// The first and the largest sequence number of a writer.
  struct Numbers {
    std::uint64_t first;
    std::uint64_t last;
  };

  RawReader(Participant::TopicLease topic, maintaind::EventInfo used, com::RecvHandler handler);
  bool Open(const EndpointTransports& transports, const com::ReaderOptions& options);
  void TakeAll(eprosima::fastdds::dds::DataReader& reader);
  void Deliver(const eprosima::fastdds::dds::SampleInfo& info);
  void CountMissing(const eprosima::fastdds::dds::SampleInfo& info);
  void CountUnusable(const char* reason);
  void on_data_available(eprosima::fastdds::dds::DataReader* reader) override;
  void on_subscription_matched(eprosima::fastdds::dds::DataReader* reader,
                               const eprosima::fastdds::dds::SubscriptionMatchedStatus& status) override;
  void on_requested_incompatible_qos(eprosima::fastdds::dds::DataReader* reader,
                                     const eprosima::fastdds::dds::RequestedIncompatibleQosStatus& status) override;

  Participant::TopicLease topic_;
  maintaind::EventInfo used_;
  bool isMbuf_;
  com::RecvHandler handler_;
  eprosima::fastdds::dds::Subscriber* subscriber_ = nullptr;  // owned; deleted through the participant
  eprosima::fastdds::dds::DataReader* reader_ = nullptr;      // owned; deleted through the subscriber

  std::atomic<std::int32_t> matched_{0};
  std::atomic<std::uint64_t> lost_{0};
  DeliveryGate gate_;

  // Touched only by the thread that the gate lets deliver.
  std::map<eprosima::fastrtps::rtps::GUID_t, Numbers> numbers_;  ///< by writer
  IncomingSample sample_;
  dp::MbufSample mbuf_;
};

}  // namespace qor::dds

#endif
