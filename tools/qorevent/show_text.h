// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_SHOW_TEXT_H
#define QOR_TOOLS_QOREVENT_SHOW_TEXT_H

#include <string>

#include <nlohmann/json.hpp>

#include "src/qorevent/event_details.h"
#include "src/qorevent/show_return_value.h"

/// One event with all that is known about it.
namespace qor::tools {

/// `type` is empty when no definition is known.
std::string ShowText(const qorevent::EventDetails& event, const ShowReturnValue& type, bool isColored);
nlohmann::ordered_json ShowJson(const qorevent::EventDetails& event, const ShowReturnValue& type);

}  // namespace qor::tools

#endif
