// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/configured_wire.h"

#include <algorithm>
#include <utility>

#include "src/datatype/serialize_config_helper.h"
#include "src/datatype/text_encoding.h"

namespace qor::datatype {
namespace {

using maintaind::SerializationNode;
using maintaind::StringEncoding;

constexpr std::uint32_t kLogIntervalMs = 500;

// A tag: a reserved bit, 3 bits of wire type, 12 bits of data id; big-endian.
constexpr std::size_t kTagSize = 2;
constexpr std::uint16_t kDataIdMask = 0x0FFF;
constexpr std::uint16_t kWireTypeMask = 0x7;
constexpr unsigned kWireTypeShift = 12;

// Wire types: 0 to 3 are numbers of 1, 2, 4 and 8 bytes, 4 has the length field that is configured, 5 to 7 have one of
// 1, 2 and 4 bytes.
constexpr std::uint8_t kConfiguredLength = 4;

bool IsNumber(std::uint8_t wireType) { return wireType < kConfiguredLength; }
std::uint8_t NumberSize(std::uint8_t wireType) { return static_cast<std::uint8_t>(1U << wireType); }
std::uint8_t LengthFieldSize(std::uint8_t wireType, std::uint8_t configured) {
  return wireType == kConfiguredLength ? configured
                                       : static_cast<std::uint8_t>(1U << (wireType - kConfiguredLength - 1U));
}

const char* EncodingName(StringEncoding encoding) {
  switch (encoding) {
    case StringEncoding::kUtf16Le:
      return "UTF_16LE";
    case StringEncoding::kUtf16Be:
      return "UTF_16BE";
    case StringEncoding::kUtf8:
      break;
  }
  return "UTF_8";
}

}  // namespace

bool ConfiguredWire::Insufficient(const PlanNode& node) {
  std::string reason = "Insufficiant bytes to deserialize[dataType=" + plan_.NameOf(node) + "]";
  log_.Error("QorSomeipDeserializer_Insufficient" + plan_.NameOf(node), kLogIntervalMs) << reason;
  return cursor_.Fail(DeserializationRetCode::kOutOfBounds, std::move(reason));
}

bool ConfiguredWire::Invalid(const PlanNode& node, std::string reason) {
  log_.Error("QorSomeipDeserializer_Invalid" + plan_.NameOf(node), kLogIntervalMs) << reason;
  return cursor_.Fail(DeserializationRetCode::kInvalidData, std::move(reason));
}

std::uint8_t ConfiguredWire::TakeLengthFieldSize(const PlanNode& node) {
  return std::exchange(nextLengthFieldSize_, std::nullopt).value_or(node.lengthFieldSize);
}

bool ConfiguredWire::ReadLength(const PlanNode& node, std::uint8_t size, std::size_t& length) {
  if (cursor_.Remaining() < size) {
    return Insufficient(node);
  }
  const std::size_t offset = cursor_.Offset();
  length = SerializeConfigHelper::GetDataLengthByLengthField(cursor_, size, plan_.SettingsOf(node).isBigEndian);
  if (length > cursor_.Remaining()) {
    std::string reason = "Deserialize failed, len is overflow[dataType=" + plan_.NameOf(node) +
                         ", offset=" + std::to_string(offset) + ", destLen=" + std::to_string(length) + "]";
    log_.Error("QorSomeipDeserializer_Overflow" + plan_.NameOf(node), kLogIntervalMs) << reason;
    return cursor_.Fail(DeserializationRetCode::kOutOfBounds, std::move(reason));
  }
  return true;
}

bool ConfiguredWire::ReadString(const PlanNode& node, std::string& scratch, std::string_view& text) {
  const SerializationNode& settings = plan_.SettingsOf(node);
  std::size_t length = cursor_.Remaining();
  if (const std::uint8_t size = TakeLengthFieldSize(node); size != 0 && !ReadLength(node, size, length)) {
    return false;
  }
  log_.Verbose() << "[QorSomeipDeserializer][Is String][dataType=" << plan_.NameOf(node) << ", length=" << length
                 << "]";
  std::string_view bytes = cursor_.Peek(length);
  if (settings.isAddBOM) {
    const std::string_view mark = ByteOrderMark(settings.stringEncoding);
    if (!bytes.starts_with(mark)) {
      return Invalid(node, "Check " + std::string(EncodingName(settings.stringEncoding)) +
                               " String BOM is invalid[offset=" + std::to_string(cursor_.Offset()) + "]");
    }
    bytes.remove_prefix(mark.size());
  }
  const std::size_t unit = UnitSize(settings.stringEncoding);
  if (bytes.size() >= unit && FindTerminator(bytes.substr(bytes.size() - unit), settings.stringEncoding) == 0) {
    bytes.remove_suffix(unit);
  }
  text = ToUtf8(bytes, settings.stringEncoding, scratch);
  cursor_.Advance(length);
  Align(node, /*isDynamic=*/true);
  return true;
}

bool ConfiguredWire::ReadFixedString(const PlanNode& node, std::string& scratch, std::string_view& text) {
  const SerializationNode& settings = plan_.SettingsOf(node);
  std::size_t length = node.length;
  if (const std::uint8_t size = TakeLengthFieldSize(node); size != 0) {
    log_.Verbose() << "Is TLV in FixedString[stringLengthField=" << size << "]";
    if (!ReadLength(node, size, length)) {
      return false;
    }
  } else if (length > cursor_.Remaining()) {
    return Insufficient(node);
  }
  std::string_view bytes = cursor_.Peek(length);
  if (settings.isAddBOM) {
    const std::string_view mark = ByteOrderMark(settings.stringEncoding);
    if (!bytes.starts_with(mark)) {
      const std::string at = std::to_string(cursor_.Offset()) + "]";
      switch (settings.stringEncoding) {
        case StringEncoding::kUtf16Le:
          return Invalid(node, "Check UTF_16LE FixedString BOM is invalid[offset=" + at);
        case StringEncoding::kUtf16Be:
          return Invalid(node, "Check UTF_16BE FixedString BOM is invalid[offset=" + at);
        case StringEncoding::kUtf8:
          return Invalid(node, "Check UTF_8 FixedString BOM is invalid[offset=" + at);
      }
    }
    bytes.remove_prefix(mark.size());
  }
  const std::size_t end = FindTerminator(bytes, settings.stringEncoding);
  if (end == std::string_view::npos) {
    return Invalid(node, "Check FixedString terminate is invalid");
  }
  log_.Verbose() << "[QorSomeipDeserializer][FixedString paddingSize][paddingSize="
                 << bytes.size() - end - UnitSize(settings.stringEncoding) << "]";
  text = ToUtf8(bytes.substr(0, end), settings.stringEncoding, scratch);
  cursor_.Advance(length);
  return true;
}

bool ConfiguredWire::BeginArray(const PlanNode& node, ListExtent& extent) {
  extent.count = node.length;
  extent.outerEnd = cursor_.End();
  if (const std::uint8_t size = TakeLengthFieldSize(node); size != 0) {
    std::size_t length = 0;
    if (!ReadLength(node, size, length)) {
      return false;
    }
    extent.hasEnd = true;
    extent.end = cursor_.Offset() + length;
    cursor_.SetEnd(extent.end);
  }
  return true;
}

bool ConfiguredWire::BeginBytes(const PlanNode& node, ListExtent& extent) {
  std::size_t length = cursor_.Remaining();
  if (const std::uint8_t size = TakeLengthFieldSize(node); size != 0 && !ReadLength(node, size, length)) {
    return false;
  }
  extent.isCounted = false;
  extent.hasEnd = true;
  extent.end = cursor_.Offset() + length;
  extent.outerEnd = cursor_.SetEnd(extent.end);
  return true;
}

bool ConfiguredWire::EndElement(const PlanNode& node, const ListExtent& extent, std::size_t begin) {
  if (node.kind == PlanKind::kArray) {
    const std::uint16_t padding = plan_.SettingsOf(node).elementPadding;
    if (padding > cursor_.Remaining()) {
      return Invalid(node, "Array add padding will overflow[offset=" + std::to_string(cursor_.Offset()) + "]");
    }
    cursor_.Advance(padding);
    return true;
  }
  return extent.isCounted || cursor_.Offset() > begin || FailElement(node, plan_.ChildrenOf(node).back());
}

bool ConfiguredWire::EndList(const PlanNode& node, const ListExtent& extent) {
  if (extent.hasEnd) {
    cursor_.MoveTo(extent.end);
  }
  cursor_.SetEnd(extent.outerEnd);
  Align(node, node.kind != PlanKind::kArray);
  return true;
}

bool ConfiguredWire::FailElement(const PlanNode& node, const PlanChild& part) {
  const bool isKey = node.kind == PlanKind::kMap && &part == &plan_.ChildrenOf(node).front();
  std::string reason = node.kind == PlanKind::kVector ? "Get SOMEIP vector size failed."
                       : !isKey                       ? "Deserialize SOMEIP map value failed."
                       : plan_.NodeOf(part).isValue   ? "Deserialize SOMEIP map key::value failed."
                                                      : "Deserialize SOMEIP map key::complex failed.";
  log_.Error("QorSomeipDeserializer_Element" + plan_.NameOf(node), kLogIntervalMs) << reason;
  return cursor_.Code() == DeserializationRetCode::kSuccess
             ? cursor_.Fail(DeserializationRetCode::kInvalidData, std::move(reason))
             : false;
}

/// Padding belongs to what varies in size and has something behind it. At the end of the payload it may be missing.
void ConfiguredWire::Align(const PlanNode& node, bool isDynamic) {
  const SerializationNode& settings = plan_.SettingsOf(node);
  if ((isDynamic || settings.isDynamic) && !settings.isLastSerializeNode) {
    const std::size_t padding = SerializeConfigHelper::GetAlignmentPaddingSize(cursor_.Offset(), settings.alignment);
    cursor_.Advance(std::min(padding, cursor_.Remaining()));
  }
}

bool ConfiguredWire::BeginStructure(const PlanNode& node, Scope& scope) {
  scope.outerEnd = cursor_.End();
  if (const std::uint8_t size = TakeLengthFieldSize(node); size != 0) {
    std::size_t length = 0;
    if (!ReadLength(node, size, length)) {
      return false;
    }
    scope.hasEnd = true;
    scope.end = cursor_.Offset() + length;
    cursor_.SetEnd(scope.end);
  }
  scope.hasTags = plan_.SettingsOf(node).isChildNodeEnableTlv;
  return !scope.hasTags || FindTags(node, scope);
}

bool ConfiguredWire::TagFault(const PlanNode& node) {
  std::string reason = "Get tlv data id failed[dataType=" + plan_.NameOf(node) + "]";
  log_.Error("QorSomeipDeserializer_Tag" + plan_.NameOf(node), kLogIntervalMs) << reason;
  return cursor_.Fail(DeserializationRetCode::kInvalidData, std::move(reason));
}

/// Members may come in any order; those that the definition does not know are passed over. Of an id that comes twice
/// the first counts.
bool ConfiguredWire::FindTags(const PlanNode& node, Scope& scope) {
  const auto members = plan_.ChildrenOf(node);
  scope.firstTag = tags_.size();
  tags_.resize(tags_.size() + members.size());
  while (cursor_.Remaining() > 0) {
    if (cursor_.Remaining() < kTagSize) {
      return TagFault(node);
    }
    const auto tag = cursor_.Take<std::uint16_t>(/*isBigEndian=*/true);
    const auto wireType = static_cast<std::uint8_t>(tag >> kWireTypeShift & kWireTypeMask);
    const auto member = std::ranges::find(members, tag & kDataIdMask, &PlanChild::dataId);
    const bool isKnown = member != members.end();
    const PlanNode& value = isKnown ? plan_.NodeOf(*member) : node;
    if (isKnown) {
      if (const bool isNumber = value.baseSize != 0;
          isNumber != IsNumber(wireType) || (isNumber && value.baseSize != NumberSize(wireType))) {
        return TagFault(value);
      }
      Tag& found = tags_[scope.firstTag + static_cast<std::size_t>(member - members.begin())];
      if (found.offset == 0) {
        found = Tag{cursor_.Offset(), wireType};
      }
    }
    if (!SkipTagged(value, wireType, plan_.SettingsOf(value).tlvLengthFieldSize)) {
      return false;
    }
  }
  scope.end = cursor_.Offset();
  scope.hasEnd = true;
  return true;
}

bool ConfiguredWire::SkipTagged(const PlanNode& node, std::uint8_t wireType, std::uint8_t staticSize) {
  if (IsNumber(wireType)) {
    return Skip(node, NumberSize(wireType));
  }
  std::size_t length = 0;
  const std::uint8_t size = LengthFieldSize(wireType, staticSize);
  if (size == 0) {
    return TagFault(node);
  }
  if (!ReadLength(node, size, length)) {
    return false;
  }
  cursor_.Advance(length);
  return true;
}

bool ConfiguredWire::BeginMember(const PlanChild& member, std::size_t index, const Scope& scope, bool& isPresent) {
  isPresent = true;
  if (!scope.hasTags) {
    return true;
  }
  const Tag tag = tags_[scope.firstTag + index];
  if (tag.offset == 0) {
    isPresent = false;
    const std::string& name = plan_.NameOf(plan_.NodeOf(member));
    return member.isOptional || Invalid(plan_.NodeOf(member), "Find data id failed[dataType=" + name + "]");
  }
  cursor_.MoveTo(tag.offset);
  if (tag.wireType > kConfiguredLength) {
    nextLengthFieldSize_ = LengthFieldSize(tag.wireType, 0);
  }
  return true;
}

bool ConfiguredWire::EndStructure(const PlanNode& node, const Scope& scope) {
  if (scope.hasTags) {
    tags_.resize(scope.firstTag);
  }
  if (scope.hasEnd) {
    cursor_.MoveTo(scope.end);
  }
  cursor_.SetEnd(scope.outerEnd);
  Align(node, /*isDynamic=*/false);
  return true;
}

bool ConfiguredWire::BeginVariant(const PlanNode& node, std::uint32_t& index, Scope& scope) {
  const SerializationNode& settings = plan_.SettingsOf(node);
  const std::uint8_t size = TakeLengthFieldSize(node);
  std::size_t length = 0;
  if (cursor_.Remaining() < size) {
    return Invalid(node, "Insufficiant variant length field");
  }
  if (size != 0 && !ReadLength(node, size, length)) {
    return false;
  }
  // Behind a tag the length counts the selector too, so that who does not know the member can pass over it.
  const bool isSelectorCounted = settings.dataId != SerializationNode::kNoDataId;
  const std::size_t begin = cursor_.Offset() + (isSelectorCounted ? 0 : settings.unionTypeSelectorLength);
  if (cursor_.Remaining() < settings.unionTypeSelectorLength) {
    return Insufficient(node);
  }
  index = SerializeConfigHelper::GetDataLengthByLengthField(cursor_, settings.unionTypeSelectorLength,
                                                            settings.isBigEndian);
  scope.outerEnd = cursor_.End();
  if (size != 0) {
    scope.end = begin + length;
    if (scope.end < cursor_.Offset() || scope.end > cursor_.End()) {
      return Insufficient(node);
    }
    scope.hasEnd = true;
    cursor_.SetEnd(scope.end);
  }
  return true;
}

bool ConfiguredWire::EndVariant(const PlanNode& node, const Scope& scope) { return EndStructure(node, scope); }

bool ConfiguredWire::Skip(const PlanNode& node, std::uint64_t bytes) {
  if (bytes > cursor_.Remaining()) {
    return Insufficient(node);
  }
  cursor_.Advance(bytes);
  return true;
}

}  // namespace qor::datatype
