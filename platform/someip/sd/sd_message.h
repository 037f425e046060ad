// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_MESSAGE_H
#define QOR_SOMEIP_SD_SD_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "platform/someip/message.h"
#include "platform/someip/sd/sd_fault.h"
#include "platform/someip/sd/sd_option.h"

/// The messages of SOME/IP service discovery (AUTOSAR SOME/IP-SD protocol): flags, entries of 16 bytes, and options
/// that the entries refer to by up to two runs of indices.
namespace qor::someip::sd {

inline constexpr std::uint16_t kSdService = 0xFFFF;
inline constexpr std::uint16_t kSdMethod = 0x8100;

inline constexpr std::size_t kEntrySize = 16;
/// Of a message that is sent, its header included: what one UDP message carries.
inline constexpr std::size_t kMaxSentSize = kHeaderSize + 1400;
// Of a message that is received; it can be longer than one that is sent.
inline constexpr std::size_t kMaxEntries = 512;
inline constexpr std::size_t kMaxOptions = 1024;  ///< as often as entries refer to one

enum class EntryType : std::uint8_t {
  kFindService = 0x00,
  kOfferService = 0x01,            ///< with time to live 0: stop
  kSubscribeEventgroup = 0x06,     ///< with time to live 0: stop
  kSubscribeEventgroupAck = 0x07,  ///< with time to live 0: refused
};

struct Entry {
  EntryType type = EntryType::kFindService;
  std::uint16_t service = 0;
  std::uint16_t instance = 0;
  std::uint8_t major = 0;
  std::uint32_t ttl = 0;    ///< 24 bits
  std::uint32_t minor = 0;  ///< finds and offers only
  // Eventgroup entries only.
  std::uint16_t eventgroup = 0;
  std::uint8_t counter = 0;  ///< 4 bits
  bool isInitialDataRequested = false;
  std::vector<Option> options;

  ServiceKey Key() const { return {service, instance, major}; }
  bool IsOfEventgroup() const {
    return type == EntryType::kSubscribeEventgroup || type == EntryType::kSubscribeEventgroupAck;
  }

  bool operator==(const Entry&) const = default;
};

struct SdMessage {
  std::uint16_t session = 0;
  bool isReboot = false;
  bool isUnicast = false;  ///< the sender takes unicast; everybody does
  std::vector<Entry> entries;
  /// Entries with options that are malformed or not there; without them here. They say nothing, but a subscription
  /// among them has to be refused.
  std::vector<Entry> invalidEntries;

  bool operator==(const SdMessage&) const = default;
};

/// Entries of an unknown type and options of an unknown type are left out. `message` is one SOME/IP message; what
/// follows its length is not looked at.
std::variant<SdMessage, SdFault> DecodeSdMessage(std::span<const std::uint8_t> message);

/// Builds one message. Equal options are stored once.
class SdMessageWriter {
 public:
  /// False when the entry no longer fits, or can never be encoded: then an empty writer refuses it too.
  [[nodiscard]] bool Add(const Entry& entry);
  bool IsEmpty() const { return entryCount_ == 0; }
  /// The message, with the unicast flag set. The writer is empty afterwards.
  std::vector<std::uint8_t> Finish(std::uint16_t session, bool isReboot);

 private:
  using EncodedOptions = std::vector<std::vector<std::uint8_t>>;

  std::vector<std::uint8_t> entries_;
  std::size_t entryCount_ = 0;
  EncodedOptions options_;
  std::size_t optionsSize_ = 0;
};

}  // namespace qor::someip::sd

#endif
