// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_QOR_S2S_DESERIALIZER_H
#define QOR_DATATYPE_QOR_S2S_DESERIALIZER_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/common/records/pdu_description.h"
#include "src/datatype/labels.h"
#include "src/datatype/layout_kind.h"
#include "src/datatype/payload_cursor.h"
#include "src/datatype/text_buffer.h"

namespace qor {

/// Prints signal-based PDUs: one value for each signal of the description, in the layouts of structures. A signal with
/// a factor or an offset prints as its physical value, others as the raw number; one that lies behind the end of a
/// short PDU prints as its initial value. Used by one thread at a time.
class QorS2SDeserializer {
 public:
  using DeserializationRetCode = datatype::DeserializationRetCode;

  QorS2SDeserializer(const maintaind::PduDescription& pdu, const datatype::LayoutStyle& style);

  /// Appends the PDU with its name to `text`. False when it is too short for a signal without an initial value: then
  /// the text ends there.
  bool Deserialize(std::string_view name, std::span<const std::uint8_t> payload, std::string& text);

  /// Prints only one signal from now on, without its name. False, with the reason in GetDeserializationRetInfo, when
  /// there is none of that name.
  bool SetField(std::string_view signalName);

  DeserializationRetCode GetDeserializationRetCode() const { return retCode_; }
  const std::string& GetDeserializationRetInfo() const { return retInfo_; }

 private:
  struct Signal {
    maintaind::PduSignal layout;
    bool isPhysical = false;  ///< it has a factor or an offset
    long double factor = 1.0L;
    long double offset = 0.0L;
  };

  template <class Layout>
  bool Signals(Layout& out, std::span<const std::uint8_t> payload);
  /// What the PDU or the initial value says; nothing when neither does.
  std::optional<std::uint64_t> BitsOf(const Signal& signal, std::span<const std::uint8_t> payload);
  template <class Layout>
  static void Value(Layout& out, const Signal& signal, std::uint64_t bits);
  void Fail(const Signal& signal, std::size_t size);

  const QorLog log_{"QorS2SDeserializer"};
  const datatype::LayoutStyle style_;
  std::vector<Signal> signals_;
  datatype::Labels labels_;
  std::optional<std::size_t> field_;  ///< the signal that is printed alone
  datatype::TextBuffer text_;
  DeserializationRetCode retCode_ = DeserializationRetCode::kSuccess;
  std::string retInfo_;
};

namespace datatype {

/// The raw bits of a signal, from its most significant one down; nothing when the PDU does not hold all of them.
std::optional<std::uint64_t> RawSignal(const maintaind::PduSignal& signal, std::span<const std::uint8_t> pdu);

}  // namespace datatype

}  // namespace qor

#endif
