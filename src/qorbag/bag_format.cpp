// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_format.h"

namespace qor::qorbag {

std::string VersionText(std::uint32_t version) {
  return std::to_string(version / 100) + "." + std::to_string(version % 100 / 10);
}

std::string VersionLine(std::uint32_t version) {
  if (version != 0 && version < kWithVersionLine) {
    return "";
  }
  return "#QORBAG V" + (version == 0 ? std::string(CURRENT_BAG_VERSION_STR) : VersionText(version)) + "\n";
}

std::string TooNewText(std::uint32_t version) {
  return "it is of version " + VersionText(version) + ", the newest that can be read is " +
         std::string(CURRENT_BAG_VERSION_STR);
}

}  // namespace qor::qorbag
