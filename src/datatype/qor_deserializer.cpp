// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/qor_deserializer.h"

#include <algorithm>
#include <utility>

#include "src/datatype/copyable_types.h"
#include "src/datatype/plan_compiler.h"
#include "src/datatype/type_parser.h"

namespace qor {
namespace {

using datatype::Category;
using datatype::LayoutKind;
using datatype::PayloadCursor;
using datatype::PayloadRenderer;
using datatype::WireOptions;

constexpr std::uint32_t kLogIntervalMs = 500;
constexpr std::size_t kLoggedText = 1024;

std::string_view Beginning(std::string_view text) { return text.substr(0, kLoggedText); }

}  // namespace

QorDeserializer::QorDeserializer(Protocol protocol, QueryFunction query, DeserializeType deserializeType,
                                 maintaind::StructSerializationPolicy policy, FormatType format)
    : QorDeserializer(protocol, std::move(query), deserializeType, policy, format, std::nullopt) {}

QorDeserializer::QorDeserializer(Protocol protocol, QueryFunction query, DeserializeType deserializeType,
                                 maintaind::StructSerializationPolicy policy, FormatType format,
                                 std::optional<maintaind::SerializationNode> settings)
    : protocol_(protocol),
      query_(std::move(query)),
      deserializeType_(deserializeType),
      policy_(policy),
      format_(format),
      settings_(std::move(settings)),
      style_{IsMultiLine() ? LayoutKind::kMultiLine : LayoutKind::kOneLine} {}

bool QorDeserializer::IsMultiLine() const { return (static_cast<unsigned>(format_) & 1U) != 0; }
bool QorDeserializer::IsSummary() const { return (static_cast<unsigned>(format_) & 2U) != 0; }

std::string QorDeserializer::Deserialize(const std::string& dataType, const std::string& name,
                                         std::vector<std::uint8_t> payload, std::vector<OutMbufData> mbufs) {
  std::string text;
  Deserialize(dataType, name, payload, mbufs, text);
  return text;
}

bool QorDeserializer::Deserialize(const std::string& dataType, std::string_view name,
                                  std::span<const std::uint8_t> payload, std::span<const OutMbufData> mbufs,
                                  std::string& text) {
  TypeRenderer* type = RendererOf(dataType);
  if (type == nullptr) {
    log_.Error("QorDeserializer_Deserialize1" + dataType, kLogIntervalMs)
        << "Failed to deserialize[name=" << name << ", dataType=" << dataType << "]";
    return false;
  }
  text_.Clear();
  const auto frame = [this](auto use) { datatype::WithLayout(style_, text_, 0, true, use); };
  const bool isFramed = type->field.empty();
  if (isFramed) {
    frame([name](auto& layout) { return layout.BeginPayload(name), true; });
  }
  const std::size_t valueBegin = text_.Text().size();
  PayloadCursor cursor(payload);
  const bool isOk = RenderValue(*type, type->field, cursor, mbufs, 0, /*isTop=*/true);
  if (!isOk && retCode_ != DeserializationRetCode::kAbsent) {
    log_.Error("QorDeserializer_Deserialize2" + dataType, kLogIntervalMs)
        << "Failed to deserialize[name=" << name << ", dataType=" << dataType
        << ", stream=" << text_.Text().substr(0, valueBegin)
        << ", currentStream=" << Beginning(text_.Text().substr(valueBegin)) << "]";
  } else if (isOk && isFramed) {
    frame([](auto& layout) { return layout.EndPayload(), true; });
  }
  text += text_.Text();
  return isOk;
}

bool QorDeserializer::Deserialize(Message& message, std::ostream& stream) {
  if (TypeRenderer* type = RendererOf(message.typeName)) {
    PayloadCursor cursor(message.payload, message.offset);
    text_.Clear();
    RenderValue(*type, {}, cursor, message.mbufs, message.depth, /*isTop=*/false);
    message.offset = cursor.Offset();
    stream << text_.Text();
  }
  message.retCode = retCode_;
  return retCode_ == DeserializationRetCode::kSuccess;
}

bool QorDeserializer::RenderValue(TypeRenderer& type, std::span<const std::uint32_t> field, PayloadCursor& cursor,
                                  std::span<const OutMbufData> mbufs, std::uint32_t depth, bool isTop) {
  WireOptions wire;
  if (protocol_ == Protocol::kSomeip) {
    wire.form = settings_.has_value() ? WireOptions::Form::kSomeipWithSettings : WireOptions::Form::kSomeip;
    wire.isBigEndian = true;
  } else {
    wire.isBigEndian = isDdsBigEndian_;
    wire.hasPadding = deserializeType_ == DeserializeType::kPadded;
    wire.isOuterUnpadded = isTop && type.renderer.GetPlan().isRootStructure &&
                           policy_ == maintaind::StructSerializationPolicy::kDisableOuterLayerAlignment;
  }
  const datatype::WalkOptions options{mbufs, errorCode_, IsSummary(), field};
  return type.renderer.Render(cursor, wire, options, depth, isTop, text_) || SetResult(cursor.Code(), cursor.Reason());
}

bool QorDeserializer::Prepare(const std::string& dataType) { return RendererOf(dataType) != nullptr; }

bool QorDeserializer::SetField(const std::string& dataType, std::string_view path) {
  TypeRenderer* type = RendererOf(dataType);
  if (type == nullptr) {
    return false;
  }
  auto field = datatype::ResolveFieldPath(type->renderer.GetPlan(), path, retInfo_);
  if (!field.has_value()) {
    retCode_ = DeserializationRetCode::kTypeUnknown;
    return false;
  }
  type->field = std::move(*field);
  return true;
}

QorDeserializer::TypeRenderer* QorDeserializer::RendererOf(const std::string& dataType) {
  retCode_ = DeserializationRetCode::kSuccess;
  retInfo_.clear();
  if (const auto known = renderers_.find(dataType); known != renderers_.end()) {
    return &known->second;
  }
  if (!IsProtocolKnown()) {
    constexpr char kText[] = "Unable to deserialize unknown protocol data";
    log_.Error("QorDeserializer_ReadFromBitStream", kLogIntervalMs) << kText;
    SetResult(DeserializationRetCode::kProtocolUnknown, kText);
    return nullptr;
  }
  datatype::PlanCompiler compiler([this](const std::string& name) { return Find(name); },
                                  settings_.has_value() ? &*settings_ : nullptr);
  auto plan = compiler.Compile(dataType);
  if (plan == nullptr) {
    SetResult(DeserializationRetCode::kTypeUnknown, compiler.Fault());
    return nullptr;
  }
  return &renderers_.try_emplace(dataType, TypeRenderer{PayloadRenderer(std::move(plan), style_), {}}).first->second;
}

bool QorDeserializer::SetResult(DeserializationRetCode code, std::string info) {
  retCode_ = code;
  retInfo_ = std::move(info);
  return code == DeserializationRetCode::kSuccess;
}

QorDeserializer::Definition QorDeserializer::Find(const std::string& name) const {
  if (datatype::IsReservedName(name)) {
    return nullptr;
  }
  return datatype::DefinitionTables::Process().Find(name, query_);
}

bool QorDeserializer::GetTypeDefinition(const std::string& name, TypeDefinition& definition) const {
  const Definition found = Find(name);
  if (found != nullptr) {
    definition = *found;
  }
  return found != nullptr;
}

bool QorDeserializer::ParseTypeDefinition(const std::string& text, TypeDefinition& definition) const {
  return datatype::ParseTypeDefinition(text, definition);
}

bool QorDeserializer::IsUserDefinedType(const std::string& name) const { return !datatype::IsReservedName(name); }

bool QorDeserializer::IsValue(const std::string& name) const {
  std::string current = SubStdDataType(name);
  std::string reference;
  for (std::uint32_t depth = 0; depth < datatype::kMaxTypeDepth; ++depth) {
    if (datatype::PrimitiveByName(current).has_value()) {
      return true;
    }
    const Definition definition = Find(current);
    if (definition == nullptr) {
      log_.Error() << (depth == 0 ? current + " is not found." : reference + " Typedef is not found.");
      return false;
    }
    switch (definition->category) {
      case Category::kTypeReference:
        reference = current;
        current = SubStdDataType(definition->referencedTypeName);
        break;
      case Category::kArray:
      case Category::kVector:
        if (IsUserDefinedType(SubStdDataType(definition->templateTypeName)) &&
            Find(definition->templateTypeName) == nullptr) {
          log_.Error() << current << " template is not found.";
        }
        return false;
      case Category::kStructure:
      case Category::kMap:
      case Category::kVariant:
        return false;
      default:
        return true;
    }
  }
  return false;
}

bool QorDeserializer::IsTriviallyCopyableType(const TypeDefinition& definition) const {
  return protocol_ == Protocol::kSomeip &&
         datatype::CopyableTypes([this](const std::string& name) { return Find(name); }).Contains(definition);
}

std::size_t QorDeserializer::BaseTypeSize(const TypeDefinition& definition) const {
  switch (definition.category) {
    case Category::kValue:
      return GetBaseTypeSize(definition.baseTypeName);
    case Category::kEnumeration:
      return GetBaseTypeSize(definition.underlyingTypeName);
    case Category::kTypeReference:
      return GetBaseTypeSize(definition.referencedTypeName);
    default:
      return 0;
  }
}

std::size_t QorDeserializer::GetBaseTypeSize(const std::string& name) const {
  std::string current = name;
  for (std::uint32_t depth = 0; depth < datatype::kMaxTypeDepth; ++depth) {
    const auto target = Target(current);
    if (!target.has_value()) {
      return 0;
    }
    if (const auto primitive = datatype::PrimitiveByName(*target)) {
      return datatype::SizeOf(*primitive);
    }
    const Definition definition = Find(*target);
    if (definition->category != Category::kValue && definition->category != Category::kEnumeration) {
      return 0;
    }
    current = definition->category == Category::kValue ? definition->baseTypeName : definition->underlyingTypeName;
  }
  return 0;
}

std::optional<std::string> QorDeserializer::Target(std::string name) const {
  for (std::uint32_t depth = 0; depth < datatype::kMaxTypeDepth; ++depth) {
    name = SubStdDataType(name);
    if (datatype::PrimitiveByName(name).has_value()) {
      return name;
    }
    const Definition definition = Find(name);
    if (definition == nullptr) {
      return std::nullopt;
    }
    if (definition->category != Category::kTypeReference) {
      return name;
    }
    name = definition->referencedTypeName;
  }
  return std::nullopt;
}

std::string QorDeserializer::SubStdDataType(const std::string& name) { return std::string(datatype::WithoutStd(name)); }

bool QorDeserializer::GetUserMappingDefinedType(std::string& name) const {
  auto target = Target(name);
  if (!target.has_value()) {
    log_.Error() << "[Failed to get type definition][typeName=" << name << "]";
    return false;
  }
  name = std::move(*target);
  return true;
}

}  // namespace qor
