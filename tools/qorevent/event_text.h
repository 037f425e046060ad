// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_EVENT_TEXT_H
#define QOR_TOOLS_QOREVENT_EVENT_TEXT_H

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "src/common/qor_event_info.h"
#include "src/common/records/node_info.h"

/// Events as texts and as JSON, the same for every verb.
namespace qor::tools {

/// "online", "offline", or "none" when no publisher is known.
const char* PublisherState(const qorevent::QorEventInfo& event);

std::string Join(const std::vector<std::string>& texts, const char* separator);

/// Every key is always there; null where the binding does not have it.
nlohmann::ordered_json EventJson(const qorevent::QorEventInfo& event);
nlohmann::ordered_json NodeJson(const maintaind::NodeInfoWithAppName& node);

}  // namespace qor::tools

#endif
