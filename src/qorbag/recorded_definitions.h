// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDED_DEFINITIONS_H
#define QOR_QORBAG_RECORDED_DEFINITIONS_H

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "src/common/records/event_info.h"
#include "src/datatype/definition_tables.h"
#include "src/qorbag/event_description.h"

namespace qor::qorbag {

/// The data type definitions that bags carry with their events, so that payloads can be printed where no daemon runs.
/// The definition of an event is a JSON object, or a list of such objects: its own type first, then what it is made of.
/// Used by one thread.
class RecordedDefinitions {
 public:
  /// Takes those of an event. False when they cannot be used; Fault() tells why, and nothing of them was taken.
  [[nodiscard]] bool Add(const EventDescription& event);
  const std::string& Fault() const { return fault_; }

  const datatype::DefinitionTexts& Texts() const { return texts_; }

 private:
  bool AddAll(const nlohmann::json& definitions, const std::string& dataType);
  bool AddOne(const std::string& name, const nlohmann::json& definition, datatype::DefinitionTexts& added);

  datatype::DefinitionTexts texts_;
  std::string fault_;
};

/// The definition of a data type as a bag has it: with all that it is made of. Empty when there is none.
std::string DefinitionsOf(const std::string& dataType, const datatype::DefinitionTexts& definitions);

/// A recorded event as a daemon would describe it: with its one binding, the settings of its endpoint and its
/// serialization.
maintaind::EventRegisterInfo RegistrationOf(const EventDescription& event);

}  // namespace qor::qorbag

#endif
