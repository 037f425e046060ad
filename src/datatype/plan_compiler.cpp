// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/plan_compiler.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <ranges>
#include <set>

#include "platform/log/qor_log.h"

namespace qor::datatype {
namespace {

using maintaind::SerializationNode;

constexpr QorLog kLog("QorDeserializer");
constexpr std::uint32_t kLogIntervalMs = 500;

constexpr std::uint16_t kMaxDataId = 0x0FFF;  // 12 bits of the tag

constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();

std::uint64_t Sum(std::uint64_t left, std::uint64_t right) { return left > kHuge - right ? kHuge : left + right; }

std::uint64_t Product(std::uint64_t left, std::uint64_t right) {
  return right != 0 && left > kHuge / right ? kHuge : left * right;
}

std::optional<PlanKind> KindOf(Category category) {
  switch (category) {
    case Category::kValue:
      return PlanKind::kPrimitive;
    case Category::kFixedString:
      return PlanKind::kFixedString;
    case Category::kArray:
      return PlanKind::kArray;
    case Category::kVector:
      return PlanKind::kVector;
    case Category::kMap:
      return PlanKind::kMap;
    case Category::kEnumeration:
      return PlanKind::kEnumeration;
    case Category::kStructure:
      return PlanKind::kStructure;
    case Category::kVariant:
      return PlanKind::kVariant;
    case Category::kError:
      return PlanKind::kError;
    case Category::kRawBuffer:
      return PlanKind::kRawBuffer;
    case Category::kTypeReference:
      break;
  }
  return std::nullopt;
}

bool IsLengthFieldSize(std::uint8_t size) { return size == 0 || size == 1 || size == 2 || size == 4; }

bool AreUsable(const SerializationNode& node) {
  const bool isPlainLengthRight =
      node.plainVectorLength == SerializationNode::kSameLength || IsLengthFieldSize(node.plainVectorLength);
  return isPlainLengthRight && IsLengthFieldSize(node.stringLength) && IsLengthFieldSize(node.structLength) &&
         IsLengthFieldSize(node.arrayLength) && IsLengthFieldSize(node.vectorAndMapLength) &&
         IsLengthFieldSize(node.unionLengthField) && IsLengthFieldSize(node.unionTypeSelectorLength) &&
         node.unionTypeSelectorLength != 0 && IsLengthFieldSize(node.tlvLengthFieldSize) &&
         node.stringEncoding <= maintaind::StringEncoding::kUtf16Be;
}

void LogSettings(const SerializationNode& node) {
  QorLog("QorSomeipDeserializer").Debug()
      << "[QorSomeipDeserializer][serialize config:isBigEndian=" << node.isBigEndian << ", isAddBOM=" << node.isAddBOM
      << ", stringEncoding=" << node.stringEncoding << ", stringLength=" << node.stringLength
      << ", structLength=" << node.structLength << ", arrayLength=" << node.arrayLength
      << ", vectorAndMapLength=" << node.vectorAndMapLength << ", unionLengthField=" << node.unionLengthField
      << ", unionTypeSelectorLength=" << node.unionTypeSelectorLength
      << ", tlvLengthFieldSize=" << node.tlvLengthFieldSize << ", isChildNodeEnableTlv=" << node.isChildNodeEnableTlv
      << ", isDynamic=" << node.isDynamic << ", isLastSerializeNode=" << node.isLastSerializeNode << "]";
}

bool IsValueKind(PlanKind kind) {
  switch (kind) {
    case PlanKind::kArray:
    case PlanKind::kVector:
    case PlanKind::kMap:
    case PlanKind::kStructure:
    case PlanKind::kVariant:
      return false;
    default:
      return true;
  }
}

}  // namespace

PlanCompiler::PlanCompiler(DefinitionLookup lookup, const SerializationNode* settings)
    : lookup_(std::move(lookup)),
      copyable_(lookup_),
      hasSettings_(settings != nullptr),
      top_(CreateTopNodeView(settings)) {}

std::shared_ptr<const Plan> PlanCompiler::Compile(const std::string& typeName) {
  root_ = typeName;
  if (!CompileType(typeName, top_, plan_.root)) {
    return nullptr;
  }
  if (!std::ranges::all_of(plan_.settings, AreUsable)) {
    Refuse("QorDeserializer_Definition" + root_, "Data type '" + typeName +
                                                     "' has serialization settings that cannot be: length fields have "
                                                     "0, 1, 2 or 4 bytes, a type selector 1, 2 or 4");
    return nullptr;
  }
  if (extents_[plan_.root].unpaidValues > kMaxUnpaidValues) {
    Refuse("QorDeserializer_Definition" + root_,
           "Data type '" + typeName + "' describes more values than a payload can hold");
    return nullptr;
  }
  const auto definition = IsReservedName(WithoutStd(typeName)) ? nullptr : lookup_(typeName);
  plan_.isRootStructure = definition != nullptr && definition->category == Category::kStructure;
  return std::make_shared<const Plan>(std::move(plan_));
}

bool PlanCompiler::CompileType(const std::string& typeName, SettingsView settings, std::uint32_t& node) {
  const std::string name(WithoutStd(typeName));
  if (const auto known = done_.find({name, settings.index}); known != done_.end()) {
    node = known->second;
    return true;
  }
  if (PrimitiveByName(name).has_value()) {
    PlanNode primitive;
    primitive.settings = settings.index;
    static_cast<void>(SetPrimitive(name, primitive));
    node = Add(name, primitive);
  } else {
    if (std::ranges::find(open_, name) != open_.end()) {
      return Refuse("QorDeserializer_Definition" + root_,
                    "Data type definitions refer to each other in a circle: " + Circle(name));
    }
    if (open_.size() >= kMaxTypeDepth) {
      return Refuse("QorDeserializer_Definition" + root_,
                    "Data types nest deeper than " + std::to_string(kMaxTypeDepth) + " at '" + name + "'");
    }
    open_.push_back(name);
    const bool isCompiled = CompileDefined(name, settings, node);
    open_.pop_back();
    if (!isCompiled) {
      return false;
    }
  }
  done_.emplace(std::pair(name, settings.index), node);
  return true;
}

bool PlanCompiler::CompileDefined(const std::string& typeName, SettingsView settings, std::uint32_t& node) {
  const auto definition = IsReservedName(typeName) ? nullptr : lookup_(typeName);
  if (definition == nullptr) {
    return Refuse("QorDeserializer_Definition" + root_, "[Failed to get type definition][typeName=" + typeName + "]");
  }
  if (definition->category == Category::kTypeReference) {
    return CompileType(definition->referencedTypeName, settings, node) ||
           Refuse("QorDeserializer_DeserializeTypeRef" + typeName, "Type reference error");
  }
  PlanNode compiled;
  compiled.kind = *KindOf(definition->category);
  compiled.settings = settings.index;
  if (!CompileCategory(*definition, settings, compiled)) {
    return false;
  }
  const bool isScalar = compiled.kind == PlanKind::kPrimitive || compiled.kind == PlanKind::kString;
  if (plan_.nodes.size() >= kMaxNodes) {
    return Refuse("QorDeserializer_Definition" + root_,
                  "Data type '" + typeName + "' and its serialization settings are too many: the plan has " +
                      std::to_string(kMaxNodes) + " parts already");
  }
  node = Add(isScalar ? std::string(WithoutStd(definition->baseTypeName)) : definition->shortName, compiled);
  if (open_.size() + extents_[node].height > kMaxTypeDepth + 1) {
    return Refuse("QorDeserializer_Definition" + root_,
                  "Data types nest deeper than " + std::to_string(kMaxTypeDepth) + " at '" + typeName + "'");
  }
  return true;
}

bool PlanCompiler::CompileCategory(const TypeDefinition& definition, SettingsView settings, PlanNode& node) {
  node.length = definition.length;
  switch (node.kind) {
    case PlanKind::kPrimitive:
      return CompileValue(definition, node);
    case PlanKind::kEnumeration:
      return CompileEnumeration(definition, node);
    case PlanKind::kArray:
    case PlanKind::kVector:
      return CompileParts({definition.templateTypeName}, settings, node);
    case PlanKind::kMap:
      return CompileParts({definition.keyTypeName, definition.valueTypeName}, settings, node);
    case PlanKind::kVariant:
      return CompileParts(definition.alternativeTypes, settings, node);
    case PlanKind::kStructure:
      return CompileStructure(definition, settings, node);
    case PlanKind::kError:
      AddError(definition, node);
      return true;
    default:
      return true;
  }
}

bool PlanCompiler::SetPrimitive(std::string_view name, PlanNode& node) {
  const auto primitive = PrimitiveByName(WithoutStd(name));
  if (!primitive.has_value()) {
    return false;
  }
  node.kind = *primitive == Primitive::kString ? PlanKind::kString : PlanKind::kPrimitive;
  node.primitive = *primitive;
  node.baseSize = static_cast<std::uint32_t>(SizeOf(*primitive));
  return true;
}

bool PlanCompiler::CompileValue(const TypeDefinition& definition, PlanNode& node) {
  return SetPrimitive(definition.baseTypeName, node) ||
         Refuse("QorDeserializer_DeserializeValue" + definition.baseTypeName,
                "Unable to deserialize unknown primitive data type '" + definition.baseTypeName + "'");
}

bool PlanCompiler::CompileEnumeration(const TypeDefinition& definition, PlanNode& node) {
  std::uint32_t underlying = 0;
  if (!CompileType(definition.underlyingTypeName, SettingsView{node.settings, nullptr}, underlying)) {
    return false;
  }
  const PlanNode& base = plan_.nodes[underlying];
  if (base.kind != PlanKind::kPrimitive || !IsInteger(base.primitive)) {
    return Refuse("QorDeserializer_Definition" + root_, "Enumeration '" + definition.shortName + "' is based on '" +
                                                            definition.underlyingTypeName + "', which is no integer");
  }
  node.primitive = base.primitive;
  node.baseSize = base.baseSize;
  node.valueName = base.typeName;
  return true;
}

bool PlanCompiler::CompileStructure(const TypeDefinition& definition, SettingsView settings, PlanNode& node) {
  std::vector<PlanChild> members;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < definition.members.size(); ++i) {
    const StructureDefElement& element = definition.members[i];
    if (element.isConstant) {
      continue;
    }
    const SettingsView view = CreateChildNodeView(settings, i);
    PlanChild member{0, element.padding, plan_.settings[view.index].dataId, element.isOptional};
    if (!CompileType(element.typeName, view, member.node)) {
      return false;
    }
    members.push_back(member);
    names.push_back(element.name);
  }
  if (hasSettings_ && plan_.settings[settings.index].isChildNodeEnableTlv &&
      !HasDataIds(definition.shortName, members, names)) {
    return false;
  }
  AddChildren(node, members, std::move(names));
  return true;
}

void PlanCompiler::AddChildren(PlanNode& node, const std::vector<PlanChild>& children, std::vector<std::string> names) {
  node.firstChild = static_cast<std::uint32_t>(plan_.children.size());
  node.childCount = static_cast<std::uint32_t>(children.size());
  plan_.children.insert(plan_.children.end(), children.begin(), children.end());
  std::ranges::move(names, std::back_inserter(plan_.childNames));
}

/// With tags every member has an id of its own, of 12 bits.
bool PlanCompiler::HasDataIds(const std::string& typeName, const std::vector<PlanChild>& members,
                              const std::vector<std::string>& names) {
  std::set<std::uint16_t> ids;
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (members[i].dataId > kMaxDataId || !ids.insert(members[i].dataId).second) {
      return Refuse("QorDeserializer_Definition" + root_,
                    "Member '" + names[i] + "' of '" + typeName + "' has no data id of its own from 0 to 4095");
    }
  }
  return true;
}

bool PlanCompiler::CompileParts(const std::vector<std::string>& typeNames, SettingsView settings, PlanNode& node) {
  std::vector<PlanChild> parts(typeNames.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!CompileType(typeNames[i], CreateChildNodeView(settings, i), parts[i].node)) {
      return false;
    }
  }
  AddChildren(node, parts, typeNames);
  return true;
}

void PlanCompiler::AddError(const TypeDefinition& definition, PlanNode& node) {
  node.error = static_cast<std::uint32_t>(plan_.errors.size());
  plan_.errors.push_back(PlanError{definition.errorDomainName, definition.errorCodes});
}

std::uint32_t PlanCompiler::Add(const std::string& typeName, PlanNode node) {
  node.isValue = IsValueKind(node.kind);
  node.typeName = static_cast<std::uint32_t>(plan_.names.size());
  node.valueName = node.kind == PlanKind::kEnumeration ? node.valueName : node.typeName;
  plan_.names.push_back(typeName);
  node.lengthFieldSize = hasSettings_ ? GetDataTypeLengthField(node) : 0;
  Extent extent;
  Measure(node, extent);
  extents_.push_back(extent);
  plan_.nodes.push_back(node);
  return static_cast<std::uint32_t>(plan_.nodes.size() - 1);
}

/// How small a value can be, how deep it is, and how much of it comes without bytes.
void PlanCompiler::Measure(PlanNode& node, Extent& extent) const {
  const auto parts = plan_.ChildrenOf(node);
  std::uint64_t bytes = 0;
  std::uint64_t unpaid = 0;
  std::uint64_t mostUnpaid = 0;
  for (const PlanChild& part : parts) {
    const Extent& inner = extents_[part.node];
    extent.height = std::max(extent.height, inner.height + 1);
    bytes = Sum(bytes, plan_.NodeOf(part).minSize);
    unpaid = Sum(unpaid, inner.unpaidValues);
    mostUnpaid = std::max(mostUnpaid, inner.unpaidValues);
  }
  const bool hasTags = hasSettings_ && plan_.SettingsOf(node).isChildNodeEnableTlv;
  switch (node.kind) {
    case PlanKind::kPrimitive:
    case PlanKind::kEnumeration:
      node.minSize = node.baseSize;
      break;
    case PlanKind::kFixedString:
      node.minSize = node.length;
      break;
    case PlanKind::kStructure:
      node.minSize = Sum(node.lengthFieldSize, hasTags ? 0 : bytes);
      break;
    case PlanKind::kArray:
      node.minSize = Sum(node.lengthFieldSize, Product(bytes, node.length));
      unpaid = bytes == 0 ? Product(unpaid, node.length) : unpaid;
      break;
    case PlanKind::kVariant:
      unpaid = mostUnpaid;
      [[fallthrough]];
    case PlanKind::kString:
    case PlanKind::kVector:
    case PlanKind::kMap:
      node.minSize = hasSettings_ ? node.lengthFieldSize : 4;
      break;
    case PlanKind::kError:
    case PlanKind::kRawBuffer:
      break;
  }
  extent.unpaidValues = Sum(unpaid, node.minSize == 0 || node.childCount > 0 ? 1 : 0);
}

std::uint8_t PlanCompiler::GetDataTypeLengthField(const PlanNode& node) {
  const SerializationNode& settings = plan_.SettingsOf(node);
  if (settings.dataId != SerializationNode::kNoDataId) {
    return settings.tlvLengthFieldSize;
  }
  switch (node.kind) {
    case PlanKind::kArray:
      return settings.arrayLength;
    case PlanKind::kMap:
      return settings.vectorAndMapLength;
    case PlanKind::kVector: {
      const bool isPlain = settings.plainVectorLength != SerializationNode::kSameLength &&
                           copyable_.Contains(plan_.childNames[node.firstChild]);
      return isPlain ? settings.plainVectorLength : settings.vectorAndMapLength;
    }
    case PlanKind::kString:
      return settings.stringLength;
    case PlanKind::kStructure:
      return settings.structLength;
    case PlanKind::kVariant:
      return settings.unionLengthField;
    default:
      return 0;
  }
}

PlanCompiler::SettingsView PlanCompiler::CreateTopNodeView(const SerializationNode* settings) {
  plan_.settings.push_back(settings != nullptr ? *settings : SerializationNode{});
  plan_.settings.back().children.clear();
  plan_.settings.back().dataId = SerializationNode::kNoDataId;
  if (settings != nullptr) {
    LogSettings(plan_.settings.back());
  }
  return SettingsView{0, settings};
}

PlanCompiler::SettingsView PlanCompiler::CreateChildNodeView(SettingsView parent, std::size_t index) {
  if (!hasSettings_) {
    return parent;
  }
  const bool isInTree = parent.node != nullptr && index < parent.node->children.size();
  if (!isInTree) {
    index = std::numeric_limits<std::size_t>::max();  // all of them are the same
  }
  if (const auto known = childViews_.find({parent.index, index}); known != childViews_.end()) {
    return known->second;
  }
  SettingsView view{static_cast<std::uint32_t>(plan_.settings.size()),
                    isInTree ? &parent.node->children[index] : nullptr};
  SerializationNode child = isInTree ? *view.node : maintaind::InheritedFrom(plan_.settings[parent.index]);
  child.children.clear();
  LogSettings(child);
  plan_.settings.push_back(std::move(child));
  childViews_.emplace(std::pair(parent.index, index), view);
  if (!isInTree) {
    childViews_.emplace(std::pair(view.index, index), view);  // below it nothing changes any more
  }
  return view;
}

bool PlanCompiler::Refuse(std::string_view key, std::string reason) {
  kLog.Error(key, kLogIntervalMs) << reason;
  if (fault_.empty()) {
    fault_ = std::move(reason);
  }
  return false;
}

std::string PlanCompiler::Circle(const std::string& typeName) const {
  std::string text;
  for (auto at = std::ranges::find(open_, typeName); at != open_.end(); ++at) {
    text += *at + " -> ";
  }
  return text + typeName;
}

}  // namespace qor::datatype
