// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "src/datatype/payload_renderer.h"
#include "src/datatype/plan_compiler.h"
#include "src/datatype/type_parser.h"
#include "tests/fuzz/quiet_log.h"
#include "tests/fuzz/require.h"

namespace qor::datatype {
namespace {

using Definitions = std::map<std::string, std::shared_ptr<const TypeDefinition>>;

Definitions Parse(const nlohmann::json& list) {
  Definitions definitions;
  for (const auto& json : list) {
    auto definition = std::make_shared<TypeDefinition>();
    if (ParseTypeDefinition(json.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace), *definition)) {
      definitions.emplace(definition->shortName, std::move(definition));
    }
  }
  return definitions;
}

/// Whatever compiles renders in bounded space from any payload.
void Render(const std::shared_ptr<const Plan>& plan, WireOptions::Form form) {
  constexpr std::array<std::uint8_t, 48> kPayload = {0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 2, 0, 0, 0};
  std::size_t longestName = 0;
  for (const auto& names : {plan->names, plan->childNames}) {
    for (const std::string& name : names) {
      longestName = std::max(longestName, name.size());
    }
  }
  for (const LayoutKind layout : {LayoutKind::kOneLine, LayoutKind::kMultiLine, LayoutKind::kJson}) {
    PayloadRenderer renderer(plan, {layout});
    PayloadCursor cursor(kPayload);
    TextBuffer text;
    static_cast<void>(renderer.Render(cursor, WireOptions{form, false, true, false}, WalkOptions{}, 0, true, text));
    // What the walk allows, and what one look at the limit may let pass: a run of numbers, or one with its name.
    const std::size_t allowed = (std::size_t{1} << 20U) + 1024 * kPayload.size();
    qor::Require(text.Text().size() <= allowed + (std::size_t{1} << 17U) + kPayload.size() * 400 + 6 * longestName);
  }
}

}  // namespace
}  // namespace qor::datatype

/// The input is a JSON list of definitions; each is compiled and rendered.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::datatype;
  qor::KeepLogQuiet();
  const std::string text(reinterpret_cast<const char*>(data), size);
  TypeDefinition one;
  static_cast<void>(ParseTypeDefinition(text, one));
  const auto list = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!list.is_array() || list.size() > 64) {
    return 0;
  }
  const Definitions definitions = Parse(list);
  const auto lookup = [&](const std::string& name) {
    const auto at = definitions.find(name);
    return at == definitions.end() ? nullptr : at->second;
  };
  const qor::maintaind::SerializationNode settings;
  for (const auto& [name, definition] : definitions) {
    if (const auto plan = PlanCompiler(lookup, nullptr).Compile(name)) {
      Render(plan, WireOptions::Form::kDds);
      Render(plan, WireOptions::Form::kSomeip);
    }
    if (const auto plan = PlanCompiler(lookup, &settings).Compile(name)) {
      Render(plan, WireOptions::Form::kSomeipWithSettings);
    }
  }
  return 0;
}
