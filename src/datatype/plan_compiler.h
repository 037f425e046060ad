// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_PLAN_COMPILER_H
#define QOR_DATATYPE_PLAN_COMPILER_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/common/records/serialization_node.h"
#include "src/datatype/copyable_types.h"
#include "src/datatype/plan.h"
#include "src/datatype/type_definition.h"

namespace qor::datatype {

/// Makes a plan of a type. Used once, by one thread.
class PlanCompiler {
 public:
  /// Types, each for every way in which it is serialized.
  static constexpr std::size_t kMaxNodes = 65536;

  /// `settings` null: the type is serialized in the middleware's own way.
  PlanCompiler(DefinitionLookup lookup, const maintaind::SerializationNode* settings);

  /// Null when a definition is missing, unknown in its kind, part of a circle, nested too deep, or describes more than
  /// any payload holds; then Fault() has the reason.
  std::shared_ptr<const Plan> Compile(const std::string& typeName);
  const std::string& Fault() const { return fault_; }

 private:
  /// What is known about a node beyond what rendering needs.
  struct Extent {
    std::uint32_t height = 1;
    std::uint64_t unpaidValues = 0;  ///< that one value has without any bytes
  };
  /// How a value is serialized: a node of the tree, or what follows from one above it.
  struct SettingsView {
    std::uint32_t index = 0;
    const maintaind::SerializationNode* node = nullptr;  ///< null: none of the tree
  };

  bool CompileType(const std::string& typeName, SettingsView settings, std::uint32_t& node);
  bool CompileDefined(const std::string& typeName, SettingsView settings, std::uint32_t& node);
  bool CompileCategory(const TypeDefinition& definition, SettingsView settings, PlanNode& node);
  bool CompileValue(const TypeDefinition& definition, PlanNode& node);
  bool CompileEnumeration(const TypeDefinition& definition, PlanNode& node);
  bool CompileStructure(const TypeDefinition& definition, SettingsView settings, PlanNode& node);
  bool HasDataIds(const std::string& typeName, const std::vector<PlanChild>& members,
                  const std::vector<std::string>& names);
  void AddChildren(PlanNode& node, const std::vector<PlanChild>& children, std::vector<std::string> names);
  bool CompileParts(const std::vector<std::string>& typeNames, SettingsView settings, PlanNode& node);
  bool SetPrimitive(std::string_view name, PlanNode& node);
  void AddError(const TypeDefinition& definition, PlanNode& node);

  std::uint32_t Add(const std::string& typeName, PlanNode node);
  void Measure(PlanNode& node, Extent& extent) const;
  std::uint8_t GetDataTypeLengthField(const PlanNode& node);
  SettingsView CreateTopNodeView(const maintaind::SerializationNode* settings);
  SettingsView CreateChildNodeView(SettingsView parent, std::size_t index);
  bool Refuse(std::string_view key, std::string reason);
  std::string Circle(const std::string& typeName) const;

  const DefinitionLookup lookup_;
  CopyableTypes copyable_;
  const bool hasSettings_;
  Plan plan_;
  SettingsView top_;
  std::string root_;  ///< the type that is compiled
  std::string fault_;
  std::vector<std::string> open_;  ///< the types being compiled, from the outermost
  std::vector<Extent> extents_;    ///< of plan_.nodes
  std::map<std::pair<std::string, std::uint32_t>, std::uint32_t> done_;  ///< type and settings to node
  std::map<std::pair<std::uint32_t, std::size_t>, SettingsView> childViews_;
};

}  // namespace qor::datatype

#endif
