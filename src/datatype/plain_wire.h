// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_PLAIN_WIRE_H
#define QOR_DATATYPE_PLAIN_WIRE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/log/qor_log.h"
#include "src/datatype/flat_run.h"
#include "src/datatype/list_extent.h"
#include "src/datatype/payload_cursor.h"
#include "src/datatype/plan.h"

namespace qor::datatype {

/// Payloads in the middleware's own form, without settings. Of DDS: numbers in little-endian, texts and containers
/// after a 32-bit count, members followed by their padding. Of SOME/IP: numbers in big-endian, texts and containers
/// after a 32-bit length in bytes, texts in UTF-8 with byte-order mark and terminating zero.
class PlainWire {
 public:
  enum class Form : std::uint8_t { kDds, kSomeip };

  /// What a structure needs to remember.
  struct Scope {
    bool hasPadding = false;
  };

  /// `hasPadding`: what definitions call padding is in the payload; `isOuterUnpadded`: but not behind the members of
  /// the first structure.
  PlainWire(const Plan& plan, PayloadCursor& cursor, Form form, bool isBigEndian, bool hasPadding, bool isOuterUnpadded)
      : plan_(plan),
        cursor_(cursor),
        form_(form),
        isBigEndian_(isBigEndian),
        hasPadding_(hasPadding),
        isNextUnpadded_(isOuterUnpadded) {}

  template <class T>
  [[gnu::always_inline]] bool ReadFromBitStream(const PlanNode& node, T& value) {
    if (cursor_.Remaining() < sizeof(T)) {
      return OutOfBounds(plan_.ValueNameOf(node), sizeof(T));
    }
    value = cursor_.Take<T>(isBigEndian_);
    return true;
  }

  /// Texts as they stand in the payload.
  bool ReadString(const PlanNode& node, std::string& scratch, std::string_view& text);
  bool ReadFixedString(const PlanNode& node, std::string& scratch, std::string_view& text);

  bool BeginArray(const PlanNode& node, ListExtent& extent);
  bool BeginVector(const PlanNode& node, ListExtent& extent);
  bool BeginMap(const PlanNode& node, ListExtent& extent);
  bool HasMore(const ListExtent& extent, std::uint32_t index) const {
    return extent.isCounted ? index < extent.count : cursor_.Offset() < extent.end;
  }
  /// After an element that began at `begin`.
  bool EndElement(const PlanNode& node, const ListExtent& extent, std::size_t begin) {
    return extent.isCounted || (cursor_.Offset() > begin && cursor_.Offset() <= extent.end) ||
           FailElement(node, plan_.ChildrenOf(node).back());
  }
  bool EndList(const PlanNode& /*node*/, const ListExtent& /*extent*/) { return true; }
  /// For a part of a vector or a map that could not be read, or took no bytes.
  bool FailElement(const PlanNode& node, const PlanChild& part);

  /// Whether a structure is read as the run says, and how. Not when the payload ends within it: which member is cut
  /// shows when they are read one by one.
  bool TakesFlat(const FlatRun& run, FlatReading& reading) {
    reading = FlatReading{isBigEndian_, hasPadding_};
    if (cursor_.Remaining() < run.SizeOf(reading) || (isNextUnpadded_ && run.padding != 0)) {
      return false;
    }
    isNextUnpadded_ = false;
    return true;
  }
  bool BeginStructure(const PlanNode& /*node*/, Scope& scope) {
    scope.hasPadding = hasPadding_ && !isNextUnpadded_;
    isNextUnpadded_ = false;
    return true;
  }
  bool BeginMember(const PlanChild& /*member*/, std::size_t /*index*/, const Scope& /*scope*/, bool& isPresent) {
    isPresent = true;
    return true;
  }
  bool EndMember(const PlanChild& member, const Scope& scope) {
    cursor_.Advance(scope.hasPadding ? member.padding : 0);
    return true;
  }
  bool EndStructure(const PlanNode& /*node*/, const Scope& /*scope*/) { return true; }

  bool BeginVariant(const PlanNode& node, std::uint32_t& index, Scope& scope);
  bool EndVariant(const PlanNode& /*node*/, const Scope& /*scope*/) { return true; }

  /// Jumps over bytes, which must remain.
  bool Skip(const PlanNode& node, std::uint64_t bytes);

 private:
  bool OutOfBounds(const std::string& typeName, std::uint64_t length,
                   std::string_view key = "QorDeserializer_ReadFromBitStream");
  bool ReadCount(const std::string& typeName, std::uint32_t& count);
  bool BeginCounted(const PlanNode& node, ListExtent& extent);
  bool BeginBytes(const PlanNode& node, ListExtent& extent);

  const QorLog log_{"QorDeserializer"};
  const Plan& plan_;
  PayloadCursor& cursor_;
  const Form form_;
  const bool isBigEndian_;
  const bool hasPadding_;
  bool isNextUnpadded_;  ///< until the first structure has begun
};

}  // namespace qor::datatype

#endif
