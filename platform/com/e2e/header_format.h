// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_E2E_HEADER_FORMAT_H
#define QOR_COM_E2E_HEADER_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "src/common/records/e2e.h"

namespace qor::com::e2e {

/// Why nothing can be protected or checked with this configuration, as "expected ..."; nothing when it is valid, which
/// it always is without protection. `minDataLength` and `maxDataLength` count what travels, the header included; a
/// `maxDataLength` of 0 leaves the limit to the profile's length field.
std::optional<std::string> ConfigFault(const maintaind::E2EConfigInfo& config);

struct Profile;

/// Where the E2E header of one event is and what stands in it, as the AUTOSAR E2E protocol specification lays it out:
///
///     profile 4, 12 bytes, big-endian:     length 2, counter 2, data id 4, CRC32P4 4
///     profile 5,  3 bytes, little-endian:  CRC16 2, counter 1
///     profile 7, 20 bytes, big-endian:     CRC64 8, length 4, counter 4, data id 4
///
/// The length is that of the whole sample with its header. The checksum covers everything but itself; in profile 5 also
/// the 16-bit data id, low byte first, which does not travel. Immutable; any thread.
class HeaderFormat {
 public:
  /// Nothing when the event is not protected or the configuration has a fault.
  static std::optional<HeaderFormat> Of(const maintaind::E2EConfigInfo& config);

  std::size_t Offset() const { return offset_; }  ///< bytes before the header
  std::size_t Size() const;                       ///< bytes of the header
  std::uint32_t MaxCounter() const;               ///< after it comes 0

  /// Bounds of a sample's size in bytes, with the header.
  std::size_t SmallestSample() const { return smallestSample_; }
  std::size_t LargestSample() const { return largestSample_; }
  bool Allows(std::size_t sampleSize) const { return smallestSample_ <= sampleSize && sampleSize <= largestSample_; }

  /// Fills the header's bytes in `sample`, whose other bytes are final and whose size is allowed. As much of `counter`
  /// as the profile has room for.
  void Write(std::span<std::uint8_t> sample, std::uint32_t counter) const;

  /// The counter, when size, checksum, length and data id are as they must be.
  std::optional<std::uint32_t> Read(std::span<const std::uint8_t> sample) const;

 private:
  friend std::optional<std::string> ConfigFault(const maintaind::E2EConfigInfo&);

  HeaderFormat(const Profile& profile, const maintaind::E2EConfigInfo& config);
  std::uint64_t Checksum(std::span<const std::uint8_t> sample) const;

  const Profile* profile_;
  std::uint32_t dataId_;
  std::size_t offset_;
  std::size_t smallestSample_;
  std::size_t largestSample_;
};

}  // namespace qor::com::e2e

#endif
