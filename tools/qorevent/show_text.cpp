// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/show_text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "tools/common/number_text.h"
#include "tools/common/printable.h"
#include "tools/qorevent/event_text.h"
#include "tools/qorevent/pdu_text.h"
#include "tools/qorevent/type_tree.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;
using maintaind::NodeInfoWithAppName;
using qorevent::EventDetails;
using qorevent::QorEventInfo;

/// Indented lines of a label and a text; lines without a text are left out.
class Sheet {
 public:
  explicit Sheet(bool isColored) : isColored_(isColored) {}

  void Title(std::string_view text) { text_ += Emphasised(text) + "\n"; }
  void Section(std::string_view text) { text_ += "  " + Emphasised(text) + "\n"; }
  void Line(std::string_view label, std::string_view value) { AddLine(2, label, value); }
  void SubLine(std::string_view label, std::string_view value) { AddLine(4, label, value); }
  void Block(std::string_view text) { text_ += text; }
  std::string Take() { return std::move(text_); }

 private:
  std::string Emphasised(std::string_view text) const {
    return isColored_ ? "\033[1m" + Printable(text) + "\033[0m" : Printable(text);
  }
  void AddLine(std::size_t indent, std::string_view label, std::string_view value) {
    constexpr std::size_t kValueColumn = 34;
    if (value.empty()) {
      return;
    }
    std::string line = std::string(indent, ' ') + Printable(label);
    line.append(std::max<std::size_t>(kValueColumn, DisplayWidth(line) + 2) - DisplayWidth(line), ' ');
    text_ += line + Printable(value) + "\n";
  }

  const bool isColored_;
  std::string text_;
};

std::string NetworkText(const QorEventInfo& entry) {
  return entry.subnetMask.empty() ? entry.networkIp : entry.networkIp + " mask " + entry.subnetMask;
}

void AddIdentity(Sheet& sheet, const QorEventInfo& entry) {
  sheet.Line("Binding", entry.binding);
  sheet.Line("Service", HexText(entry.serviceId) + ", instance " + std::to_string(entry.instanceId));
  if (entry.binding == "DDS") {
    sheet.Line("Topic", entry.topicName);
    sheet.Line("Domain", std::to_string(entry.domainId));
  } else {
    sheet.Line("Event", HexText(entry.eventId));
  }
  sheet.Line("Transports", Join(entry.transports, ", "));
  sheet.Line("Network", NetworkText(entry));
  sheet.Line("Instance", entry.instanceShortName);
  sheet.Line("UUID", entry.uuid);
  sheet.Line("Host domain", entry.hostDomainName);
  if (!entry.attributes.empty()) {
    sheet.Section("Attributes");
    for (const auto& [label, value] : entry.attributes) {
      sheet.SubLine(label, value);
    }
  }
}

std::string NodeText(const NodeInfoWithAppName& node) {
  std::string text = node.isOnline ? "online" : "offline";
  if (node.processId != 0) {  // programs that know no daemon have none
    text += ", process " + std::to_string(node.processId);
  }
  for (const auto& [label, value] : {std::pair("application ", node.applicationName), std::pair("as ", node.identity),
                                     std::pair("label ", node.selinuxLabel)}) {
    text += value.empty() ? std::string() : ", " + (label + value);
  }
  return text;
}

/// The details of the nodes, and the bare names of those that no daemon knows more about.
void AddNodes(Sheet& sheet, const std::vector<std::string>& names, const std::vector<NodeInfoWithAppName>& nodes) {
  for (const NodeInfoWithAppName& node : nodes) {
    sheet.SubLine(node.nodeName, NodeText(node));
  }
  for (const std::string& name : names) {
    const bool isKnown =
        std::any_of(nodes.begin(), nodes.end(), [&](const auto& node) { return node.nodeName == name; });
    if (!isKnown) {
      sheet.SubLine(name, "no more is known");
    }
  }
}

void AddSides(Sheet& sheet, const EventDetails& event) {
  const auto& record = event.record;
  sheet.Section(record.publisher.empty() ? "Publisher: none"
                                         : std::string("Publisher: ") + PublisherState(event.entries.front()));
  if (!record.publisher.empty()) {
    AddNodes(sheet, {record.publisher}, event.publisherNodes);
  }
  sheet.Section("Subscribers: " + std::to_string(record.subscribers.size()));
  AddNodes(sheet, record.subscribers, event.subscriberNodes);
}

void AddType(Sheet& sheet, const EventDetails& event) {
  const std::string& name = event.type.dataTypeName.empty() ? event.record.dataTypeName : event.type.dataTypeName;
  sheet.Section("Data type: " + (name.empty() ? std::string("not known") : name));
  if (const auto pdu = PduOf(event.record); pdu.has_value() && !pdu->signals.empty()) {
    sheet.SubLine("Length", pdu->length == 0 ? "" : std::to_string(pdu->length) + " bytes");
    for (const maintaind::PduSignal& signal : pdu->signals) {
      sheet.SubLine(signal.name, SignalText(signal));
    }
    return;
  }
  if (event.type.topLevelTypeJson.empty()) {
    sheet.SubLine("Definition", "not deployed");
    return;
  }
  sheet.Block(TypeTree(event.type, 4));
}

template <class List, class ToJsonFunction>
Json ListJson(const List& list, ToJsonFunction toJson) {
  Json array = Json::array();
  for (const auto& element : list) {
    array.push_back(toJson(element));
  }
  return array;
}

Json EntryJson(const QorEventInfo& entry) {
  Json json = EventJson(entry);
  json["attributes"] = Json::object();
  for (const auto& [label, value] : entry.attributes) {
    json["attributes"][label] = value;
  }
  return json;
}

}  // namespace

std::string ShowText(const EventDetails& event, bool isColored) {
  Sheet sheet(isColored);
  sheet.Title(event.record.eventName);
  sheet.Line("Application", event.record.applicationName);
  sheet.Line("Resource", event.record.resource);
  for (const QorEventInfo& entry : event.entries) {
    AddIdentity(sheet, entry);
  }
  AddSides(sheet, event);
  AddType(sheet, event);
  return sheet.Take();
}

Json ShowJson(const EventDetails& event) {
  Json json = Json::object();
  json["name"] = event.record.eventName;
  json["state"] = PublisherState(event.entries.front());
  json["application"] = event.record.applicationName;
  json["resource"] = event.record.resource;
  json["bindings"] = ListJson(event.entries, EntryJson);
  json["publisher"] = event.record.publisher;
  json["publisherNodes"] = ListJson(event.publisherNodes, NodeJson);
  json["subscribers"] = event.record.subscribers;
  json["subscriberNodes"] = ListJson(event.subscriberNodes, NodeJson);
  json["dataType"] = event.type.dataTypeName.empty() ? event.record.dataTypeName : event.type.dataTypeName;
  json["definition"] = ParseTypeJson(event.type.topLevelTypeJson);
  json["definitionTypes"] = ParseTypeJson(event.type.typeListJson);
  if (const auto pdu = PduOf(event.record)) {
    json["pdu"] = PduJson(*pdu);
  }
  return json;
}

}  // namespace qor::tools
