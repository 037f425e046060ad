// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_PDU_TEXT_H
#define QOR_TOOLS_QOREVENT_PDU_TEXT_H

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "src/common/records/event_info.h"
#include "src/common/records/pdu_description.h"

/// The layout of signal-based PDUs as a person and as a program reads it.
namespace qor::tools {

/// Nothing when the event is none, or its layout cannot be read.
std::optional<maintaind::PduDescription> PduOf(const maintaind::EventRegisterInfo& event);

/// Such as "12 bits at 4, big-endian, signed, x 0.1 - 40, initially 4095".
std::string SignalText(const maintaind::PduSignal& signal);

/// In the words of the deployment folder.
nlohmann::ordered_json PduJson(const maintaind::PduDescription& pdu);

}  // namespace qor::tools

#endif
