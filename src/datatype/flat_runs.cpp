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
  const auto extents = Measure(plan, labels);
  runs_.resize(plan.nodes.size());
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    const Extent& extent = extents[i];
    const bool isRun = plan.nodes[i].kind == PlanKind::kStructure && extent.numbers != 0;
    if (isRun && items_.size() + extent.numbers <= kMaxItems && texts_.size() + extent.text <= kMaxTexts) {
      AddRun(plan, labels, style, plan.nodes[i], runs_[i]);
    }
  }
  texts_.append(TextBuffer::kSlack, '\0');
}

/// Of each node. Parts stand before what they are parts of.
std::vector<FlatRuns::Extent> FlatRuns::Measure(const Plan& plan, const Labels& labels) {
  std::vector<Extent> extents;
  extents.reserve(plan.nodes.size());
  for (const PlanNode& node : plan.nodes) {
    extents.push_back(ExtentOf(plan, labels, node, extents));
  }
  return extents;
}

FlatRuns::Extent FlatRuns::ExtentOf(const Plan& plan, const Labels& labels, const PlanNode& node,
                                    const std::vector<Extent>& parts) {
  if (IsNumber(node)) {
    return Extent{1, node.kind == PlanKind::kEnumeration ? plan.NameOf(node).size() : 0};
  }
  Extent sum;
  if (!IsPlain(plan, node)) {
    return sum;
  }
  const auto members = plan.ChildrenOf(node);
  for (std::size_t i = 0; i < members.size(); ++i) {
    const Extent& part = parts[members[i].node];
    const bool isSameOrder = plan.SettingsOf(plan.NodeOf(members[i])).isBigEndian == plan.SettingsOf(node).isBigEndian;
    sum.numbers += part.numbers;
    sum.text += labels.SizeOf(node.firstChild + i) + part.text;
    if (part.numbers == 0 || !isSameOrder || sum.numbers > kMaxNumbers || sum.text > kMaxText) {
      return {};
    }
  }
  return sum;
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
      Item item;
      item.text = texts_.size();
      item.textSize = Cut(out.Buffer());
      item.padding = members[i].padding;
      item.primitive = member.primitive;
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
