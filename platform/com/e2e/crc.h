// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_E2E_CRC_H
#define QOR_COM_E2E_CRC_H

#include <cstdint>
#include <span>

/// The checksums of the E2E profiles, as the AUTOSAR CRC library defines them. `before` is the checksum of the bytes
/// that precede, so that data in several pieces is never joined; left out, the data starts here. Any thread, no state.
namespace qor::com::e2e {

/// CRC-16/CCITT-FALSE: polynomial 0x1021, start value 0xFFFF, not reflected, not inverted.
std::uint16_t Crc16(std::span<const std::uint8_t> bytes, std::uint16_t before = 0xFFFF);

/// CRC32P4: polynomial 0xF4ACFB13, start value 0xFFFFFFFF, reflected, inverted at the end.
std::uint32_t Crc32P4(std::span<const std::uint8_t> bytes, std::uint32_t before = 0);

/// CRC-64 of ECMA-182's polynomial 0x42F0E1EBA9EA3693, start value all ones, reflected, inverted at the end.
std::uint64_t Crc64(std::span<const std::uint8_t> bytes, std::uint64_t before = 0);

}  // namespace qor::com::e2e

#endif
