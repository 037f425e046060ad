// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_serialization.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <string>
#include <vector>

#include "src/common/records/codec.h"
#include "src/common/records/pdu_description.h"
#include "src/common/records/serialization_node.h"

namespace qor::com {
namespace {

using Json = DeploymentReader::Json;
using maintaind::PduDescription;
using maintaind::PduSignal;
using maintaind::SerializationNode;
using maintaind::SerializationType;

/// Reads the fields of a record but its list of children.
class FieldsWithoutChildren {
 public:
  explicit FieldsWithoutChildren(DeploymentReader& reader) : reader_(reader) {}
  template <class T>
  void operator()(const char* name, T& field) {
    reader_(name, field);
  }
  void operator()(const char* /*name*/, std::vector<SerializationNode>& /*children*/) {}

 private:
  DeploymentReader& reader_;
};

void CheckSize(DeploymentReader& reader, const char* key, unsigned size, const std::vector<unsigned>& allowed) {
  if (std::ranges::find(allowed, size) == allowed.end()) {
    std::string text;
    for (const unsigned one : allowed) {
      text += (text.empty() ? "" : ", ") + std::to_string(one);
    }
    reader.Faults().Error(reader.PointerOf(key), "expected one of " + text);
  }
}

void CheckNode(DeploymentReader& reader, const SerializationNode& node) {
  const std::vector<unsigned> lengths = {0, 1, 2, 4};
  CheckSize(reader, "stringLength", node.stringLength, lengths);
  CheckSize(reader, "structLength", node.structLength, lengths);
  CheckSize(reader, "arrayLength", node.arrayLength, lengths);
  CheckSize(reader, "vectorAndMapLength", node.vectorAndMapLength, lengths);
  CheckSize(reader, "plainVectorLength", node.plainVectorLength, {0, 1, 2, 4, SerializationNode::kSameLength});
  CheckSize(reader, "unionLengthField", node.unionLengthField, lengths);
  CheckSize(reader, "unionTypeSelectorLength", node.unionTypeSelectorLength, {1, 2, 4});
  CheckSize(reader, "tlvLengthFieldSize", node.tlvLengthFieldSize, lengths);
  CheckSize(reader, "alignment", node.alignment, {1, 2, 4, 8});
  if (node.dataId != SerializationNode::kNoDataId && node.dataId > 0x0FFF) {
    reader.Faults().Error(reader.PointerOf("dataId"), "expected a number of 12 bits");
  }
}

/// `node` brings what the one around it says; the file's nesting is limited.
void ReadNode(DeploymentReader& reader, SerializationNode& node) {
  FieldsWithoutChildren fields(reader);
  SerializationNode::Visit(fields, node);
  CheckNode(reader, node);
  const Json* children = reader.Find("children");
  if (children != nullptr && !children->is_array()) {
    reader.Faults().Error(reader.PointerOf("children"), "expected a list");
  } else if (children != nullptr) {
    for (std::size_t i = 0; i < children->size(); ++i) {
      SerializationNode child = maintaind::InheritedFrom(node);
      DeploymentReader childReader((*children)[i], PointerTo(reader.PointerOf("children"), i), reader.Faults());
      ReadNode(childReader, child);
      node.children.push_back(std::move(child));
    }
  }
  reader.Finish();
}

bool IsDecimal(const std::string& text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return text.empty() || (error == std::errc() && end == text.data() + text.size());
}

/// `length` of the PDU in bytes; 0: not configured.
void CheckSignal(DeploymentReader& reader, const PduSignal& signal, std::uint32_t length) {
  constexpr std::uint32_t kMaxBits = 64;
  if (signal.bitLength < 1 || signal.bitLength > kMaxBits) {
    reader.Faults().Error(reader.PointerOf("bitLength"), "expected a number from 1 to 64");
    return;
  }
  if (length != 0 && maintaind::EndOf(signal) > length) {
    reader.Faults().Error(reader.PointerOf("bitPosition"), "the signal reaches beyond the length of the PDU");
  }
  if (signal.bitLength < kMaxBits && signal.initialValue >> signal.bitLength != 0) {
    reader.Faults().Error(reader.PointerOf("initialValue"), "expected a raw value that fits in bitLength");
  }
  for (const auto& [key, text] : {std::pair("factor", signal.factor), std::pair("offset", signal.offset)}) {
    if (!IsDecimal(text)) {
      reader.Faults().Error(reader.PointerOf(key), "expected a decimal number in a text, such as \"0.5\"");
    }
  }
}

void ReadPdu(DeploymentReader& reader, PduDescription& pdu) {
  reader.Read("length", pdu.length);
  const Json* list = reader.Require("signals");
  if (list != nullptr && !list->is_array()) {
    reader.Faults().Error(reader.PointerOf("signals"), "expected a list");
    return;
  }
  std::set<std::string> names;
  for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
    DeploymentReader entry((*list)[i], PointerTo(reader.PointerOf("signals"), i), reader.Faults());
    PduSignal signal;
    entry.ReadName("name", signal.name);
    entry.ReadFields(signal);
    signal.hasInitialValue = entry.Find("initialValue") != nullptr;
    CheckSignal(entry, signal, pdu.length);
    if (!names.insert(signal.name).second) {
      entry.Faults().Error(entry.PointerOf("name"), "there is a signal of this name already");
    }
    entry.Finish();
    pdu.signals.push_back(std::move(signal));
  }
  reader.Finish();
}

/// Reads an object below `parent` that only one type has.
template <class T, class Read>
void ReadConfig(DeploymentReader& parent, const char* key, bool isAllowed, maintaind::SerializeConfig& config,
                Read read) {
  const Json* json = parent.Find(key);
  if (json == nullptr) {
    return;
  }
  if (!isAllowed) {
    parent.Faults().Error(parent.PointerOf(key), "not of this serialization type");
    return;
  }
  T value;
  DeploymentReader reader(*json, parent.PointerOf(key), parent.Faults());
  read(reader, value);
  config.serializedConfig = maintaind::Encode(value);
}

}  // namespace

void ReadSerialization(DeploymentReader& entity, maintaind::SerializeConfig& config) {
  const Json* json = entity.Find("serialization");
  if (json == nullptr) {
    return;
  }
  DeploymentReader reader(*json, entity.PointerOf("serialization"), entity.Faults());
  reader.ReadFields(config);
  ReadConfig<SerializationNode>(reader, "settings", config.type == SerializationType::kSomeip, config, ReadNode);
  ReadConfig<PduDescription>(reader, "pdu", config.type == SerializationType::kPdu, config, ReadPdu);
  if (config.type == SerializationType::kPdu && config.serializedConfig.empty()) {
    reader.Require("pdu");
  }
  reader.Finish();
}

}  // namespace qor::com
