// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/field_path.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <span>

namespace qor::datatype {
namespace {

/// Goes down a plan, one step at a time.
class PathWalk {
 public:
  PathWalk(const Plan& plan, std::string& fault) : plan_(plan), fault_(fault), node_(&plan.nodes[plan.root]) {}

  bool Member(std::string_view name) {
    if (entry_ != nullptr) {
      return EntryPart(name);
    }
    if (node_->kind != PlanKind::kStructure) {
      return Refuse("'" + plan_.NameOf(*node_) + "' has no members, so not '" + std::string(name) + "' either");
    }
    const auto names = std::span(plan_.childNames).subspan(node_->firstChild, node_->childCount);
    const auto at = std::ranges::find(names, name);
    if (at == names.end()) {
      std::string known;
      for (const std::string& one : names) {
        known += (known.empty() ? "" : ", ") + one;
      }
      return Refuse("'" + plan_.NameOf(*node_) + "' has no member '" + std::string(name) + "'; it has: " + known);
    }
    return Child(static_cast<std::uint32_t>(at - names.begin()));
  }

  bool Index(std::string_view digits) {
    std::uint32_t index = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
    if (error != std::errc() || end != digits.data() + digits.size()) {
      return Refuse("'" + std::string(digits) + "' is no number of an element");
    }
    switch (entry_ != nullptr ? PlanKind::kPrimitive : node_->kind) {
      case PlanKind::kArray:
        if (index >= node_->length) {
          return Refuse("'" + plan_.NameOf(*node_) + "' has " + std::to_string(node_->length) + " elements, from 0 on");
        }
        [[fallthrough]];
      case PlanKind::kVector:
        path_.push_back(index);
        node_ = &plan_.NodeOf(plan_.ChildrenOf(*node_).front());
        return true;
      case PlanKind::kMap:
        path_.push_back(index);
        entry_ = node_;
        return true;
      case PlanKind::kVariant:
        if (index >= node_->childCount) {
          return Refuse("'" + plan_.NameOf(*node_) + "' has " + std::to_string(node_->childCount) +
                        " alternatives, from 0 on");
        }
        return Child(index);
      default:
        return Refuse("'" + plan_.NameOf(*node_) + "' has no elements");
    }
  }

  /// An entry alone is no value.
  bool End() { return entry_ == nullptr || Refuse("an entry of a map has a 'key' and a 'value': say which"); }
  FieldPath Take() { return std::move(path_); }

 private:
  bool EntryPart(std::string_view name) {
    if (name != "key" && name != "value") {
      return Refuse("an entry of a map has a 'key' and a 'value', not '" + std::string(name) + "'");
    }
    node_ = entry_;
    entry_ = nullptr;
    return Child(name == "key" ? 0 : 1);
  }
  bool Child(std::uint32_t index) {
    path_.push_back(index);
    node_ = &plan_.NodeOf(plan_.ChildrenOf(*node_)[index]);
    return true;
  }
  bool Refuse(std::string reason) {
    fault_ = std::move(reason);
    return false;
  }

  const Plan& plan_;
  std::string& fault_;
  const PlanNode* node_;
  const PlanNode* entry_ = nullptr;  ///< the map of whose entry a part comes next
  FieldPath path_;
};

}  // namespace

std::optional<FieldPath> ResolveFieldPath(const Plan& plan, std::string_view text, std::string& fault) {
  PathWalk walk(plan, fault);
  bool isMemberNext = true;
  while (!text.empty()) {
    if (text.front() == '[') {
      const std::size_t end = text.find(']');
      if (end == std::string_view::npos) {
        fault = "a '[' has no ']'";
        return std::nullopt;
      }
      if (!walk.Index(text.substr(1, end - 1))) {
        return std::nullopt;
      }
      text.remove_prefix(end + 1);
      isMemberNext = false;
      continue;
    }
    if (!isMemberNext) {
      if (text.front() != '.') {
        fault = "expected '.' or '[' before '" + std::string(text) + "'";
        return std::nullopt;
      }
      text.remove_prefix(1);
    }
    const std::size_t end = std::min(text.find_first_of(".["), text.size());
    if (!walk.Member(text.substr(0, end))) {
      return std::nullopt;
    }
    text.remove_prefix(end);
    isMemberNext = false;
  }
  if (!walk.End()) {
    return std::nullopt;
  }
  return walk.Take();
}

}  // namespace qor::datatype
