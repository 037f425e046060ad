// SPDX-License-Identifier: Apache-2.0
#include "platform/com/e2e/header_format.h"

#include <algorithm>
#include <array>
#include <limits>

#include "platform/com/e2e/crc.h"

namespace qor::com::e2e {
namespace {

constexpr std::size_t kBitsPerByte = 8;
constexpr std::uint32_t kMaxImplicitDataId = 0xFFFF;

/// Bytes from the header's start. A size of 0: the header has no such field.
struct Field {
  std::uint8_t at = 0;
  std::uint8_t size = 0;

  std::uint64_t Max() const { return (std::uint64_t{1} << (8 * size)) - 1; }  // of at most 7 bytes
};

}  // namespace

struct Profile {
  std::uint8_t number = 0;
  std::uint8_t headerSize = 0;
  bool isBigEndian = true;
  Field length;
  Field counter;
  Field dataId;
  Field crc;
};

namespace {

constexpr std::array<Profile, 3> kProfiles = {{
    {4, 12, true, {0, 2}, {2, 2}, {4, 4}, {8, 4}},
    {5, 3, false, {}, {2, 1}, {}, {0, 2}},
    {7, 20, true, {8, 4}, {12, 4}, {16, 4}, {0, 8}},
}};

const Profile* FindProfile(std::uint8_t number) {
  const auto* found = std::find_if(kProfiles.begin(), kProfiles.end(),
                                   [number](const Profile& profile) { return profile.number == number; });
  return found == kProfiles.end() ? nullptr : found;
}

unsigned Shift(const Profile& profile, const Field& field, unsigned byte) {
  return 8U * (profile.isBigEndian ? field.size - 1U - byte : byte);
}

void Put(const Profile& profile, const Field& field, std::uint8_t* header, std::uint64_t value) {
  for (unsigned byte = 0; byte < field.size; ++byte) {
    header[field.at + byte] = static_cast<std::uint8_t>(value >> Shift(profile, field, byte));
  }
}

std::uint64_t Get(const Profile& profile, const Field& field, const std::uint8_t* header) {
  std::uint64_t value = 0;
  for (unsigned byte = 0; byte < field.size; ++byte) {
    value |= static_cast<std::uint64_t>(header[field.at + byte]) << Shift(profile, field, byte);
  }
  return value;
}

/// True as well where the header has no such field.
bool Holds(const Profile& profile, const Field& field, const std::uint8_t* header, std::uint64_t value) {
  return field.size == 0 || Get(profile, field, header) == value;
}

}  // namespace

std::optional<std::string> ConfigFault(const maintaind::E2EConfigInfo& config) {
  if (!config.isProtected) {
    return std::nullopt;
  }
  const Profile* profile = FindProfile(config.profile);
  if (profile == nullptr) {
    return "expected profile 4, 5 or 7";
  }
  if (config.offset % kBitsPerByte != 0) {
    return "expected offset to be a multiple of 8 bits";
  }
  if (profile->dataId.size == 0 && config.dataId > kMaxImplicitDataId) {
    return "expected dataId to be at most " + std::to_string(kMaxImplicitDataId);
  }
  if (config.maxDeltaCounter == 0) {
    return "expected maxDeltaCounter to be at least 1";
  }
  const HeaderFormat format(*profile, config);
  if (format.SmallestSample() > format.LargestSample()) {
    return "expected lengths that fit: minDataLength, offset and header need " +
           std::to_string(format.SmallestSample() * kBitsPerByte) + " bits, maxDataLength and the profile allow " +
           std::to_string(format.LargestSample() * kBitsPerByte);
  }
  return std::nullopt;
}

std::optional<HeaderFormat> HeaderFormat::Of(const maintaind::E2EConfigInfo& config) {
  if (!config.isProtected || ConfigFault(config)) {
    return std::nullopt;
  }
  return HeaderFormat(*FindProfile(config.profile), config);
}

HeaderFormat::HeaderFormat(const Profile& profile, const maintaind::E2EConfigInfo& config)
    : profile_(&profile), dataId_(config.dataId), offset_(config.offset / kBitsPerByte) {
  const std::size_t minLength =
      config.minDataLength / kBitsPerByte + (config.minDataLength % kBitsPerByte != 0 ? 1 : 0);
  smallestSample_ = std::max(offset_ + profile.headerSize, minLength);
  // Profile 5 has no length field; any size can travel.
  largestSample_ = profile.length.size == 0 ? std::numeric_limits<std::uint32_t>::max()
                                            : static_cast<std::size_t>(profile.length.Max());
  if (config.maxDataLength != 0) {
    largestSample_ = std::min<std::size_t>(largestSample_, config.maxDataLength / kBitsPerByte);
  }
}

std::size_t HeaderFormat::Size() const { return profile_->headerSize; }

std::uint32_t HeaderFormat::MaxCounter() const { return static_cast<std::uint32_t>(profile_->counter.Max()); }

void HeaderFormat::Write(std::span<std::uint8_t> sample, std::uint32_t counter) const {
  std::uint8_t* header = &sample[offset_];
  Put(*profile_, profile_->length, header, sample.size());
  Put(*profile_, profile_->counter, header, counter);
  Put(*profile_, profile_->dataId, header, dataId_);
  Put(*profile_, profile_->crc, header, Checksum(sample));
}

std::optional<std::uint32_t> HeaderFormat::Read(std::span<const std::uint8_t> sample) const {
  if (!Allows(sample.size())) {
    return std::nullopt;
  }
  const std::uint8_t* header = &sample[offset_];
  if (!Holds(*profile_, profile_->length, header, sample.size()) ||
      !Holds(*profile_, profile_->dataId, header, dataId_) ||
      !Holds(*profile_, profile_->crc, header, Checksum(sample))) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(Get(*profile_, profile_->counter, header));
}

std::uint64_t HeaderFormat::Checksum(std::span<const std::uint8_t> sample) const {
  const auto before = sample.first(offset_ + profile_->crc.at);
  const auto after = sample.subspan(before.size() + profile_->crc.size);
  switch (profile_->number) {
    case 4:
      return Crc32P4(after, Crc32P4(before));
    case 5: {
      const std::array<std::uint8_t, 2> dataId = {static_cast<std::uint8_t>(dataId_),
                                                  static_cast<std::uint8_t>(dataId_ >> 8)};
      return Crc16(dataId, Crc16(after, Crc16(before)));
    }
    default:
      return Crc64(after, Crc64(before));
  }
}

}  // namespace qor::com::e2e
