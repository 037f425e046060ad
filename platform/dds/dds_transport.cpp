// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/dds_transport.h"

#include <utility>

#include "platform/com/application_name.h"
#include "platform/dds/guid_text.h"
#include "platform/dds/raw_reader.h"
#include "platform/dds/raw_writer.h"

namespace qor::dds {

ara::core::Result<DdsTransport::Parts> DdsTransport::Prepare(const maintaind::EventInfo& event) {
  // Before a participant is made for nothing.
  if (const auto drivable = ChooseTransports(event.dds.transports, true); !drivable) {
    return drivable.Error();
  }
  auto participant = pool_.Get(event.dds.domainId, event.dds.networkIp);
  if (!participant) {
    return participant.Error();
  }
  auto topic = participant.Value()->LeaseTopic(event.dds.topicName, event.dds.typeName, event.dds.isKeyed);
  if (!topic) {
    return topic.Error();
  }
  auto transports = ChooseTransports(event.dds.transports, participant.Value()->HasSharedMemory());
  if (!transports) {
    return transports.Error();
  }
  maintaind::EventInfo used = event;
  used.dds.networkIp = participant.Value()->Address();
  used.dds.subnetMask = participant.Value()->SubnetMask();
  used.dds.transports = transports.Value().used;
  used.dds.participantGuid = GuidText(participant.Value()->GuidPrefix());
  return Parts{std::move(topic).Value(), std::move(transports).Value(), std::move(used)};
}

ara::core::Result<std::unique_ptr<com::EventWriter>> DdsTransport::CreateWriter(const maintaind::EventInfo& event) {
  auto parts = Prepare(event);
  if (!parts) {
    return parts.Error();
  }
  auto& [topic, transports, used] = parts.Value();
  return RawWriter::Create(std::move(topic), transports, std::move(used));
}

ara::core::Result<std::unique_ptr<com::EventReader>> DdsTransport::CreateReader(const maintaind::EventInfo& event,
                                                                                const com::ReaderOptions& options,
                                                                                com::RecvHandler handler) {
  auto parts = Prepare(event);
  if (!parts) {
    return parts.Error();
  }
  auto& [topic, transports, used] = parts.Value();
  return RawReader::Create(std::move(topic), transports, std::move(used), options, std::move(handler));
}

}  // namespace qor::dds

namespace qor::com {
namespace {

dds::ParticipantPool& ProcessPool() {
  // Never destroyed, like the transport below.
  static auto* const pool = new dds::ParticipantPool(ApplicationName());
  return *pool;
}

}  // namespace

EventTransport& DdsEventTransport() {
  static auto* const transport = new dds::DdsTransport(ProcessPool());
  return *transport;
}

}  // namespace qor::com
