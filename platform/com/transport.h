// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_TRANSPORT_H
#define QOR_COM_TRANSPORT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/ara/core/result.h"
#include "platform/com/recv_buffer.h"
#include "src/common/records/event_info.h"

/// What a wire offers to the nodes of this process; one implementation a wire (platform/dds, platform/someip).
namespace qor::com {

/// Errors of CreateWriter and CreateReader.
enum class TransportError : std::int32_t {
  kNotSupported = 1,  ///< the event has only transports that this platform cannot drive
  kBadConfig = 2,     ///< the record contradicts itself or what the process already uses
  kNoNetwork = 3,     ///< the address is not one of this host
  kLibrary = 4,       ///< the wire's library refused
};

/// Sends the samples of one event. Write: any thread, one at a time.
class EventWriter {
 public:
  virtual ~EventWriter() = default;
  /// For an mbuf event the payload is the encoded sample (dp::EncodeMbufSample).
  virtual bool Write(std::span<const std::uint8_t> payload) = 0;
  virtual std::size_t MatchedReaders() const = 0;
  virtual bool WaitForFlush(std::chrono::milliseconds limit) = 0;
  /// True when the samples of the event are mbuf chains.
  virtual bool IsMbuf() const = 0;
  /// The record with what is really used: address, transports, participant.
  virtual const maintaind::EventInfo& Used() const = 0;
};

/// Receives the samples of one event until destroyed; destruction waits for a handler that is running. The counts are
/// answered without a lock, so a handler may ask for them.
class EventReader {
 public:
  virtual ~EventReader() = default;
  virtual std::size_t MatchedWriters() const = 0;
  virtual std::uint64_t LostSamples() const = 0;
  /// The record with what is really used: address, transports, participant.
  virtual const maintaind::EventInfo& Used() const = 0;
};

struct ReaderOptions {
  std::uint32_t queueSize = 0;  ///< samples; 0: what the record's history says
};

/// One wire. Any thread.
class EventTransport {
 public:
  virtual ~EventTransport() = default;
  virtual ara::core::Result<std::unique_ptr<EventWriter>> CreateWriter(const maintaind::EventInfo& event) = 0;
  virtual ara::core::Result<std::unique_ptr<EventReader>> CreateReader(const maintaind::EventInfo& event,
                                                                       const ReaderOptions& options,
                                                                       RecvHandler handler) = 0;
};

/// The process's wire for a driver; null for one that this build does not have.
EventTransport* TransportFor(maintaind::DriverType driver);

/// The process's DDS wire; defined by platform/dds. Made on the first call, never destroyed.
EventTransport& DdsEventTransport();
/// The process's SOME/IP wire. Made on the first call, never destroyed.
EventTransport& SomeipEventTransport();

}  // namespace qor::com

#endif
