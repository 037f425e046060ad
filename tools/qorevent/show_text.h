// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_SHOW_TEXT_H
#define QOR_TOOLS_QOREVENT_SHOW_TEXT_H

#include <string>

#include <nlohmann/json.hpp>

#include "src/qorevent/event_details.h"

/// One event with all that is known about it.
namespace qor::tools {

std::string ShowText(const qorevent::EventDetails& event, bool isColored);
nlohmann::ordered_json ShowJson(const qorevent::EventDetails& event);

}  // namespace qor::tools

#endif
