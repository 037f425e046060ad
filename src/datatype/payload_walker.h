// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_PAYLOAD_WALKER_H
#define QOR_DATATYPE_PAYLOAD_WALKER_H

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dp/mbuf.h"
#include "platform/log/qor_log.h"
#include "src/datatype/flat_runs.h"
#include "src/datatype/labels.h"
#include "src/datatype/list_extent.h"
#include "src/datatype/no_layout.h"
#include "src/datatype/number_text.h"
#include "src/datatype/payload_cursor.h"
#include "src/datatype/plan.h"

namespace qor::datatype {

/// What a sample brings besides its payload, and how much of it is wanted.
struct WalkOptions {
  std::span<const OutMbufData> mbufs;
  std::int32_t errorCode = 0;           ///< of a value that is an error
  bool isSummary = false;               ///< lists by type and length only
  std::span<const std::uint32_t> path;  ///< print only the part that it leads to; empty: all
};

/// Walks a plan over a payload: a wire says how the bytes are read, a layout what is printed. One use by one thread.
/// The recursion is as deep as the plan, which is limited.
template <class Wire>
class PayloadWalker {
 public:
  /// `labels` and `runs` are those of the plan in the layout; `scratch` is memory to work with.
  PayloadWalker(const Plan& plan, const Labels& labels, const FlatRuns& runs, PayloadCursor& cursor, Wire& wire,
                std::string& scratch, const WalkOptions& options)
      : plan_(plan), labels_(labels), runs_(runs), cursor_(cursor), wire_(wire), scratch_(scratch), options_(options) {
    std::uint64_t size = cursor.Size();
    for (const OutMbufData& buffer : options.mbufs) {
      size += buffer.size;
    }
    budget_ = kMaxUnpaidValues + kStepsOfAByte * size;
    textLimit_ = kLeastText + kTextOfAByte * size;
  }

  /// False when the payload does not hold a value there: the cursor has the reason, the layout what came before.
  template <class Layout>
  bool Value(Layout& out, const PlanNode& node) {
    if (!Pay(out, 1)) {
      return false;
    }
    switch (node.kind) {
      case PlanKind::kPrimitive:
        return WithNumber(node, [&](auto value) { out.Number(value); });
      case PlanKind::kEnumeration:
        return WithNumber(node, [&](auto value) {
          out.BeginEnumeration(plan_.NameOf(node));
          out.Number(value);
          out.EndEnumeration();
        });
      case PlanKind::kString:
        return Text(out, wire_.ReadString(node, scratch_, text_));
      case PlanKind::kFixedString:
        return Text(out, wire_.ReadFixedString(node, scratch_, text_));
      case PlanKind::kArray:
        return List(out, node, "array");
      case PlanKind::kVector:
        return List(out, node, "vector");
      case PlanKind::kMap:
        return Map(out, node);
      case PlanKind::kStructure:
        return Structure(out, node);
      case PlanKind::kVariant:
        return Variant(out, node);
      case PlanKind::kError:
        return Error(out, node);
      case PlanKind::kRawBuffer:
        return RawBuffer(out, node);
    }
    return false;
  }

  /// Only the part of the value that the path leads to; the payload is not read further. False also when this value has
  /// no such part.
  template <class Layout>
  bool Part(Layout& out, const PlanNode& node, std::span<const std::uint32_t> path) {
    if (path.empty()) {
      return Value(out, node);
    }
    switch (node.kind) {
      case PlanKind::kStructure:
        return PartOfStructure(out, node, path);
      case PlanKind::kArray:
      case PlanKind::kVector:
      case PlanKind::kMap:
        return PartOfList(out, node, path);
      case PlanKind::kVariant:
        return PartOfVariant(out, node, path);
      default:
        return Absent();
    }
  }

 private:
  // Levels, members that are absent, values without bytes: a definition can ask for many of them at every byte.
  static constexpr std::uint64_t kStepsOfAByte = 1024;
  // Beyond what a payload can be about, a definition asks for more text than anybody reads.
  static constexpr std::uint64_t kLeastText = std::uint64_t{1} << 20U;
  static constexpr std::uint64_t kTextOfAByte = 1024;

  /// Counts what is printed, so that elements that take few bytes or none cannot go on for ever.
  template <class Layout>
  bool Pay(const Layout& out, std::uint64_t values) {
    if (values > budget_ || out.Size() > textLimit_) {
      return cursor_.Fail(DeserializationRetCode::kInvalidData, "the value is too long for its payload");
    }
    budget_ -= values;
    return true;
  }

  bool Absent() { return cursor_.Fail(DeserializationRetCode::kAbsent, "this sample has no such part"); }

  template <class Layout>
  bool PartOfStructure(Layout& out, const PlanNode& node, std::span<const std::uint32_t> path) {
    typename Wire::Scope scope;
    NoLayout none;
    bool isPresent = true;
    const auto members = plan_.ChildrenOf(node);
    if (!wire_.BeginStructure(node, scope)) {
      return false;
    }
    for (std::uint32_t i = 0; i < path.front(); ++i) {
      if (!wire_.BeginMember(members[i], i, scope, isPresent) ||
          (isPresent && !Value(none, plan_.NodeOf(members[i]))) || !wire_.EndMember(members[i], scope)) {
        return false;
      }
    }
    const PlanChild& member = members[path.front()];
    return wire_.BeginMember(member, path.front(), scope, isPresent) &&
           (isPresent ? Part(out, plan_.NodeOf(member), path.subspan(1)) : Absent());
  }

  template <class Layout>
  bool PartOfList(Layout& out, const PlanNode& node, std::span<const std::uint32_t> path) {
    ListExtent extent;
    NoLayout none;
    if (!BeginAnyList(node, extent)) {
      return false;
    }
    const auto parts = plan_.ChildrenOf(node);
    for (std::uint32_t i = 0; wire_.HasMore(extent, i); ++i) {
      const std::size_t begin = cursor_.Offset();
      const bool isWanted = i == path.front();
      for (std::uint32_t p = 0; p < parts.size(); ++p) {
        if (isWanted && (node.kind != PlanKind::kMap || p == path[1])) {
          return Part(out, plan_.NodeOf(parts[p]), path.subspan(node.kind == PlanKind::kMap ? 2 : 1));
        }
        if (!Value(none, plan_.NodeOf(parts[p]))) {
          return false;
        }
      }
      if (!wire_.EndElement(node, extent, begin)) {
        return false;
      }
    }
    return Absent();
  }

  template <class Layout>
  bool PartOfVariant(Layout& out, const PlanNode& node, std::span<const std::uint32_t> path) {
    typename Wire::Scope scope;
    std::uint32_t index = 0;
    if (!wire_.BeginVariant(node, index, scope)) {
      return false;
    }
    return index == path.front() + 1 ? Part(out, plan_.NodeOf(plan_.ChildrenOf(node)[path.front()]), path.subspan(1))
                                     : Absent();
  }

  bool BeginAnyList(const PlanNode& node, ListExtent& extent) {
    switch (node.kind) {
      case PlanKind::kArray:
        return wire_.BeginArray(node, extent);
      case PlanKind::kVector:
        return wire_.BeginVector(node, extent);
      default:
        return wire_.BeginMap(node, extent);
    }
  }

  template <class Use>
  bool WithNumber(const PlanNode& node, Use use) {
    bool isRead = false;
    WithPrimitive(node.primitive, [&](auto value) {
      isRead = wire_.ReadFromBitStream(node, value);
      if (isRead) {
        use(value);
      }
    });
    return isRead;
  }

  template <class Layout>
  bool Text(Layout& out, bool isRead) {
    if (isRead) {
      out.Text(text_);
    }
    return isRead;
  }

  template <class Layout>
  bool List(Layout& out, const PlanNode& node, std::string_view kind) {
    ListExtent extent;
    if (!BeginAnyList(node, extent)) {
      return false;
    }
    const PlanChild& part = plan_.ChildrenOf(node).front();
    const PlanNode& element = plan_.NodeOf(part);
    if (options_.isSummary) {
      std::uint64_t count = 0;
      if (!SkipElements(node, part, extent, count)) {
        return false;
      }
      out.ListSummary(kind, plan_.childNames[node.firstChild], count);
      return wire_.EndList(node, extent);
    }
    out.BeginList(element.isValue);
    for (std::uint32_t i = 0; wire_.HasMore(extent, i); ++i) {
      const std::size_t begin = cursor_.Offset();
      out.BeginElement(i == 0, element.isValue);
      if (!Value(out, element)) {
        return node.kind == PlanKind::kVector && wire_.FailElement(node, part);
      }
      out.EndElement(element.isValue);
      if (!wire_.EndElement(node, extent, begin)) {
        return false;
      }
    }
    out.EndList(element.isValue);
    return wire_.EndList(node, extent);
  }

  bool SkipElements(const PlanNode& node, const PlanChild& part, const ListExtent& extent, std::uint64_t& count) {
    const PlanNode& element = plan_.NodeOf(part);
    if (extent.isCounted && element.baseSize != 0 && plan_.SettingsOf(node).elementPadding == 0) {
      count = extent.count;
      return wire_.Skip(node, count * element.baseSize);
    }
    NoLayout none;
    for (; wire_.HasMore(extent, static_cast<std::uint32_t>(count)); ++count) {
      const std::size_t begin = cursor_.Offset();
      if (!Value(none, element)) {
        return node.kind == PlanKind::kVector && wire_.FailElement(node, part);
      }
      if (!wire_.EndElement(node, extent, begin)) {
        return false;
      }
    }
    return true;
  }

  template <class Layout>
  bool Map(Layout& out, const PlanNode& node) {
    ListExtent extent;
    if (!wire_.BeginMap(node, extent)) {
      return false;
    }
    const PlanChild& keyPart = plan_.ChildrenOf(node).front();
    const PlanChild& valuePart = plan_.ChildrenOf(node).back();
    const PlanNode& key = plan_.NodeOf(keyPart);
    const PlanNode& value = plan_.NodeOf(valuePart);
    out.BeginMap();
    for (std::uint32_t i = 0; wire_.HasMore(extent, i); ++i) {
      const std::size_t begin = cursor_.Offset();
      out.BeginKey(i == 0, key.isValue);
      if (!Value(out, key)) {
        return wire_.FailElement(node, keyPart);
      }
      out.BeginMapped(key.isValue, value.isValue);
      if (!Value(out, value)) {
        return wire_.FailElement(node, valuePart);
      }
      out.EndEntry(value.isValue);
      if (!wire_.EndElement(node, extent, begin)) {
        return false;
      }
    }
    out.EndMap();
    return wire_.EndList(node, extent);
  }

  template <class Layout>
  bool Structure(Layout& out, const PlanNode& node) {
    const FlatRun* run = runs_.Of(plan_, node);
    if (FlatReading reading; run != nullptr && wire_.TakesFlat(*run, reading)) {
      if (!Pay(out, run->itemCount)) {
        return false;
      }
      if constexpr (std::same_as<Layout, NoLayout>) {
        cursor_.Advance(run->SizeOf(reading));
      } else {
        runs_.Append<Layout>(*run, cursor_, reading, out.Buffer());
      }
      return true;
    }
    typename Wire::Scope scope;
    if (!wire_.BeginStructure(node, scope)) {
      return false;
    }
    out.BeginStructure();
    bool isFirst = true;
    const auto members = plan_.ChildrenOf(node);
    for (std::size_t i = 0; i < members.size(); ++i) {
      bool isPresent = true;
      if (!Pay(out, 1)) {
        return false;
      }
      if (!wire_.BeginMember(members[i], i, scope, isPresent)) {
        return false;
      }
      if (!isPresent) {
        continue;
      }
      out.BeginMember(labels_, node.firstChild + i, isFirst);
      const PlanNode& member = plan_.NodeOf(members[i]);
      if (member.kind == PlanKind::kPrimitive ? !WithNumber(member, [&](auto value) { out.Number(value); })
                                              : !Value(out, member)) {
        return false;
      }
      out.EndMember();
      isFirst = false;
      if (!wire_.EndMember(members[i], scope)) {
        return false;
      }
    }
    out.EndStructure();
    return wire_.EndStructure(node, scope);
  }

  template <class Layout>
  bool Variant(Layout& out, const PlanNode& node) {
    typename Wire::Scope scope;
    std::uint32_t index = 0;
    if (!wire_.BeginVariant(node, index, scope)) {
      return false;
    }
    const auto alternatives = plan_.ChildrenOf(node);
    if (index < 1 || index > alternatives.size()) {
      std::string reason = "Receive variant index is invalid[receiveIndex=" + std::to_string(index) +
                           ", msgSize=" + std::to_string(alternatives.size()) + "]";
      log_.Error("QorDeserializer_DeserializeVariant" + plan_.NameOf(node), 500) << reason;
      return cursor_.Fail(DeserializationRetCode::kInvalidData, std::move(reason));
    }
    const PlanNode& alternative = plan_.NodeOf(alternatives[index - 1]);
    out.BeginVariant(index - 1, alternative.isValue);
    if (!Value(out, alternative)) {
      return false;
    }
    out.EndVariant(alternative.isValue);
    return wire_.EndVariant(node, scope);
  }

  /// A code that the domain does not know prints as a number.
  template <class Layout>
  bool Error(Layout& out, const PlanNode& node) {
    const PlanError& error = plan_.errors[node.error];
    const auto known = std::ranges::find(error.codes, options_.errorCode, [](const auto& code) { return code.first; });
    out.Error(error.domainName, known != error.codes.end() ? known->second : std::to_string(options_.errorCode));
    return true;
  }

  /// The mbufs of the sample. When there are none and nothing else is in the payload, the payload is the buffer.
  template <class Layout>
  bool RawBuffer(Layout& out, const PlanNode& node) {
    const std::string_view rest = cursor_.Peek(cursor_.Remaining());
    const OutMbufData payload{reinterpret_cast<const std::uint8_t*>(rest.data()),
                              static_cast<std::uint32_t>(rest.size())};
    const bool isPayload = options_.mbufs.empty() && &node == &plan_.nodes[plan_.root];
    const auto buffers = isPayload ? std::span(&payload, 1) : options_.mbufs;
    if (isPayload) {
      cursor_.Advance(rest.size());
    }
    std::uint64_t total = 0;
    for (const OutMbufData& buffer : buffers) {
      total += buffer.size;
    }
    log_.Verbose() << "[QorDeserializer][mbufNum=" << buffers.size() << "]";
    log_.Verbose() << "[QorDeserializer][mbufSize=" << total << "]";
    if (options_.isSummary) {
      out.RawBufferSummary(total);
      return true;
    }
    if (!Pay(out, total)) {
      return false;
    }
    out.BeginRawBuffers();
    for (std::size_t i = 0; i < buffers.size(); ++i) {
      out.RawBuffer(std::span(buffers[i].data, buffers[i].size), i == 0);
    }
    out.EndRawBuffers();
    return true;
  }

  const QorLog log_{"QorDeserializer"};
  const Plan& plan_;
  const Labels& labels_;
  const FlatRuns& runs_;
  PayloadCursor& cursor_;
  Wire& wire_;
  std::string& scratch_;
  const WalkOptions options_;
  std::uint64_t budget_ = 0;     ///< values that may still come
  std::uint64_t textLimit_ = 0;  ///< characters
  std::string_view text_;        ///< the latest text, until the next one is read
};

}  // namespace qor::datatype

#endif
