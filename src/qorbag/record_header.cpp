// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/record_header.h"

#include <algorithm>

#include "src/qorbag/bag_log.h"

namespace qor::qorbag {
namespace {

std::string_view AsText(std::span<const std::uint8_t> bytes) {
  return bytes.empty() ? std::string_view()
                       : std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

}  // namespace

bool HeaderFields::Parse(std::span<const std::uint8_t> header) {
  fields_.clear();
  ByteReader reader(header);
  while (reader.Remaining() > 0) {
    std::uint32_t size = 0;
    std::span<const std::uint8_t> field;
    const bool isRead = reader.Read(size) && reader.Read(size, field);
    const std::size_t end = AsText(field).find('=');
    if (!isRead || end == std::string_view::npos) {
      kLog.Error() << "Parse header is invalid.";
      return false;
    }
    fields_.push_back({AsText(field).substr(0, end), field.subspan(end + 1)});
  }
  return true;
}

bool HeaderFields::OptionMatch(OpCode op) const {
  std::uint8_t value = 0;
  return ReadField("op", value) && value == static_cast<std::uint8_t>(op);
}

bool HeaderFields::ReadField(std::string_view name, std::string& value) const {
  std::span<const std::uint8_t> bytes;
  if (!Find(name, 0, bytes)) {
    return false;
  }
  value = AsText(bytes);
  return true;
}

bool HeaderFields::Find(std::string_view name, std::size_t least, std::span<const std::uint8_t>& value) const {
  const auto found = std::find_if(fields_.rbegin(), fields_.rend(), [&](const auto& one) { return one.name == name; });
  if (found == fields_.rend() || found->value.size() < least) {
    kLog.Error() << "ReadMap find field failed";
    return false;
  }
  value = found->value;
  return true;
}

}  // namespace qor::qorbag
