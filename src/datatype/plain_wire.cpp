// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/plain_wire.h"

#include <utility>

namespace qor::datatype {
namespace {

constexpr std::uint32_t kLogIntervalMs = 500;
constexpr std::size_t kByteOrderMark = 3;  // of UTF-8
constexpr std::size_t kTerminator = 1;

}  // namespace

bool PlainWire::OutOfBounds(const std::string& typeName, std::uint64_t length, std::string_view key) {
  std::string reason = "Memory out of bound when deserializing '" + typeName +
                       "': size=" + std::to_string(cursor_.Size()) + ", offset=" + std::to_string(cursor_.Offset()) +
                       ", len=" + std::to_string(length);
  log_.Error(std::string(key) + typeName, kLogIntervalMs) << reason;
  return cursor_.Fail(DeserializationRetCode::kOutOfBounds, std::move(reason));
}

bool PlainWire::ReadCount(const std::string& typeName, std::uint32_t& count) {
  if (cursor_.Remaining() < sizeof(count)) {
    return OutOfBounds(typeName, sizeof(count));
  }
  count = cursor_.Take<std::uint32_t>(isBigEndian_);
  return true;
}

bool PlainWire::ReadString(const PlanNode& node, std::string& /*scratch*/, std::string_view& text) {
  std::uint32_t length = 0;
  if (!ReadCount(plan_.NameOf(node), length)) {
    return false;
  }
  if (length > cursor_.Remaining()) {
    return OutOfBounds(plan_.NameOf(node), length);
  }
  if (form_ == Form::kSomeip && length < kByteOrderMark + kTerminator) {
    return OutOfBounds(plan_.NameOf(node), kByteOrderMark + kTerminator);
  }
  text = cursor_.Peek(length);
  if (form_ == Form::kSomeip) {
    text = text.substr(kByteOrderMark, length - kByteOrderMark - kTerminator);
  }
  cursor_.Advance(length);
  return true;
}

/// Up to the first zero; what follows it fills the rest.
bool PlainWire::ReadFixedString(const PlanNode& node, std::string& /*scratch*/, std::string_view& text) {
  if (node.length > cursor_.Remaining()) {
    return OutOfBounds(plan_.NameOf(node), node.length, "QorDeserializer_DeserializeFixedString");
  }
  text = cursor_.Peek(node.length);
  text = text.substr(0, text.find('\0'));
  cursor_.Advance(node.length);
  return true;
}

bool PlainWire::BeginArray(const PlanNode& node, ListExtent& extent) {
  extent.count = node.length;
  return true;
}

bool PlainWire::BeginVector(const PlanNode& node, ListExtent& extent) {
  return form_ == Form::kDds ? BeginCounted(node, extent) : BeginBytes(node, extent);
}

bool PlainWire::BeginMap(const PlanNode& node, ListExtent& extent) { return BeginVector(node, extent); }

/// A payload cannot ask for more elements than it has bytes, even when an element has none.
bool PlainWire::BeginCounted(const PlanNode& node, ListExtent& extent) {
  if (!ReadCount(plan_.NameOf(node), extent.count)) {
    return false;
  }
  std::uint64_t size = 0;
  for (const PlanChild& part : plan_.ChildrenOf(node)) {
    size += plan_.NodeOf(part).minSize;
  }
  return size != 0 || extent.count <= cursor_.Remaining() || OutOfBounds(plan_.NameOf(node), extent.count);
}

bool PlainWire::BeginBytes(const PlanNode& node, ListExtent& extent) {
  std::uint32_t length = 0;
  if (!ReadCount(plan_.NameOf(node), length)) {
    return false;
  }
  if (length > cursor_.Remaining()) {
    return OutOfBounds(plan_.NameOf(node), length);
  }
  extent.isCounted = false;
  extent.hasEnd = true;
  extent.end = cursor_.Offset() + length;
  if (node.kind == PlanKind::kVector) {
    if (const std::uint32_t size = plan_.NodeOf(plan_.ChildrenOf(node).front()).baseSize; size != 0) {
      extent.isCounted = true;
      extent.count = length / size;
      return length % size == 0 || FailElement(node, plan_.ChildrenOf(node).front());
    }
  }
  return true;
}

/// The first cause stays the reason.
bool PlainWire::FailElement(const PlanNode& node, const PlanChild& part) {
  const bool isKey = node.kind == PlanKind::kMap && &part == &plan_.ChildrenOf(node).front();
  const std::string& name = plan_.NameOf(node);
  std::string reason;
  if (node.kind == PlanKind::kVector && form_ == Form::kSomeip) {
    reason = "Get SOMEIP vector size failed.";
    log_.Error("QorDeserializer_DeserializeVectorSOMEIP" + name, kLogIntervalMs) << reason;
  } else if (node.kind == PlanKind::kVector) {
    reason = "Deserialize DDS vector element failed.";
    log_.Error("QorDeserializer_DeserializeVectorDDS" + name, kLogIntervalMs) << reason;
  } else if (form_ == Form::kDds) {
    reason = isKey ? "Deserialize DDS map key failed." : "Deserialize DDS map value failed.";
    log_.Error("QorDeserializer_DeserializeMapDDS" + name, kLogIntervalMs) << reason;
  } else {
    reason = !isKey                       ? "Deserialize SOMEIP map value failed."
             : plan_.NodeOf(part).isValue ? "Deserialize SOMEIP map key::value failed."
                                          : "Deserialize SOMEIP map key::complex failed.";
    log_.Error("QorDeserializer_DeserializeMapSOMEIP" + name, kLogIntervalMs) << reason;
  }
  return cursor_.Code() == DeserializationRetCode::kSuccess
             ? cursor_.Fail(DeserializationRetCode::kInvalidData, std::move(reason))
             : false;
}

bool PlainWire::BeginVariant(const PlanNode& node, std::uint32_t& index, Scope& /*scope*/) {
  const std::string& name = plan_.NameOf(node);
  std::uint32_t length = 0;
  if (!ReadCount(name, length)) {
    return false;
  }
  if (length > cursor_.Remaining()) {
    return OutOfBounds(name, length);
  }
  return ReadCount(name, index);
}

bool PlainWire::Skip(const PlanNode& node, std::uint64_t bytes) {
  if (bytes > cursor_.Remaining()) {
    return OutOfBounds(plan_.NameOf(node), bytes);
  }
  cursor_.Advance(bytes);
  return true;
}

}  // namespace qor::datatype
