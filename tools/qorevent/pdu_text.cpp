// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/pdu_text.h"

#include "src/common/records/codec.h"

namespace qor::tools {

using Json = nlohmann::ordered_json;
using maintaind::PduDescription;
using maintaind::PduSignal;

std::optional<PduDescription> PduOf(const maintaind::EventRegisterInfo& event) {
  PduDescription pdu;
  const bool isPdu = event.serializeConfig.type == maintaind::SerializationType::kPdu;
  return isPdu && maintaind::Decode(event.serializeConfig.serializedConfig, pdu) ? std::optional(pdu) : std::nullopt;
}

std::string SignalText(const PduSignal& signal) {
  std::string text = std::to_string(signal.bitLength) + (signal.bitLength == 1 ? " bit" : " bits") + " at " +
                     std::to_string(signal.bitPosition) + (signal.isBigEndian ? ", big-endian" : ", little-endian");
  text += signal.isSigned ? ", signed" : "";
  if (!signal.factor.empty() || !signal.offset.empty()) {
    text += ", x " + (signal.factor.empty() ? "1" : signal.factor);
    text += signal.offset.empty()            ? ""
            : signal.offset.starts_with('-') ? " - " + signal.offset.substr(1)
                                             : " + " + signal.offset;
  }
  return text + (signal.hasInitialValue ? ", initially " + std::to_string(signal.initialValue) : "");
}

Json PduJson(const PduDescription& pdu) {
  Json signals = Json::array();
  for (const PduSignal& signal : pdu.signals) {
    Json& json = signals.emplace_back();
    json["name"] = signal.name;
    json["bitPosition"] = signal.bitPosition;
    json["bitLength"] = signal.bitLength;
    json["bigEndian"] = signal.isBigEndian;
    json["signed"] = signal.isSigned;
    json["factor"] = signal.factor;
    json["offset"] = signal.offset;
    if (signal.hasInitialValue) {
      json["initialValue"] = signal.initialValue;
    }
  }
  return Json{{"length", pdu.length}, {"signals", signals}};
}

}  // namespace qor::tools
