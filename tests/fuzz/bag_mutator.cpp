// SPDX-License-Identifier: Apache-2.0
// How fuzz targets of bags change their inputs.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <vector>

#include "src/qorbag/little_endian.h"

namespace qor::qorbag {
namespace {

bool IsLetter(std::uint8_t byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }

/// The values of all fields that are numbers.
std::vector<std::span<std::uint8_t>> NumbersIn(std::span<std::uint8_t> file) {
  std::vector<std::span<std::uint8_t>> numbers;
  for (std::size_t at = 0; at < file.size(); ++at) {
    std::size_t name = at;
    while (file[at] == '=' && name > 0 && IsLetter(file[name - 1])) {
      --name;
    }
    if (name == at || name < sizeof(std::uint32_t)) {
      continue;
    }
    const std::size_t size = LoadLittle<std::uint32_t>(file.data() + name - sizeof(std::uint32_t)) - (at + 1 - name);
    if (size >= 1 && size <= sizeof(std::uint64_t) && size < file.size() - at) {
      numbers.push_back(file.subspan(at + 1, size));
    }
  }
  return numbers;
}

/// A number that means something in the file, or nearly.
std::uint64_t OtherNumber(const std::vector<std::span<std::uint8_t>>& numbers, std::size_t fileSize,
                          std::minstd_rand& random) {
  const auto other = numbers[random() % numbers.size()];
  std::uint64_t number = 0;
  std::copy(other.begin(), other.end(), reinterpret_cast<std::uint8_t*>(&number));
  switch (random() % 4) {
    case 0:
      return number;
    case 1:
      return number + random() % 129 - 64;
    case 2:
      return random() % (fileSize + 2);
    default:
      return std::uint64_t{0} - random() % 2;
  }
}

}  // namespace
}  // namespace qor::qorbag

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

/// Bytes that change anywhere seldom lead somewhere: half of the changes give a field another value.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  using namespace qor::qorbag;
  std::minstd_rand random(seed);
  const auto numbers = NumbersIn({data, size});
  if (numbers.empty() || random() % 2 == 0) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  const std::uint64_t number = OtherNumber(numbers, size, random);
  const auto value = numbers[random() % numbers.size()];
  std::memcpy(value.data(), &number, value.size());
  return size;
}
