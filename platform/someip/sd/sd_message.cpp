// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_message.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/someip/big_endian.h"

namespace qor::someip::sd {
namespace {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

constexpr std::uint8_t kRebootFlag = 0x80;
constexpr std::uint8_t kUnicastFlag = 0x40;
constexpr std::uint8_t kInitialDataFlag = 0x80;
constexpr std::uint8_t kCounterMask = 0x0F;
constexpr std::size_t kFlagsSize = 4;   // with the reserved bytes
constexpr std::size_t kLengthSize = 4;  // of the entries and of the options
constexpr std::size_t kMaxRun = 15;
constexpr std::size_t kMaxOptionIndex = 255;

bool IsServiceDiscovery(const MessageHeader& header) {
  return header.serviceId == kSdService && header.methodId == kSdMethod && header.protocolVersion == kProtocolVersion &&
         header.interfaceVersion == 1 && header.type == MessageType::kNotification &&
         header.returnCode == ReturnCode::kOk;
}

/// A run of option indices.
struct Run {
  std::size_t first = 0;
  std::size_t count = 0;
};

/// Takes the bytes that a length field at the beginning of `rest` counts, and leaves what follows them.
std::optional<ByteView> TakeArray(ByteView& rest) {
  if (rest.size() < kLengthSize) {
    return std::nullopt;
  }
  const std::size_t length = GetBigEndian<kLengthSize>(rest, 0);
  rest = rest.subspan(kLengthSize);
  if (length > rest.size()) {
    return std::nullopt;
  }
  const ByteView array = rest.first(length);
  rest = rest.subspan(length);
  return array;
}

std::variant<std::vector<DecodedOption>, SdFault> DecodeOptions(ByteView rest) {
  std::vector<DecodedOption> options;
  while (!rest.empty()) {
    if (rest.size() < kOptionHeaderSize) {
      return SdFault::kCutShort;
    }
    const std::size_t length = GetBigEndian<2>(rest, 0);
    const std::uint8_t type = rest[2];
    rest = rest.subspan(kOptionHeaderSize);
    if (length > rest.size()) {
      return SdFault::kCutShort;
    }
    if (options.size() == kMaxOptions) {
      return SdFault::kTooManyOptions;
    }
    options.push_back(DecodeOption(type, rest.first(length)));
    rest = rest.subspan(length);
  }
  return options;
}

Entry DecodeEntryFields(ByteView bytes) {
  Entry entry;
  entry.type = static_cast<EntryType>(bytes[0]);
  entry.service = GetBigEndian<2>(bytes, 4);
  entry.instance = GetBigEndian<2>(bytes, 6);
  entry.major = bytes[8];
  entry.ttl = GetBigEndian<3>(bytes, 9);
  if (entry.IsOfEventgroup()) {
    entry.isInitialDataRequested = (bytes[13] & kInitialDataFlag) != 0;
    entry.counter = bytes[13] & kCounterMask;
    entry.eventgroup = GetBigEndian<2>(bytes, 14);
  } else {
    entry.minor = GetBigEndian<4>(bytes, 12);
  }
  return entry;
}

/// False when one is not there or malformed.
bool CollectOptions(Run run, const std::vector<DecodedOption>& options, std::vector<Option>& collected) {
  if (run.count == 0) {
    return true;  // whatever its index is
  }
  if (run.first + run.count > options.size()) {
    return false;
  }
  for (std::size_t i = run.first; i < run.first + run.count; ++i) {
    if (std::holds_alternative<MalformedOption>(options[i])) {
      return false;
    }
    if (const auto* option = std::get_if<Option>(&options[i])) {
      collected.push_back(*option);
    }
  }
  return true;
}

bool IsKnown(EntryType type) {
  switch (type) {
    case EntryType::kFindService:
    case EntryType::kOfferService:
    case EntryType::kSubscribeEventgroup:
    case EntryType::kSubscribeEventgroupAck:
      return true;
  }
  return false;
}

std::optional<SdFault> DecodeEntries(ByteView entries, const std::vector<DecodedOption>& options, SdMessage& message) {
  if (entries.size() % kEntrySize != 0) {
    return SdFault::kEntriesLength;
  }
  if (entries.size() / kEntrySize > kMaxEntries) {
    return SdFault::kTooManyEntries;
  }
  std::size_t references = 0;
  for (; !entries.empty(); entries = entries.subspan(kEntrySize)) {
    const ByteView bytes = entries.first(kEntrySize);
    const Run first{bytes[1], static_cast<std::size_t>(bytes[3] >> 4U)};
    const Run second{bytes[2], static_cast<std::size_t>(bytes[3] & 0x0FU)};
    references += first.count + second.count;
    if (references > kMaxOptions) {
      return SdFault::kTooManyOptions;
    }
    Entry entry = DecodeEntryFields(bytes);
    if (!IsKnown(entry.type)) {
      continue;
    }
    if (CollectOptions(first, options, entry.options) && CollectOptions(second, options, entry.options)) {
      message.entries.push_back(std::move(entry));
    } else {
      entry.options.clear();
      message.invalidEntries.push_back(std::move(entry));
    }
  }
  return std::nullopt;
}

/// Where the first `count` of `wanted` stand in `options` one after the other.
std::optional<std::size_t> FindRun(const std::vector<Bytes>& options, std::span<const Bytes> wanted) {
  const auto found = std::search(options.begin(), options.end(), wanted.begin(), wanted.end());
  if (found == options.end()) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(found - options.begin());
}

/// How an entry refers to its options: the longest beginning of them that is stored already, and the rest, which is
/// stored already too or appended.
struct Placement {
  Run first;
  Run second;
  std::size_t appended = 0;  // the last ones
};

std::optional<Placement> Place(const std::vector<Bytes>& stored, std::span<const Bytes> wanted) {
  Placement placement;
  for (std::size_t count = std::min(wanted.size(), kMaxRun); count > 0 && placement.first.count == 0; --count) {
    if (const auto at = FindRun(stored, wanted.first(count))) {
      placement.first = {*at, count};
    }
  }
  const auto rest = wanted.subspan(placement.first.count);
  if (rest.empty()) {
    return placement;
  }
  const auto at = FindRun(stored, rest);
  Run run{at.value_or(stored.size()), rest.size()};
  placement.appended = at ? 0 : rest.size();
  if (placement.first.count == 0) {
    placement.first = {run.first, std::min(run.count, kMaxRun)};
    run = {run.first + placement.first.count, run.count - placement.first.count};
  }
  placement.second = run;
  if (run.count > kMaxRun || run.first > kMaxOptionIndex || placement.first.first > kMaxOptionIndex) {
    return std::nullopt;
  }
  return placement;
}

void PutEntry(Bytes& bytes, const Entry& entry, const Placement& placement) {
  bytes.push_back(static_cast<std::uint8_t>(entry.type));
  bytes.push_back(static_cast<std::uint8_t>(placement.first.first));
  bytes.push_back(static_cast<std::uint8_t>(placement.second.count > 0 ? placement.second.first : 0));
  bytes.push_back(static_cast<std::uint8_t>(placement.first.count << 4U | placement.second.count));
  AppendBigEndian<2>(bytes, entry.service);
  AppendBigEndian<2>(bytes, entry.instance);
  bytes.push_back(entry.major);
  AppendBigEndian<3>(bytes, entry.ttl);
  if (entry.IsOfEventgroup()) {
    bytes.push_back(0);
    bytes.push_back(static_cast<std::uint8_t>((entry.isInitialDataRequested ? kInitialDataFlag : 0U) |
                                              (entry.counter & kCounterMask)));
    AppendBigEndian<2>(bytes, entry.eventgroup);
  } else {
    AppendBigEndian<4>(bytes, entry.minor);
  }
}

}  // namespace

std::variant<SdMessage, SdFault> DecodeSdMessage(std::span<const std::uint8_t> message) {
  const auto header = DecodeHeader(message);
  if (!header) {
    return SdFault::kCutShort;
  }
  if (!IsServiceDiscovery(*header)) {
    return SdFault::kNotServiceDiscovery;
  }
  ByteView rest = message.subspan(kHeaderSize);
  if (header->PayloadSize() > rest.size() || header->PayloadSize() < kFlagsSize) {
    return SdFault::kCutShort;
  }
  rest = rest.first(header->PayloadSize());
  SdMessage decoded;
  decoded.session = header->sessionId;
  decoded.isReboot = (rest[0] & kRebootFlag) != 0;
  decoded.isUnicast = (rest[0] & kUnicastFlag) != 0;
  rest = rest.subspan(kFlagsSize);
  const auto entries = TakeArray(rest);
  const auto optionBytes = TakeArray(rest);
  if (!entries || !optionBytes) {
    return SdFault::kCutShort;
  }
  const auto options = DecodeOptions(*optionBytes);
  if (const auto* fault = std::get_if<SdFault>(&options)) {
    return *fault;
  }
  if (const auto fault = DecodeEntries(*entries, std::get<std::vector<DecodedOption>>(options), decoded)) {
    return *fault;
  }
  return decoded;
}

bool SdMessageWriter::Add(const Entry& entry) {
  EncodedOptions wanted;
  for (const Option& option : entry.options) {
    auto bytes = EncodeOption(option);
    if (!bytes) {
      return false;
    }
    wanted.push_back(std::move(*bytes));
  }
  const auto placement = Place(options_, wanted);
  if (!placement) {
    return false;
  }
  const auto appended = std::span(wanted).last(placement->appended);
  std::size_t optionsSize = optionsSize_;
  for (const Bytes& option : appended) {
    optionsSize += option.size();
  }
  const std::size_t frame = kHeaderSize + kFlagsSize + 2 * kLengthSize;
  if (frame + entries_.size() + kEntrySize + optionsSize > kMaxSentSize) {
    return false;
  }
  PutEntry(entries_, entry, *placement);
  ++entryCount_;
  options_.insert(options_.end(), appended.begin(), appended.end());
  optionsSize_ = optionsSize;
  return true;
}

std::vector<std::uint8_t> SdMessageWriter::Finish(std::uint16_t session, bool isReboot) {
  Bytes payload;
  AppendBigEndian<1>(payload, kUnicastFlag | (isReboot ? kRebootFlag : 0U));
  AppendBigEndian<3>(payload, 0);
  AppendBigEndian<kLengthSize>(payload, static_cast<std::uint32_t>(entries_.size()));
  payload.insert(payload.end(), entries_.begin(), entries_.end());
  AppendBigEndian<kLengthSize>(payload, static_cast<std::uint32_t>(optionsSize_));
  for (const Bytes& option : options_) {
    payload.insert(payload.end(), option.begin(), option.end());
  }
  *this = {};

  MessageHeader header;
  header.serviceId = kSdService;
  header.methodId = kSdMethod;
  header.length = kLengthOverhead + static_cast<std::uint32_t>(payload.size());
  header.sessionId = session;
  header.type = MessageType::kNotification;
  const auto headerBytes = EncodeHeader(header);
  Bytes message(headerBytes.begin(), headerBytes.end());
  message.insert(message.end(), payload.begin(), payload.end());
  return message;
}

}  // namespace qor::someip::sd
