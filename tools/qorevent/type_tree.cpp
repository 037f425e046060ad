// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/type_tree.h"

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kMaxDepth = 32;
constexpr std::size_t kStep = 2;

std::string ScalarText(const Json& value) {
  return value.is_string() ? Printable(value.get_ref<const std::string&>())
                           : value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

void AppendTree(std::string& text, const Json& value, std::size_t indent);

void AppendEntry(std::string& text, const std::string& label, const Json& value, std::size_t indent) {
  text.append(indent, ' ');
  text += label;
  if (value.is_structured() && !value.empty()) {
    text += '\n';
    AppendTree(text, value, indent + kStep);
  } else {
    text += " " + ScalarText(value) + "\n";
  }
}

/// The depth is what ParseTypeJson left.
void AppendTree(std::string& text, const Json& value, std::size_t indent) {
  if (value.is_object()) {
    for (const auto& [key, member] : value.items()) {
      AppendEntry(text, Printable(key) + ":", member, indent);
    }
  } else if (value.is_array()) {
    for (const Json& element : value) {
      AppendEntry(text, "-", element, indent);
    }
  } else {
    text.append(indent, ' ');
    text += ScalarText(value) + "\n";
  }
}

}  // namespace

Json ParseTypeJson(const std::string& text) {
  const auto isKept = [](int depth, Json::parse_event_t /*event*/, Json& /*value*/) { return depth < kMaxDepth; };
  Json definition = Json::parse(text, isKept, /*allow_exceptions=*/false);
  return definition.is_discarded() ? Json() : definition;
}

std::string TypeTree(const Json& definition, std::size_t indent) {
  std::string text;
  AppendTree(text, definition, indent);
  return text;
}

}  // namespace qor::tools
