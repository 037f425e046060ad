// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_FORMAT_H
#define QOR_QORBAG_BAG_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The constants of the bag file format, which docs/bag-format.md describes.
namespace qor::qorbag {

/// A format version is major x 100 + minor x 10.
inline constexpr std::uint32_t CURRENT_BAG_VERSION = 270;
inline constexpr std::string_view CURRENT_BAG_VERSION_STR = "2.7";
inline constexpr std::uint32_t kOldestBagVersion = 100;

/// The versions that brought something.
inline constexpr std::uint32_t kWithVersionLine = 110;
inline constexpr std::uint32_t kWithDriverType = 110;
inline constexpr std::uint32_t kWithMsgDef = 120;
inline constexpr std::uint32_t kWithRecordTimes = 130;
inline constexpr std::uint32_t kWithChunkEndInfo = 150;  ///< and all that makes active files readable
inline constexpr std::uint32_t kWithSerializationType = 160;
inline constexpr std::uint32_t kWithDataMode = 170;
inline constexpr std::uint32_t kWithCompression = 180;
inline constexpr std::uint32_t kWithStatistics = 190;
inline constexpr std::uint32_t kWithMbufLengths = 200;  ///< of each buffer of a chain
inline constexpr std::uint32_t kWithSerializationConfig = 210;
inline constexpr std::uint32_t kWithWideMinorVersion = 220;  ///< of SOME/IP: 32 bits
inline constexpr std::uint32_t kWithNetworks = 230;
inline constexpr std::uint32_t kWithMulticastPort = 240;
inline constexpr std::uint32_t kWithMulticastAddress = 250;
inline constexpr std::uint32_t kWithDiscoveryAddresses = 260;
inline constexpr std::uint32_t kWithFshmMulticast = 270;

enum class OpCode : std::uint8_t {
  kMessage = 2,
  kFileHeader = 3,
  kChunkIndex = 4,
  kChunkHeader = 5,
  kChunkInfo = 6,
  kConnection = 7,
};

/// How chunks are compressed: 1 and 2 are the types of zel::ddt::Compressor.
enum class FileCompressionType : std::uint32_t { kNone = 0, kLz4 = 1, kZstd = 2 };

/// Of a chunk that was written completely.
inline constexpr std::uint32_t kChunkComplete = 1;

/// A message record has a header of fixed size: its data length and its payload lie at these places of the record.
inline constexpr std::size_t kMessageLengthAt = 55;
inline constexpr std::size_t kMessagePayloadAt = 59;

/// Such as "2.7".
std::string VersionText(std::uint32_t version);

/// The line that a file of the version begins with; empty for 100. 0 stands for the current version.
std::string VersionLine(std::uint32_t version);

/// Of a file whose version is newer than the current one: "it is of version 3.4, the newest that can be read is 2.7".
std::string TooNewText(std::uint32_t version);

}  // namespace qor::qorbag

#endif
