// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/record_source.h"

#include <array>

#include "src/qorbag/little_endian.h"

namespace qor::qorbag {

bool RecordSource::ReadHeader(HeaderFields& fields) {
  constexpr std::uint32_t kNoLength = 0xFFFFFFFF;
  std::uint32_t size = 0;
  return Read(size) && size != kNoLength && ReadData(size, header_) && fields.Parse(header_.Bytes());
}

bool RecordSource::Read(std::uint32_t& number) {
  std::array<std::uint8_t, sizeof(number)> bytes{};
  if (!input_.Read(position_, bytes)) {
    return false;
  }
  number = LoadLittle<std::uint32_t>(bytes.data());
  position_ += bytes.size();
  return true;
}

bool RecordSource::ReadData(std::uint64_t size, QorBuffer& data) {
  if (size > Remaining()) {
    return false;
  }
  data.SetSize(size);
  if (!input_.Read(position_, {data.GetData(), data.GetSize()})) {
    return false;
  }
  position_ += size;
  return true;
}

}  // namespace qor::qorbag
