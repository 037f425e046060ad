// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DDS_TRANSPORT_H
#define QOR_DDS_DDS_TRANSPORT_H

#include <memory>

#include "platform/com/transport.h"
#include "platform/dds/endpoint_transports.h"
#include "platform/dds/participant_pool.h"

namespace qor::dds {

/// The DDS wire: endpoints of the events' DDS bindings on the participants of a pool. Any thread.
///
/// A record's networkIp is the address of the interface to use, or one in its subnet; empty or a loopback address: this
/// host only. On a network, participants find each other by the RTPS default multicast group. Not
/// driven: multicast addresses and fragmentSize, sampleListSize, samplePoolSize, sharedMemorySegmentSize of a record.
class DdsTransport : public com::EventTransport {
 public:
  explicit DdsTransport(ParticipantPool& pool) : pool_(pool) {}

  ara::core::Result<std::unique_ptr<com::EventWriter>> CreateWriter(const maintaind::EventInfo& event) override;
  ara::core::Result<std::unique_ptr<com::EventReader>> CreateReader(const maintaind::EventInfo& event,
                                                                    const com::ReaderOptions& options,
                                                                    com::RecvHandler handler) override;

 private:
  /// What an endpoint of an event is made of.
  struct Parts {
    Participant::TopicLease topic;
    EndpointTransports transports;
    maintaind::EventInfo used;
  };
  ara::core::Result<Parts> Prepare(const maintaind::EventInfo& event);

  ParticipantPool& pool_;
};

}  // namespace qor::dds

#endif
