// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/guid_text.h"

#include <cstddef>
#include <cstdint>

namespace qor::dds {
namespace {

void AppendHex(std::string& text, const std::uint8_t* bytes, std::size_t size) {
  constexpr const char* kDigits = "0123456789abcdef";
  for (std::size_t i = 0; i < size; ++i) {
    text.push_back(kDigits[bytes[i] >> 4U]);
    text.push_back(kDigits[bytes[i] & 0x0FU]);
  }
}

}  // namespace

std::string GuidText(const eprosima::fastrtps::rtps::GuidPrefix_t& prefix) {
  std::string text;
  AppendHex(text, prefix.value, sizeof(prefix.value));
  return text;
}

std::string GuidText(const eprosima::fastrtps::rtps::GUID_t& guid) {
  std::string text = GuidText(guid.guidPrefix);
  AppendHex(text, guid.entityId.value, sizeof(guid.entityId.value));
  return text;
}

}  // namespace qor::dds
