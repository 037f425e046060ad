// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/flat_runs.h"

#include <algorithm>

namespace qor::datatype {
namespace {

bool IsNumber(const PlanNode& node) { return node.kind == PlanKind::kPrimitive || node.kind == PlanKind::kEnumeration; }

/// Whether nothing but its members is in the payload of a structure.
bool IsPlain(const Plan& plan, const PlanNode& node) {
  const maintaind::SerializationNode& settings = plan.SettingsOf(node);
  const bool isAligned = settings.isDynamic && !settings.isLastSerializeNode;
  return node.kind == PlanKind::kStructure && node.lengthFieldSize == 0 && !settings.isChildNodeEnableTlv && !isAligned;
}

}  // namespace

FlatRuns::FlatRuns(const Plan& plan, const Labels& labels, const LayoutStyle& style) {
  if (style.kind == LayoutKind::kMultiLine) {
    return;
  }
  const auto counts = CountNumbers(plan);
  runs_.resize(plan.nodes.size());
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    const bool isRun = plan.nodes[i].kind == PlanKind::kStructure && counts[i] != 0 && counts[i] <= kMaxRun;
    if (isRun && items_.size() + counts[i] <= kMaxItems && texts_.size() <= kMaxText) {
      AddRun(plan, labels, style, plan.nodes[i], runs_[i]);
    }
  }
  texts_.append(TextBuffer::kSlack, '\0');
}

/// For each node how many numbers a value has; 0: it is nothing that a run can have. Parts stand before what they are
/// parts of.
std::vector<std::uint64_t> FlatRuns::CountNumbers(const Plan& plan) const {
  std::vector<std::uint64_t> counts(plan.nodes.size());
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const PlanNode& node = plan.nodes[i];
    counts[i] = IsNumber(node) ? 1 : 0;
    if (!IsPlain(plan, node)) {
      continue;
    }
    for (const PlanChild& member : plan.ChildrenOf(node)) {
      const std::uint64_t inner = counts[member.node];
      const bool isSameOrder = plan.SettingsOf(plan.NodeOf(member)).isBigEndian == plan.SettingsOf(node).isBigEndian;
      if (inner == 0 || !isSameOrder) {
        counts[i] = 0;
        break;
      }
      counts[i] = std::min(counts[i] + inner, kMaxRun + 1);
    }
  }
  return counts;
}

/// The layout itself prints what stands between the numbers.
void FlatRuns::AddRun(const Plan& plan, const Labels& labels, const LayoutStyle& style, const PlanNode& node,
                      FlatRun& run) {
  TextBuffer text;
  run.firstItem = static_cast<std::uint32_t>(items_.size());
  run.isBigEndian = plan.SettingsOf(node).isBigEndian;
  WithLayout(style, text, 0, /*isAfterName=*/true, [&](auto& out) {
    AddStructure(plan, labels, node, out, run);
    return true;
  });
  run.itemCount = static_cast<std::uint32_t>(items_.size() - run.firstItem);
  run.endText = texts_.size();
  run.endSize = Cut(text);
  run.longestText += run.endSize;
}

template <class Layout>
void FlatRuns::AddStructure(const Plan& plan, const Labels& labels, const PlanNode& node, Layout& out, FlatRun& run) {
  out.BeginStructure();
  const auto members = plan.ChildrenOf(node);
  for (std::size_t i = 0; i < members.size(); ++i) {
    const PlanNode& member = plan.NodeOf(members[i]);
    out.BeginMember(labels, node.firstChild + i, i == 0);
    if (member.kind == PlanKind::kStructure) {
      AddStructure(plan, labels, member, out, run);
      items_.back().padding += members[i].padding;
    } else {
      const bool isEnumeration = member.kind == PlanKind::kEnumeration;
      if (isEnumeration) {
        out.BeginEnumeration(plan.NameOf(member));
      }
      Item item{texts_.size(), 0, members[i].padding, member.primitive};
      item.textSize = Cut(out.Buffer());
      items_.push_back(item);
      run.size += member.baseSize;
      run.longestText += item.textSize + LongestNumber(member.primitive);
      if (isEnumeration) {
        out.EndEnumeration();
      }
    }
    run.padding += members[i].padding;
    out.EndMember();
  }
  out.EndStructure();
}

std::uint32_t FlatRuns::Cut(TextBuffer& text) {
  const auto size = static_cast<std::uint32_t>(text.Size());
  texts_ += text.Text();
  text.Clear();
  return size;
}

}  // namespace qor::datatype
