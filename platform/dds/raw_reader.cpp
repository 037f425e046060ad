// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/raw_reader.h"

#include <algorithm>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>

#include "platform/dds/dds_error.h"
#include "platform/dds/endpoint_qos.h"
#include "platform/dds/incompatible_qos.h"
#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;
using eprosima::fastrtps::types::ReturnCode_t;

constexpr QorLog kLog("DDS");
constexpr std::uint32_t kLogIntervalMs = 1000;

}  // namespace

ara::core::Result<std::unique_ptr<com::EventReader>> RawReader::Create(Participant::TopicLease topic,
                                                                       const EndpointTransports& transports,
                                                                       maintaind::EventInfo used,
                                                                       const com::ReaderOptions& options,
                                                                       com::RecvHandler handler) {
  const std::string topicName = used.dds.topicName;
  std::unique_ptr<RawReader> made(new RawReader(std::move(topic), std::move(used), std::move(handler)));
  if (!made->Open(transports, options)) {
    return DdsError(com::TransportError::kLibrary, "Fast DDS could not create a reader of topic '" + topicName + "'");
  }
  return std::unique_ptr<com::EventReader>(std::move(made));
}

RawReader::RawReader(Participant::TopicLease topic, maintaind::EventInfo used, com::RecvHandler handler)
    : topic_(std::move(topic)), used_(std::move(used)), isMbuf_(IsMbufEvent(used_.dds)), handler_(std::move(handler)) {}

bool RawReader::Open(const EndpointTransports& transports, const com::ReaderOptions& options) {
  Participant& participant = topic_.GetParticipant();
  subscriber_ = participant.Get().create_subscriber(MakeSubscriberQos(used_.dds));
  if (subscriber_ == nullptr) {
    return false;
  }
  fdds::DataReaderQos qos = MakeReaderQos(used_.dds, options.queueSize);
  ConfineEndpoint(qos.endpoint(), transports, participant.ListeningLocators());
  const fdds::StatusMask mask = fdds::StatusMask::data_available() << fdds::StatusMask::subscription_matched()
                                                                   << fdds::StatusMask::requested_incompatible_qos();
  reader_ = subscriber_->create_datareader(topic_.GetTopic(), qos, this, mask);
  return reader_ != nullptr;
}

RawReader::~RawReader() {
  gate_.Close();
  bool isDeleted = true;
  if (reader_ != nullptr) {
    isDeleted = subscriber_->delete_datareader(reader_) == ReturnCode_t::RETCODE_OK;
  }
  if (subscriber_ != nullptr) {
    isDeleted = topic_.GetParticipant().Get().delete_subscriber(subscriber_) == ReturnCode_t::RETCODE_OK && isDeleted;
  }
  if (!isDeleted) {
    kLog.Error() << "Fast DDS could not delete the reader of topic '" << used_.dds.topicName << "'";
  }
}

std::size_t RawReader::MatchedWriters() const {
  return static_cast<std::size_t>(std::max(0, matched_.load(std::memory_order_relaxed)));
}

void RawReader::on_data_available(fdds::DataReader* reader) {
  gate_.Signal([this, reader] { TakeAll(*reader); });
}

void RawReader::TakeAll(fdds::DataReader& reader) {
  fdds::SampleInfo info;
  while (!gate_.IsClosed() && reader.take_next_sample(&sample_, &info) == ReturnCode_t::RETCODE_OK) {
    CountMissing(info);
    if (info.valid_data) {
      Deliver(info);
    }
  }
}

void RawReader::Deliver(const fdds::SampleInfo& info) {
  if (sample_.IsMalformed()) {
    CountUnusable("it is too short for an encapsulation header");
    return;
  }
  com::RecvBuffer buffer;
  buffer.payload = sample_.Payload();
  buffer.memory = &sample_.Memory();
  buffer.encapsulation = sample_.Encapsulation();
  buffer.sequenceNumber = info.sample_identity.sequence_number().to64long();
  buffer.sourceTimestampNs = info.source_timestamp.to_ns();
  if (isMbuf_) {
    if (!dp::DecodeMbufSample(buffer.payload, mbuf_)) {
      CountUnusable("it is no mbuf sample");
      return;
    }
    buffer.privateData = mbuf_.privateData;
    buffer.mbufs = mbuf_.chain;
  }
  handler_(buffer);
}

/// What a writer's history replaced before it was sent again is lost as well, and Fast DDS does not tell. Samples of
/// several instances may come out of order.
void RawReader::CountMissing(const fdds::SampleInfo& info) {
  constexpr std::size_t kMostWriters = 1024;
  if (numbers_.size() > kMostWriters) {
    numbers_.clear();  // of writers that are long gone
  }
  const std::uint64_t number = info.sample_identity.sequence_number().to64long();
  Numbers& seen = numbers_.try_emplace(info.sample_identity.writer_guid(), Numbers{number, number}).first->second;
  if (number > seen.last) {
    lost_.fetch_add(number - seen.last - 1, std::memory_order_relaxed);
    seen.last = number;
  } else if (number > seen.first && number < seen.last) {
    lost_.fetch_sub(1, std::memory_order_relaxed);
  }
}

void RawReader::CountUnusable(const char* reason) {
  lost_.fetch_add(1, std::memory_order_relaxed);
  kLog.Warn("RawReader_" + used_.dds.topicName, kLogIntervalMs)
      << "A sample of topic '" << used_.dds.topicName << "' was dropped: " << reason << ".";
}

void RawReader::on_subscription_matched(fdds::DataReader* /*reader*/, const fdds::SubscriptionMatchedStatus& status) {
  matched_.fetch_add(status.current_count_change, std::memory_order_relaxed);
}

void RawReader::on_requested_incompatible_qos(fdds::DataReader* /*reader*/,
                                              const fdds::RequestedIncompatibleQosStatus& status) {
  LogIncompatibleQos(used_.dds.topicName, "publisher", status.last_policy_id);
}

}  // namespace qor::dds
