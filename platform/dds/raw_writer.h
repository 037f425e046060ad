// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_RAW_WRITER_H
#define QOR_DDS_RAW_WRITER_H

#include <atomic>
#include <fastdds/dds/publisher/DataWriterListener.hpp>
#include <memory>

#include "platform/ara/core/result.h"
#include "platform/com/transport.h"
#include "platform/dds/endpoint_transports.h"
#include "platform/dds/participant.h"
#include "platform/dp/mbuf.h"

namespace eprosima::fastdds::dds {
class DataWriter;
class Publisher;
}  // namespace eprosima::fastdds::dds

namespace qor::dds {

/// Writes raw samples of one topic through a Fast DDS writer and publisher of its own.
class RawWriter : public com::EventWriter, private eprosima::fastdds::dds::DataWriterListener {
 public:
  static ara::core::Result<std::unique_ptr<com::EventWriter>> Create(Participant::TopicLease topic,
                                                                     const EndpointTransports& transports,
                                                                     maintaind::EventInfo used);
  ~RawWriter() override;
  RawWriter(const RawWriter&) = delete;
  RawWriter& operator=(const RawWriter&) = delete;

  bool Write(std::span<const std::uint8_t> payload) override;
  std::size_t MatchedReaders() const override;
  bool WaitForFlush(std::chrono::milliseconds limit) override;
  bool IsMbuf() const override { return isMbuf_; }
  const maintaind::EventInfo& Used() const override { return used_; }

 private:
  RawWriter(Participant::TopicLease topic, maintaind::EventInfo used);
  bool Open(const EndpointTransports& transports);
  bool IsAcceptable(std::span<const std::uint8_t> payload);
  void on_publication_matched(eprosima::fastdds::dds::DataWriter* writer,
                              const eprosima::fastdds::dds::PublicationMatchedStatus& status) override;
  void on_offered_incompatible_qos(eprosima::fastdds::dds::DataWriter* writer,
                                   const eprosima::fastdds::dds::OfferedIncompatibleQosStatus& status) override;

  Participant::TopicLease topic_;
  maintaind::EventInfo used_;
  bool isMbuf_;
  std::size_t maxPayload_;
  std::uint16_t encapsulation_;
  eprosima::fastdds::dds::Publisher* publisher_ = nullptr;  // owned; deleted through the participant
  eprosima::fastdds::dds::DataWriter* writer_ = nullptr;    // owned; deleted through the publisher

  std::atomic<std::int32_t> matched_{0};

  dp::MbufSample mbuf_;  // touched by Write only
};

}  // namespace qor::dds

#endif
