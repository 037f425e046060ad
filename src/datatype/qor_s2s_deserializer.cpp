// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/qor_s2s_deserializer.h"

#include <algorithm>
#include <charconv>

namespace qor {
namespace {

using maintaind::PduSignal;

long double ToNumber(const std::string& text, long double otherwise) {
  std::from_chars(text.data(), text.data() + text.size(), otherwise);
  return otherwise;
}

std::int64_t SignExtended(std::uint64_t raw, std::uint32_t bits) {
  const unsigned shift = 64 - bits;
  return static_cast<std::int64_t>(raw << shift) >> shift;
}

}  // namespace

std::optional<std::uint64_t> datatype::RawSignal(const PduSignal& signal, std::span<const std::uint8_t> pdu) {
  std::uint64_t raw = 0;
  std::uint64_t bit = signal.bitPosition;
  if (!signal.isBigEndian) {
    bit += signal.bitLength - 1;
  }
  for (std::uint32_t i = 0; i < signal.bitLength; ++i) {
    if (bit / 8 >= pdu.size()) {
      return std::nullopt;
    }
    raw = raw << 1U | (pdu[bit / 8] >> (bit % 8) & 1U);
    if (!signal.isBigEndian) {
      --bit;
    } else {
      bit = bit % 8 != 0 ? bit - 1 : bit + 15;  // on with the highest bit of the next byte
    }
  }
  return raw;
}

QorS2SDeserializer::QorS2SDeserializer(const maintaind::PduDescription& pdu, const datatype::LayoutStyle& style)
    : style_(style) {
  for (const PduSignal& signal : pdu.signals) {
    if (signal.bitLength < 1 || signal.bitLength > 64) {
      log_.Error() << "Signal '" << signal.name << "' has " << signal.bitLength << " bits, so it is left out";
      continue;
    }
    const bool isPhysical = !signal.factor.empty() || !signal.offset.empty();
    signals_.push_back(Signal{signal, isPhysical, ToNumber(signal.factor, 1.0L), ToNumber(signal.offset, 0.0L)});
    datatype::AddLabel(style, signal.name, labels_);
  }
}

bool QorS2SDeserializer::SetField(std::string_view signalName) {
  const auto named = std::ranges::find(signals_, signalName, [](const Signal& signal) { return signal.layout.name; });
  if (named != signals_.end()) {
    field_ = static_cast<std::size_t>(named - signals_.begin());
    return true;
  }
  std::string names;
  for (const Signal& signal : signals_) {
    names += (names.empty() ? "" : ", ") + signal.layout.name;
  }
  retCode_ = DeserializationRetCode::kTypeUnknown;
  retInfo_ = "the PDU has no signal '" + std::string(signalName) + "'; it has: " + names;
  return false;
}

std::optional<std::uint64_t> QorS2SDeserializer::BitsOf(const Signal& signal, std::span<const std::uint8_t> payload) {
  auto bits = datatype::RawSignal(signal.layout, payload);
  if (!bits.has_value() && signal.layout.hasInitialValue) {
    const std::uint64_t mask = ~std::uint64_t{0} >> (64 - signal.layout.bitLength);
    bits = signal.layout.initialValue & mask;
  }
  if (!bits.has_value()) {
    Fail(signal, payload.size());
  }
  return bits;
}

/// In long double, so that a decimal factor gives the decimal that one expects.
template <class Layout>
void QorS2SDeserializer::Value(Layout& out, const Signal& signal, std::uint64_t bits) {
  const std::int64_t number = SignExtended(bits, signal.layout.bitLength);
  if (signal.isPhysical) {
    const auto raw = signal.layout.isSigned ? static_cast<long double>(number) : static_cast<long double>(bits);
    out.Number(static_cast<double>(raw * signal.factor + signal.offset));
  } else if (signal.layout.isSigned) {
    out.Number(number);
  } else {
    out.Number(bits);
  }
}

template <class Layout>
bool QorS2SDeserializer::Signals(Layout& out, std::span<const std::uint8_t> payload) {
  out.BeginStructure();
  for (std::size_t i = 0; i < signals_.size(); ++i) {
    const auto bits = BitsOf(signals_[i], payload);
    if (!bits.has_value()) {
      return false;
    }
    out.BeginMember(labels_, i, i == 0);
    Value(out, signals_[i], *bits);
    out.EndMember();
  }
  out.EndStructure();
  return true;
}

bool QorS2SDeserializer::Deserialize(std::string_view name, std::span<const std::uint8_t> payload, std::string& text) {
  retCode_ = DeserializationRetCode::kSuccess;
  retInfo_.clear();
  text_.Clear();
  const bool isOk = datatype::WithLayout(style_, text_, 0, /*isAfterName=*/true, [&](auto& out) {
    if (field_.has_value()) {
      const auto bits = BitsOf(signals_[*field_], payload);
      if (bits.has_value()) {
        Value(out, signals_[*field_], *bits);
      }
      return bits.has_value();
    }
    out.BeginPayload(name);
    if (!Signals(out, payload)) {
      return false;
    }
    out.EndPayload();
    return true;
  });
  text += text_.Text();
  return isOk;
}

void QorS2SDeserializer::Fail(const Signal& signal, std::size_t size) {
  retCode_ = DeserializationRetCode::kOutOfBounds;
  retInfo_ = "Signal '" + signal.layout.name +
             "' lies behind the end of the PDU[bitPosition=" + std::to_string(signal.layout.bitPosition) +
             ", size=" + std::to_string(size) + "]";
  log_.Error("QorS2SDeserializer_Signal" + signal.layout.name, 500) << retInfo_;
}

}  // namespace qor
