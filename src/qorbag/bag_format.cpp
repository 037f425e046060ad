// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_format.h"

namespace qor::qorbag {

std::string VersionLine(std::uint32_t version) {
  if (version != 0 && version < kWithVersionLine) {
    return "";
  }
  const std::string text = version == 0 ? std::string(CURRENT_BAG_VERSION_STR)
                                        : std::to_string(version / 100) + "." + std::to_string(version % 100 / 10);
  return "#QORBAG V" + text + "\n";
}

}  // namespace qor::qorbag
