// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_QOR_DESERIALIZER_H
#define QOR_DATATYPE_QOR_DESERIALIZER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dp/mbuf.h"
#include "platform/log/qor_log.h"
#include "src/common/records/serialization_node.h"
#include "src/common/records/serialize_config.h"
#include "src/datatype/definition_tables.h"
#include "src/datatype/field_path.h"
#include "src/datatype/payload_renderer.h"
#include "src/datatype/type_definition.h"

namespace qor {

/// Prints payloads as text, by the data type definitions of the process. A type is resolved once and kept. Used by one
/// thread at a time; the definitions are shared with all others.
class QorDeserializer {
 public:
  enum class Protocol : std::uint8_t { kDds = 1, kSomeip = 2 };

  /// Bit 0: several lines; bit 1: lists by their type and length only.
  enum class FormatType : std::uint8_t { kOneLine = 0, kMultiLine = 1, kOneLineSummary = 2, kMultiLineSummary = 3 };

  /// Any other value than 0: what definitions call padding is not in the payload.
  enum class DeserializeType : std::uint8_t { kPadded = 0, kUnpadded = 1 };

  using DeserializationRetCode = datatype::DeserializationRetCode;
  using TypeDefinition = datatype::TypeDefinition;
  using StructureDefElement = datatype::StructureDefElement;
  using EnumerationDefElement = datatype::EnumerationDefElement;
  /// Fills a map from type names to definitions (JSON texts); false when it could not.
  using QueryFunction = datatype::QueryFunction;

  /// One value of a payload that is to be printed, and where.
  struct Message {
    DeserializationRetCode retCode = DeserializationRetCode::kSuccess;
    std::string typeName;
    std::vector<std::uint8_t> payload;
    std::vector<OutMbufData> mbufs;
    std::uint64_t offset = 0;  ///< bytes of the payload before the value; afterwards, those before what follows it
    std::uint32_t depth = 0;   ///< tabs before each line
  };

  QorDeserializer(Protocol protocol, QueryFunction query, DeserializeType deserializeType,
                  maintaind::StructSerializationPolicy policy, FormatType format);
  virtual ~QorDeserializer() = default;
  QorDeserializer(const QorDeserializer&) = delete;
  QorDeserializer& operator=(const QorDeserializer&) = delete;

  /// One payload with its name: "{ "name" : value }", or on several lines the value and "---". When the payload is cut
  /// or wrong, the text up to there, and GetDeserializationRetCode() is not kSuccess. Empty when the type is not known.
  std::string Deserialize(const std::string& dataType, const std::string& name, std::vector<std::uint8_t> payload,
                          std::vector<OutMbufData> mbufs);
  /// The same appended to `text`, from a payload that stays where it is: allocates nothing once warm.
  bool Deserialize(const std::string& dataType, std::string_view name, std::span<const std::uint8_t> payload,
                   std::span<const OutMbufData> mbufs, std::string& text);
  /// The value at the message's offset, without a name. False, with the message's code set, when there is none.
  bool Deserialize(Message& message, std::ostream& stream);

  /// Resolves a type before the first payload comes. False when it cannot be: see GetDeserializationRetInfo.
  bool Prepare(const std::string& dataType);
  /// Prints only a part of the values of a type from now on, without their names; see ResolveFieldPath. False, with the
  /// reason in GetDeserializationRetInfo, when the type has no such part.
  bool SetField(const std::string& dataType, std::string_view path);

  /// Of the last Deserialize, Prepare or SetField.
  DeserializationRetCode GetDeserializationRetCode() const { return retCode_; }
  /// What was wrong; empty when nothing was.
  const std::string& GetDeserializationRetInfo() const { return retInfo_; }

  /// The code that values of "ERROR" types have from now on: it does not come with the payload.
  void SetErrorCode(std::int32_t code) { errorCode_ = code; }
  /// The byte order of DDS payloads from now on, where the encapsulation says another than little-endian.
  void SetBigEndian(bool isBigEndian) { isDdsBigEndian_ = isBigEndian; }
  /// Prints values as JSON, without their names; lists as the format says. Before the first type is resolved.
  void SetJson() { style_.kind = datatype::LayoutKind::kJson; }
  /// What becomes of texts in the payload, and of names in the definitions, that are not plain ASCII, in the layouts
  /// for people; a terminating zero is left out. Before the first type is resolved.
  void SetTextFilter(datatype::TextFilter filter) { style_.filter = filter; }

  /// False, with a line in the log, when there is no definition or it cannot be parsed.
  bool GetTypeDefinition(const std::string& name, TypeDefinition& definition) const;
  bool ParseTypeDefinition(const std::string& text, TypeDefinition& definition) const;
  bool IsUserDefinedType(const std::string& name) const;
  /// Whether values of the type print as scalars.
  bool IsValue(const std::string& name) const;
  /// Whether a SOME/IP value of the type has a fixed layout without length fields; false for DDS.
  bool IsTriviallyCopyableType(const TypeDefinition& definition) const;
  /// Bytes of a primitive or an enumeration, or of what a type reference leads to; 0: other.
  std::size_t BaseTypeSize(const TypeDefinition& definition) const;
  std::size_t GetBaseTypeSize(const std::string& name) const;
  /// Without "std::" in front of a primitive's name.
  static std::string SubStdDataType(const std::string& name);
  /// Replaces a type reference's name by that of what it leads to.
  bool GetUserMappingDefinedType(std::string& name) const;

 protected:
  /// With the settings of SOME/IP types.
  QorDeserializer(Protocol protocol, QueryFunction query, DeserializeType deserializeType,
                  maintaind::StructSerializationPolicy policy, FormatType format,
                  std::optional<maintaind::SerializationNode> settings);

 private:
  using Definition = std::shared_ptr<const TypeDefinition>;

  bool IsMultiLine() const;
  bool IsSummary() const;
  bool IsProtocolKnown() const { return protocol_ == Protocol::kDds || protocol_ == Protocol::kSomeip; }
  /// A type that was resolved.
  struct TypeRenderer {
    datatype::PayloadRenderer renderer;
    datatype::FieldPath field;  ///< the part that is printed; empty: the whole value
  };

  TypeRenderer* RendererOf(const std::string& dataType);
  bool RenderValue(TypeRenderer& type, std::span<const std::uint32_t> field, datatype::PayloadCursor& cursor,
                   std::span<const OutMbufData> mbufs, std::uint32_t depth, bool isTop);
  bool SetResult(DeserializationRetCode code, std::string info);
  Definition Find(const std::string& name) const;
  /// The name that type references lead to; nothing when a definition is missing or they lead in a circle.
  std::optional<std::string> Target(std::string name) const;

  const QorLog log_{"QorDeserializer"};
  const Protocol protocol_;
  const QueryFunction query_;
  const DeserializeType deserializeType_;
  const maintaind::StructSerializationPolicy policy_;
  const FormatType format_;
  const std::optional<maintaind::SerializationNode> settings_;
  datatype::LayoutStyle style_;
  bool isDdsBigEndian_ = false;
  std::int32_t errorCode_ = 0;
  std::map<std::string, TypeRenderer, std::less<>> renderers_;
  datatype::TextBuffer text_;  ///< of the payload being printed
  DeserializationRetCode retCode_ = DeserializationRetCode::kSuccess;
  std::string retInfo_;
};

}  // namespace qor

#endif
