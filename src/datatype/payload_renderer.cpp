// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/payload_renderer.h"

#include <utility>

#include "src/datatype/plain_wire.h"

namespace qor::datatype {
namespace {

Labels LabelsOf(const Plan& plan, const LayoutStyle& style) {
  Labels labels;
  for (const std::string& name : plan.childNames) {
    AddLabel(style, name, labels);
  }
  return labels;
}

}  // namespace

PayloadRenderer::PayloadRenderer(std::shared_ptr<const Plan> plan, const LayoutStyle& style, bool usesRuns)
    : plan_(std::move(plan)),
      style_(style),
      labels_(LabelsOf(*plan_, style)),
      runs_(usesRuns ? FlatRuns(*plan_, labels_, style) : FlatRuns()) {}

bool PayloadRenderer::Render(PayloadCursor& cursor, const WireOptions& wire, const WalkOptions& options,
                             std::uint32_t depth, bool isAfterName, TextBuffer& text) {
  if (wire.form == WireOptions::Form::kSomeipWithSettings) {
    ConfiguredWire configured(*plan_, cursor, tags_);
    return RenderFrom(configured, cursor, options, depth, isAfterName, text);
  }
  const auto form = wire.form == WireOptions::Form::kDds ? PlainWire::Form::kDds : PlainWire::Form::kSomeip;
  PlainWire plain(*plan_, cursor, form, wire.isBigEndian, wire.hasPadding, wire.isOuterUnpadded);
  return RenderFrom(plain, cursor, options, depth, isAfterName, text);
}

template <class Wire>
bool PayloadRenderer::RenderFrom(Wire& wire, PayloadCursor& cursor, const WalkOptions& options, std::uint32_t depth,
                                 bool isAfterName, TextBuffer& text) {
  PayloadWalker<Wire> walker(*plan_, labels_, runs_, cursor, wire, scratch_, options);
  const PlanNode& root = plan_->nodes[plan_->root];
  return WithLayout(style_, text, depth, isAfterName,
                    [&](auto& layout) { return walker.Part(layout, root, options.path); });
}

}  // namespace qor::datatype
