// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_QOR_DATATYPE_MANAGER_H
#define QOR_DATATYPE_QOR_DATATYPE_MANAGER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "platform/log/qor_log.h"

namespace qor {

/// One row of a data type that is shown. What does not apply is empty.
struct DataTypeReturnValue {
  std::string name;        ///< of a member or a label
  std::string type;        ///< its type
  std::string isConstant;  ///< "IsConstant" of the definition
  std::string value;       ///< "Value" of the definition; the length of arrays and fixed strings
  std::string isOptional;  ///< "IsOptional" of the definition
  std::string primitive;   ///< a primitive's name, or "fixed_string"
};

/// The data type definitions as texts, for showing them. One per process (GetInstance); any thread.
class QorDatatypeManager {
 public:
  using Rows = std::vector<DataTypeReturnValue>;

  static QorDatatypeManager& GetInstance();

  QorDatatypeManager() = default;
  QorDatatypeManager(const QorDatatypeManager&) = delete;
  QorDatatypeManager& operator=(const QorDatatypeManager&) = delete;

  /// Replaces the stored definitions: type names and JSON texts.
  void SetDataTypeInfo(std::map<std::string, std::string> definitions);
  std::map<std::string, std::string> GetDataTypeJsonList() const;
  /// Empty, with a line in the log, when there is none.
  std::string GetJsonString(const std::string& name) const;

  /// Makes sure that the definition of a name is stored; asks the daemons when it is not. False, with a line in the
  /// log, when they have none.
  bool QueryMessageDataType(const std::string& name);

  /// What a type is called for people: the primitive of a "VALUE", "fixed_string", of a reference what it leads to,
  /// otherwise its short name. Empty, with a line in the log, when it cannot be read.
  std::string GetDataTypeInfo(const std::string& name) const;
  std::string GetMessageName(const std::string& name) const { return GetDataTypeInfo(name); }

  /// What a type is made of. False when its definition is not stored or cannot be read.
  bool GetShowDataTypeResult(const std::string& name, Rows& rows) const;
  /// The same for people, with everything that it is made of below it: a line for each part, indented by two spaces for
  /// each level. A type that stands above already, or deeper than 32 levels, is only named.
  bool GetShowMessageTypeResult(const std::string& name, std::string& text) const;

  /// The rows of one definition; none, with a line in the log, when it cannot be read.
  Rows ParseJsonToVector(const std::string& jsonText) const;
  /// The member `key` if it is there and a text, else an empty text.
  static std::string QueryEventMsgElementValue(const std::string& key, const nlohmann::json& document);

 private:
  using Json = nlohmann::json;

  Rows ParseEventMsgForMultDataType(const Json& document, std::uint32_t depth) const;
  static Rows ParseEventMsgForBaseType(const Json& document);
  static Rows ParseEventMsgForFixedString(const Json& document);
  static Rows ParseEventMsgForVector(const Json& document);
  static Rows ParseEventMsgForArray(const Json& document);
  static Rows ParseEventMsgForMap(const Json& document);
  static Rows ParseEventMsgEnumeration(const Json& document);
  static Rows ParseEventMsgForStructAndVariant(const Json& document);
  Rows ParseEventMsgForTypeReference(const Json& document, std::uint32_t depth) const;
  bool IsStored(const std::string& name) const;
  std::string MessageName(const std::string& name, std::uint32_t depth) const;
  void AppendTree(const std::string& name, std::uint32_t depth, std::set<std::string>& shown, std::string& text) const;

  const QorLog log_{"QorDatatypeManager"};
  mutable std::mutex mutex_;
  std::map<std::string, std::string> definitions_;  // guarded by mutex_
};

}  // namespace qor

#endif
