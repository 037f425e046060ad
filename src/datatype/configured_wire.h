// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_CONFIGURED_WIRE_H
#define QOR_DATATYPE_CONFIGURED_WIRE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/datatype/flat_run.h"
#include "src/datatype/list_extent.h"
#include "src/datatype/payload_cursor.h"
#include "src/datatype/plan.h"

namespace qor::datatype {

/// SOME/IP payloads as the settings of their types say (AUTOSAR SOME/IP protocol, "serialization of data structures").
/// Without a length field a text, vector or map reaches to the end of what is around it.
class ConfiguredWire {
 public:
  /// Where a member with a tag is.
  struct Tag {
    std::size_t offset = 0;  ///< of what follows the tag; 0: the member is absent
    std::uint8_t wireType = 0;
  };
  /// What a structure or a variant needs to remember.
  struct Scope {
    bool hasEnd = false;
    std::size_t end = 0;
    std::size_t outerEnd = 0;
    bool hasTags = false;
    std::size_t firstTag = 0;  ///< in the tags of all structures that are open
  };

  /// `tags` is memory to work with.
  ConfiguredWire(const Plan& plan, PayloadCursor& cursor, std::vector<Tag>& tags)
      : plan_(plan), cursor_(cursor), tags_(tags) {
    tags_.clear();
  }

  template <class T>
  bool ReadFromBitStream(const PlanNode& node, T& value) {
    if (cursor_.Remaining() < sizeof(T)) {
      return Insufficient(node);
    }
    value = cursor_.Take<T>(plan_.SettingsOf(node).isBigEndian);
    return true;
  }

  /// Texts in UTF-8, without mark and terminator.
  bool ReadString(const PlanNode& node, std::string& scratch, std::string_view& text);
  bool ReadFixedString(const PlanNode& node, std::string& scratch, std::string_view& text);

  bool BeginArray(const PlanNode& node, ListExtent& extent);
  bool BeginVector(const PlanNode& node, ListExtent& extent) { return BeginBytes(node, extent); }
  bool BeginMap(const PlanNode& node, ListExtent& extent) { return BeginBytes(node, extent); }
  bool HasMore(const ListExtent& extent, std::uint32_t index) const {
    return extent.isCounted ? index < extent.count : cursor_.Offset() < extent.end;
  }
  bool EndElement(const PlanNode& node, const ListExtent& extent, std::size_t begin);
  bool EndList(const PlanNode& node, const ListExtent& extent);
  bool FailElement(const PlanNode& node, const PlanChild& part);

  /// As PlainWire's.
  bool TakesFlat(const FlatRun& run, FlatReading& reading) const {
    reading = FlatReading{run.isBigEndian, false};
    return !nextLengthFieldSize_.has_value() && cursor_.Remaining() >= run.SizeOf(reading);
  }
  bool BeginStructure(const PlanNode& node, Scope& scope);
  bool BeginMember(const PlanChild& member, std::size_t index, const Scope& scope, bool& isPresent);
  bool EndMember(const PlanChild& /*member*/, const Scope& /*scope*/) {
    nextLengthFieldSize_.reset();
    return true;
  }
  bool EndStructure(const PlanNode& node, const Scope& scope);

  bool BeginVariant(const PlanNode& node, std::uint32_t& index, Scope& scope);
  bool EndVariant(const PlanNode& node, const Scope& scope);

  bool Skip(const PlanNode& node, std::uint64_t bytes);

 private:
  bool Insufficient(const PlanNode& node);
  bool Invalid(const PlanNode& node, std::string reason);
  bool TagFault(const PlanNode& node);
  std::uint8_t TakeLengthFieldSize(const PlanNode& node);
  bool ReadLength(const PlanNode& node, std::uint8_t size, std::size_t& length);
  bool BeginBytes(const PlanNode& node, ListExtent& extent);
  void Align(const PlanNode& node, bool isDynamic);
  bool FindTags(const PlanNode& node, Scope& scope);
  bool SkipTagged(const PlanNode& node, std::uint8_t wireType, std::uint8_t staticSize);

  const QorLog log_{"QorSomeipDeserializer"};
  const Plan& plan_;
  PayloadCursor& cursor_;
  std::vector<Tag>& tags_;
  std::optional<std::uint8_t> nextLengthFieldSize_;  ///< what a tag said about the value that follows it
};

}  // namespace qor::datatype

#endif
