// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/serialization_config.h"

#include <string_view>

#include "src/common/records/codec.h"
#include "src/qorbag/bag_log.h"

namespace qor::qorbag {
namespace {

template <class T>
bool Read(std::span<const std::uint8_t> bytes, T& value, std::string_view fault) {
  value = {};
  if (maintaind::Decode(bytes, value)) {
    return true;
  }
  value = {};
  kLog.Error() << fault;
  return false;
}

}  // namespace

bool QorSOMEIPConfigSerialize::SetSerializeData(std::span<const std::uint8_t> bytes) {
  return Read(bytes, node_, "QorSOMEIPConfigSerialize: the serialization settings cannot be read");
}

bool QorPduConfigInfoSerialize::SetSerializeData(std::span<const std::uint8_t> bytes) {
  return Read(bytes, pdu_, "QorPduConfigInfoSerialize: the layout of the PDU cannot be read");
}

}  // namespace qor::qorbag
