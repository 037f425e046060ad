// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/payload_renderer.h"

#include <utility>

#include "src/datatype/json_layout.h"
#include "src/datatype/plain_wire.h"
#include "src/datatype/text_layout.h"

namespace qor::datatype {
namespace {

std::string Label(LayoutKind layout, const std::string& name) {
  switch (layout) {
    case LayoutKind::kMultiLine:
      return MultiLineLayout::Label(name);
    case LayoutKind::kJson:
      return JsonLayout::Label(name);
    case LayoutKind::kOneLine:
      break;
  }
  return OneLineLayout::Label(name);
}

}  // namespace

PayloadRenderer::PayloadRenderer(std::shared_ptr<const Plan> plan, LayoutKind layout)
    : plan_(std::move(plan)), layout_(layout) {
  for (const std::string& name : plan_->childNames) {
    labels_.Add(Label(layout, name));
  }
}

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
  PayloadWalker<Wire> walker(*plan_, labels_, cursor, wire, scratch_, options);
  const PlanNode& root = plan_->nodes[plan_->root];
  switch (layout_) {
    case LayoutKind::kMultiLine: {
      MultiLineLayout layout(text, depth, isAfterName);
      return walker.Value(layout, root);
    }
    case LayoutKind::kJson: {
      JsonLayout layout(text);
      return walker.Value(layout, root);
    }
    case LayoutKind::kOneLine:
      break;
  }
  OneLineLayout layout(text);
  return walker.Value(layout, root);
}

}  // namespace qor::datatype
