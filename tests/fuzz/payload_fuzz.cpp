// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/log/log_config.h"
#include "src/datatype/field_path.h"
#include "src/datatype/payload_renderer.h"
#include "src/datatype/plan_compiler.h"
#include "src/datatype/type_parser.h"
#include "tests/fuzz/require.h"

namespace qor::datatype {
namespace {

using maintaind::SerializationNode;

constexpr char kDefinitions[] = R"([
  {"ShortName": "All", "Type": "STRUCTURE", "Subelements": [
    {"Name": "number", "Type": "double", "Padding": "3"}, {"Name": "text", "Type": "string"},
    {"Name": "plate", "Type": "Plate"}, {"Name": "rows", "Type": "Rows"}, {"Name": "map", "Type": "Map"},
    {"Name": "either", "Type": "Either", "IsOptional": "true"}, {"Name": "raw", "Type": "Raw"},
    {"Name": "error", "Type": "Error"}, {"Name": "gear", "Type": "Gear"}]},
  {"ShortName": "Plate", "Type": "FIXED_STRING", "length": "6"},
  {"ShortName": "Row", "Type": "ARRAY", "template": "uint16", "length": "2"},
  {"ShortName": "Rows", "Type": "VECTOR", "template": "Row"},
  {"ShortName": "Map", "Type": "ASSOCIATIVE_MAP", "key": "string", "value": "Either"},
  {"ShortName": "Either", "Type": "VARIANT", "Subelements": [{"Type": "uint8"}, {"Type": "Rows"}, {"Type": "Empty"}]},
  {"ShortName": "Empty", "Type": "STRUCTURE", "Subelements": []},
  {"ShortName": "Empties", "Type": "VECTOR", "template": "Empty"},
  {"ShortName": "Flat", "Type": "STRUCTURE", "Subelements": [
    {"Name": "gear", "Type": "Gear", "Padding": "2"}, {"Name": "inner", "Type": "Inner", "Padding": "1"},
    {"Name": "last", "Type": "float"}]},
  {"ShortName": "Inner", "Type": "STRUCTURE", "Subelements": [
    {"Name": "flag", "Type": "bool"}, {"Name": "small", "Type": "int8", "Padding": "4"}]},
  {"ShortName": "Flats", "Type": "VECTOR", "template": "Flat"},
  {"ShortName": "Raw", "Type": "RAWBUFFER"},
  {"ShortName": "Gear", "Type": "ENUMERATION", "DataType": "int16", "value": []},
  {"ShortName": "Error", "Type": "ERROR", "ErrorDomainId": 1, "ErrorDomainName": "d", "ErrorCode": []}
])";

/// Length fields of every size, tags on the members of the outermost structure, every encoding.
std::vector<SerializationNode> AllSettings() {
  std::vector<SerializationNode> all;
  for (const std::uint8_t size : std::initializer_list<std::uint8_t>{0, 1, 2, 4}) {
    SerializationNode node;
    node.isBigEndian = size != 2;
    node.isAddBOM = size == 4;
    node.stringEncoding = static_cast<maintaind::StringEncoding>(size % 3);
    node.stringLength = node.structLength = node.arrayLength = node.vectorAndMapLength = node.unionLengthField = size;
    node.unionTypeSelectorLength = size == 0 ? 1 : size;
    node.alignment = size;
    node.elementPadding = size == 1 ? 1 : 0;
    all.push_back(node);
    node.isChildNodeEnableTlv = true;
    for (std::uint16_t id = 0; id < 9; ++id) {
      node.children.emplace_back(all.back());
      node.children.back().dataId = id;
      node.children.back().tlvLengthFieldSize = size;
    }
    all.push_back(node);
  }
  return all;
}

struct Target {
  std::shared_ptr<const Plan> plan;
  WireOptions wire;
};

std::vector<Target> AllTargets() {
  std::map<std::string, std::shared_ptr<const TypeDefinition>> definitions;
  for (const auto& json : nlohmann::json::parse(kDefinitions)) {
    auto definition = std::make_shared<TypeDefinition>();
    Require(ParseTypeDefinition(json.dump(), *definition));
    definitions.emplace(definition->shortName, std::move(definition));
  }
  const auto lookup = [&](const std::string& name) {
    const auto at = definitions.find(name);
    return at == definitions.end() ? nullptr : at->second;
  };
  std::vector<Target> targets;
  for (const char* type : {"All", "Map", "Empties", "Flats"}) {
    const auto plan = PlanCompiler(lookup, nullptr).Compile(type);
    targets.push_back({plan, {WireOptions::Form::kDds, false, true, true}});
    targets.push_back({plan, {WireOptions::Form::kDds, true, false, false}});
    targets.push_back({plan, {WireOptions::Form::kSomeip, true, false, false}});
    for (const SerializationNode& settings : AllSettings()) {
      auto configured = PlanCompiler(lookup, &settings).Compile(type);
      Require(configured != nullptr);
      targets.push_back({std::move(configured), {WireOptions::Form::kSomeipWithSettings, false, false, false}});
    }
  }
  return targets;
}

}  // namespace
}  // namespace qor::datatype

/// The first byte chooses type and wire, the second the layout; the others are the payload.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::datatype;
  static const std::vector<Target> targets = [] {
    qor::log::LogOptions off;
    off.stderrLevel = qor::LogLevel::kOff;
    qor::log::ConfigureLog(off);
    return AllTargets();
  }();
  if (size < 2) {
    return 0;
  }
  const Target& target = targets[data[0] % targets.size()];
  const auto layout = static_cast<LayoutKind>(data[1] % 3);
  // A block of its own, so that the sanitizer sees the first byte that is read behind it.
  const std::vector<std::uint8_t> payload(data + 2, data + size);
  WalkOptions options;
  options.isSummary = (data[1] & 0x80U) != 0;
  std::string fault;
  const auto path = ResolveFieldPath(*target.plan, "rows[1][0]", fault);
  if (path.has_value() && (data[1] & 0x40U) != 0) {
    options.path = *path;
  }
  PayloadRenderer renderer(target.plan, {layout});
  PayloadCursor cursor(payload);
  TextBuffer text;
  const bool isOk = renderer.Render(cursor, target.wire, options, 0, true, text);
  qor::Require(isOk == (cursor.Code() == DeserializationRetCode::kSuccess));
  qor::Require(isOk == cursor.Reason().empty());
  qor::Require(text.Text().size() <= 200 * (payload.size() + 20));
  PayloadRenderer single(target.plan, {layout}, /*usesRuns=*/false);
  PayloadCursor singleCursor(payload);
  TextBuffer singleText;
  qor::Require(isOk == single.Render(singleCursor, target.wire, options, 0, true, singleText));
  qor::Require(cursor.Reason() == singleCursor.Reason() && cursor.Offset() == singleCursor.Offset());
  qor::Require(text.Text() == singleText.Text());
  if (isOk && layout == LayoutKind::kJson) {
    qor::Require(nlohmann::json::accept(text.Text()));
  }
  return 0;
}
