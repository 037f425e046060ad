// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_BAG_TEXT_H
#define QOR_TOOLS_QORBAG_BAG_TEXT_H

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "src/qorbag/qor_bag_file.h"
#include "tools/common/table.h"

/// What is known about bags, as a person and as a program reads it.
namespace qor::tools {

/// Several lines and a table of the events.
std::string InfoText(const qorbag::BagFileHeadInfo& info, TableStyle style);
/// Every key is always there; null where the bag does not tell.
nlohmann::ordered_json InfoJson(const qorbag::BagFileHeadInfo& info);

/// "1 message", "2 messages".
std::string CountText(std::uint64_t count, const std::string& what);

}  // namespace qor::tools

#endif
