// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_PAYLOAD_RENDERER_H
#define QOR_DATATYPE_PAYLOAD_RENDERER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "src/datatype/configured_wire.h"
#include "src/datatype/flat_runs.h"
#include "src/datatype/labels.h"
#include "src/datatype/layout_kind.h"
#include "src/datatype/payload_cursor.h"
#include "src/datatype/payload_walker.h"
#include "src/datatype/plan.h"
#include "src/datatype/text_buffer.h"

namespace qor::datatype {

/// How the bytes of payloads are to be read.
struct WireOptions {
  enum class Form : std::uint8_t { kDds, kSomeip, kSomeipWithSettings };
  Form form = Form::kDds;
  bool isBigEndian = false;      ///< not used with settings, which say it for each type
  bool hasPadding = false;       ///< DDS: the padding that definitions tell is in the payload
  bool isOuterUnpadded = false;  ///< but not behind the members of the first structure
};

/// Prints values of one type. Keeps its memory from one payload to the next: once warm it allocates nothing besides
/// what the text needs. Used by one thread at a time.
class PayloadRenderer {
 public:
  /// `usesRuns` false: every member is printed for itself, which is slower and the same.
  PayloadRenderer(std::shared_ptr<const Plan> plan, const LayoutStyle& style, bool usesRuns = true);

  const Plan& GetPlan() const { return *plan_; }

  /// Appends the value at the cursor to `text`, indented by `depth`. False when the payload does not hold one: the
  /// cursor has the reason, `text` what came before. `isAfterName`: several lines begin on the one that is there.
  [[nodiscard]] bool Render(PayloadCursor& cursor, const WireOptions& wire, const WalkOptions& options,
                            std::uint32_t depth, bool isAfterName, TextBuffer& text);

 private:
  template <class Wire>
  bool RenderFrom(Wire& wire, PayloadCursor& cursor, const WalkOptions& options, std::uint32_t depth, bool isAfterName,
                  TextBuffer& text);

  const std::shared_ptr<const Plan> plan_;  // shared with the cache of plans
  const LayoutStyle style_;
  const Labels labels_;  ///< of the plan's children
  const FlatRuns runs_;
  std::string scratch_;
  std::vector<ConfiguredWire::Tag> tags_;
};

}  // namespace qor::datatype

#endif
