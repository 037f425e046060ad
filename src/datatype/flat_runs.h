// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_FLAT_RUNS_H
#define QOR_DATATYPE_FLAT_RUNS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "src/datatype/flat_run.h"
#include "src/datatype/labels.h"
#include "src/datatype/layout_kind.h"
#include "src/datatype/number_text.h"
#include "src/datatype/payload_cursor.h"
#include "src/datatype/plan.h"
#include "src/datatype/text_buffer.h"

namespace qor::datatype {

/// The flat runs of a plan in a layout: of structures with at most 4096 numbers and 64 KiB of names. Not for several
/// lines, where the text depends on the place. Never changes.
class FlatRuns {
 public:
  /// None.
  FlatRuns() = default;
  FlatRuns(const Plan& plan, const Labels& labels, const LayoutStyle& style);

  /// Null when the node is no flat run, or the runs before it took all the memory that they may.
  const FlatRun* Of(const Plan& plan, const PlanNode& node) const {
    if (runs_.empty()) {
      return nullptr;
    }
    const FlatRun& run = runs_[static_cast<std::size_t>(&node - plan.nodes.data())];
    return run.itemCount != 0 ? &run : nullptr;
  }

  /// Appends a value at the cursor, where the run's bytes must remain.
  template <class Layout>
  void Append(const FlatRun& run, PayloadCursor& cursor, FlatReading reading, TextBuffer& text) const {
    const std::uint8_t* from = cursor.Data();
    char* to = text.Room(run.longestText);
    for (std::size_t i = run.firstItem; i < run.firstItem + run.itemCount; ++i) {
      const Item& item = items_[i];
      to = Copy(item.text, item.textSize, to);
      WithPrimitive(item.primitive, [&](auto sample) {
        to = Layout::Write(to, Load<decltype(sample)>(from, reading.isBigEndian));
        from += sizeof(sample);
      });
      from += reading.hasPadding ? item.padding : 0;
    }
    text.Advance(Copy(run.endText, run.endSize, to));
    cursor.Advance(run.SizeOf(reading));
  }

 private:
  // Of one run: beyond that a structure is printed member by member.
  static constexpr std::uint64_t kMaxNumbers = 4096;
  static constexpr std::uint64_t kMaxText = std::uint64_t{1} << 16U;
  // Of all runs.
  static constexpr std::size_t kMaxItems = 65536;
  static constexpr std::size_t kMaxTexts = std::size_t{1} << 20U;

  /// A number.
  struct Item {
    std::size_t text = 0;       ///< offset of what stands before it
    std::uint64_t padding = 0;  ///< bytes behind it
    std::uint32_t textSize = 0;
    Primitive primitive = Primitive::kBool;
  };

  char* Copy(std::size_t text, std::uint32_t size, char* to) const {
    return TextBuffer::CopyPadded(texts_.data() + text, size, to);
  }

  /// How much of a run a value takes.
  struct Extent {
    std::uint64_t numbers = 0;  ///< 0: it can be in none
    std::uint64_t text = 0;     ///< bytes of the names in it
  };

  static std::vector<Extent> Measure(const Plan& plan, const Labels& labels);
  static Extent ExtentOf(const Plan& plan, const Labels& labels, const PlanNode& node,
                         const std::vector<Extent>& parts);
  void AddRun(const Plan& plan, const Labels& labels, const LayoutStyle& style, const PlanNode& node, FlatRun& run);
  template <class Layout>
  void AddStructure(const Plan& plan, const Labels& labels, const PlanNode& node, Layout& out, FlatRun& run);
  /// Moves what was printed since the last time to the texts.
  std::uint32_t Cut(TextBuffer& text);

  std::vector<FlatRun> runs_;  ///< of the plan's nodes; empty: there are none
  std::vector<Item> items_;
  std::string texts_;  ///< with the slack behind them
};

}  // namespace qor::datatype

#endif
