// SPDX-License-Identifier: Apache-2.0
#include "platform/com/e2e/crc.h"

#include <array>
#include <cstddef>
#include <utility>

namespace qor::com::e2e {
namespace {

constexpr std::size_t kSlices = 16;  // bytes taken at a time; one table each

/// tables[n][b]: what byte b leaves in the register when n zero bytes follow it.
template <class Word>
using Tables = std::array<std::array<Word, 256>, kSlices>;

template <class Word>
constexpr Tables<Word> Extend(const std::array<Word, 256>& first) {
  Tables<Word> tables{first};
  for (std::size_t n = 1; n < kSlices; ++n) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const Word shorter = tables[n - 1][byte];
      tables[n][byte] = static_cast<Word>((shorter >> 8) ^ first[shorter & 0xFF]);
    }
  }
  return tables;
}

template <class Word>
constexpr Tables<Word> ReflectedTables(Word reversedPolynomial) {
  std::array<Word, 256> first{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    Word word = static_cast<Word>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      word = (word >> 1) ^ ((word & 1) != 0 ? reversedPolynomial : 0);
    }
    first[byte] = word;
  }
  return Extend(first);
}

constexpr std::uint16_t Swap(std::uint16_t word) { return static_cast<std::uint16_t>(word << 8 | word >> 8); }

/// With the register's two bytes swapped, the CRC that shifts to the left takes the same steps as those to the right.
constexpr Tables<std::uint16_t> SwappedTables(std::uint16_t polynomial) {
  std::array<std::uint16_t, 256> first{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    std::uint32_t word = static_cast<std::uint32_t>(byte) << 8;
    for (int bit = 0; bit < 8; ++bit) {
      word = word << 1 ^ ((word & 0x8000) != 0 ? polynomial : 0U);
    }
    first[byte] = Swap(static_cast<std::uint16_t>(word));
  }
  return Extend(first);
}

constexpr auto kCrc16Tables = SwappedTables(0x1021);
constexpr auto kCrc32P4Tables = ReflectedTables<std::uint32_t>(0xC8DF352F);
constexpr auto kCrc64Tables = ReflectedTables<std::uint64_t>(0xC96C5795D7870F42);

using Eight = std::make_index_sequence<8>;

template <std::size_t... I>
std::uint64_t LoadLittle(const std::uint8_t* at, std::index_sequence<I...>) {
  return ((static_cast<std::uint64_t>(at[I]) << (8 * I)) | ...);
}

template <class Word, std::size_t... I>
Word LookUp(const Tables<Word>& tables, std::uint64_t low, std::uint64_t high, std::index_sequence<I...>) {
  const Word ofLow = static_cast<Word>((tables[15 - I][(low >> (8 * I)) & 0xFF] ^ ...));
  const Word ofHigh = static_cast<Word>((tables[7 - I][(high >> (8 * I)) & 0xFF] ^ ...));
  return ofLow ^ ofHigh;
}

template <class Word>
Word Update(const Tables<Word>& tables, Word state, std::span<const std::uint8_t> bytes) {
  for (; bytes.size() >= kSlices; bytes = bytes.subspan(kSlices)) {
    const std::uint64_t low = LoadLittle(bytes.data(), Eight()) ^ state;
    state = LookUp(tables, low, LoadLittle(bytes.data() + 8, Eight()), Eight());
  }
  for (const std::uint8_t byte : bytes) {
    state = static_cast<Word>((state >> 8) ^ tables[0][(state ^ byte) & 0xFF]);
  }
  return state;
}

}  // namespace

std::uint16_t Crc16(std::span<const std::uint8_t> bytes, std::uint16_t before) {
  return Swap(Update(kCrc16Tables, Swap(before), bytes));
}

std::uint32_t Crc32P4(std::span<const std::uint8_t> bytes, std::uint32_t before) {
  return ~Update(kCrc32P4Tables, ~before, bytes);
}

std::uint64_t Crc64(std::span<const std::uint8_t> bytes, std::uint64_t before) {
  return ~Update(kCrc64Tables, ~before, bytes);
}

}  // namespace qor::com::e2e
