// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/qor_s2s_deserializer.h"

#include <charconv>

namespace qor {
namespace {

using maintaind::PduSignal;

double ToDouble(const std::string& text, double otherwise) {
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
    signals_.push_back(Signal{signal, isPhysical, ToDouble(signal.factor, 1.0), ToDouble(signal.offset, 0.0)});
    datatype::AddLabel(style, signal.name, labels_);
  }
}

template <class Layout>
bool QorS2SDeserializer::Signals(Layout& out, std::span<const std::uint8_t> payload) {
  out.BeginStructure();
  for (std::size_t i = 0; i < signals_.size(); ++i) {
    const Signal& signal = signals_[i];
    auto raw = datatype::RawSignal(signal.layout, payload);
    if (!raw.has_value() && !signal.layout.hasInitialValue) {
      return Fail(signal, payload.size());
    }
    out.BeginMember(labels_, i, i == 0);
    const std::uint64_t mask = ~std::uint64_t{0} >> (64 - signal.layout.bitLength);
    const std::uint64_t bits = raw.value_or(signal.layout.initialValue & mask);
    const std::int64_t number = SignExtended(bits, signal.layout.bitLength);
    if (signal.isPhysical) {
      const double value = signal.layout.isSigned ? static_cast<double>(number) : static_cast<double>(bits);
      out.Number(value * signal.factor + signal.offset);
    } else if (signal.layout.isSigned) {
      out.Number(number);
    } else {
      out.Number(bits);
    }
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

bool QorS2SDeserializer::Fail(const Signal& signal, std::size_t size) {
  retCode_ = DeserializationRetCode::kOutOfBounds;
  retInfo_ = "Signal '" + signal.layout.name +
             "' lies behind the end of the PDU[bitPosition=" + std::to_string(signal.layout.bitPosition) +
             ", size=" + std::to_string(size) + "]";
  log_.Error("QorS2SDeserializer_Signal", 500) << retInfo_;
  return false;
}

}  // namespace qor
