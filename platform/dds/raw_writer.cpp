// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/raw_writer.h"

#include <algorithm>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>

#include "platform/dds/dds_duration.h"
#include "platform/dds/dds_error.h"
#include "platform/dds/endpoint_qos.h"
#include "platform/dds/incompatible_qos.h"
#include "platform/dds/raw_type.h"
#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;
using eprosima::fastrtps::types::ReturnCode_t;

constexpr QorLog kLog("DDS");
constexpr std::uint32_t kLogIntervalMs = 1000;

log::LogStream Refusal(const std::string& topicName) { return kLog.Error("RawWriter_" + topicName, kLogIntervalMs); }

}  // namespace

ara::core::Result<std::unique_ptr<com::EventWriter>> RawWriter::Create(Participant::TopicLease topic,
                                                                       const EndpointTransports& transports,
                                                                       maintaind::EventInfo used) {
  const std::string topicName = used.dds.topicName;
  std::unique_ptr<RawWriter> made(new RawWriter(std::move(topic), std::move(used)));
  if (!made->Open(transports)) {
    return DdsError(com::TransportError::kLibrary, "Fast DDS could not create a writer of topic '" + topicName + "'");
  }
  return std::unique_ptr<com::EventWriter>(std::move(made));
}

RawWriter::RawWriter(Participant::TopicLease topic, maintaind::EventInfo used)
    : topic_(std::move(topic)),
      used_(std::move(used)),
      isMbuf_(IsMbufEvent(used_.dds)),
      maxPayload_(used_.dds.maxSampleSize != 0 ? std::min<std::size_t>(used_.dds.maxSampleSize, RawType::kMaxPayload)
                                               : RawType::kMaxPayload),
      encapsulation_(EncapsulationOf(used_.dds.dataRepresentation)) {}

bool RawWriter::Open(const EndpointTransports& transports) {
  Participant& participant = topic_.GetParticipant();
  publisher_ = participant.Get().create_publisher(MakePublisherQos(used_.dds));
  if (publisher_ == nullptr) {
    return false;
  }
  fdds::DataWriterQos qos = MakeWriterQos(used_.dds);
  ConfineEndpoint(qos.endpoint(), transports, participant.ListeningLocators());
  const fdds::StatusMask mask = fdds::StatusMask::publication_matched() << fdds::StatusMask::offered_incompatible_qos();
  writer_ = publisher_->create_datawriter(topic_.GetTopic(), qos, this, mask);
  return writer_ != nullptr;
}

RawWriter::~RawWriter() {
  bool isDeleted = true;
  if (writer_ != nullptr) {
    isDeleted = publisher_->delete_datawriter(writer_) == ReturnCode_t::RETCODE_OK;
  }
  if (publisher_ != nullptr) {
    isDeleted = topic_.GetParticipant().Get().delete_publisher(publisher_) == ReturnCode_t::RETCODE_OK && isDeleted;
  }
  if (!isDeleted) {
    kLog.Error() << "Fast DDS could not delete the writer of topic '" << used_.dds.topicName << "'";
  }
}

bool RawWriter::Write(std::span<const std::uint8_t> payload) {
  if (!IsAcceptable(payload)) {
    return false;
  }
  OutgoingSample sample{payload, encapsulation_};
  const ReturnCode_t result = writer_->write(&sample, fdds::HANDLE_NIL);
  if (result == ReturnCode_t::RETCODE_OK) {
    return true;
  }
  if (result == ReturnCode_t::RETCODE_TIMEOUT) {
    Refusal(used_.dds.topicName) << "A sample of topic '" << used_.dds.topicName
                                 << "' was not sent: its readers do not keep up.";
  } else {
    Refusal(used_.dds.topicName) << "A sample of topic '" << used_.dds.topicName << "' with " << payload.size()
                                 << " bytes was not sent: Fast DDS answered " << result();
  }
  return false;
}

bool RawWriter::IsAcceptable(std::span<const std::uint8_t> payload) {
  if (payload.size() > maxPayload_) {
    Refusal(used_.dds.topicName) << "A sample of topic '" << used_.dds.topicName << "' was not sent: it has "
                                 << payload.size() << " bytes, " << maxPayload_ << " are allowed.";
    return false;
  }
  if (isMbuf_ && !dp::DecodeMbufSample(payload, mbuf_)) {
    Refusal(used_.dds.topicName) << "A sample of topic '" << used_.dds.topicName
                                 << "' was not sent: it is no mbuf sample.";
    return false;
  }
  return true;
}

std::size_t RawWriter::MatchedReaders() const {
  return static_cast<std::size_t>(std::max(0, matched_.load(std::memory_order_relaxed)));
}

bool RawWriter::WaitForFlush(std::chrono::milliseconds limit) {
  return writer_->wait_for_acknowledgments(DdsDuration(limit)) == ReturnCode_t::RETCODE_OK;
}

void RawWriter::on_publication_matched(fdds::DataWriter* /*writer*/, const fdds::PublicationMatchedStatus& status) {
  matched_.fetch_add(status.current_count_change, std::memory_order_relaxed);
}

void RawWriter::on_offered_incompatible_qos(fdds::DataWriter* /*writer*/,
                                            const fdds::OfferedIncompatibleQosStatus& status) {
  LogIncompatibleQos(used_.dds.topicName, "subscriber", status.last_policy_id);
}

}  // namespace qor::dds
