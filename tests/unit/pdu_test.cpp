// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/log/log_capture.h"
#include "src/datatype/qor_s2s_deserializer.h"
#include "tests/support/bytes.h"

namespace qor {
namespace {

using datatype::LayoutKind;
using maintaind::PduDescription;
using maintaind::PduSignal;

PduSignal Signal(const char* name, std::uint32_t position, std::uint32_t length, bool isBigEndian = false,
                 bool isSigned = false) {
  PduSignal signal;
  signal.name = name;
  signal.bitPosition = position;
  signal.bitLength = length;
  signal.isBigEndian = isBigEndian;
  signal.isSigned = isSigned;
  return signal;
}

std::string Render(const PduDescription& pdu, const char* payload, LayoutKind layout = LayoutKind::kOneLine) {
  QorS2SDeserializer deserializer(pdu, {layout});
  std::string text;
  const bool isOk = deserializer.Deserialize("pdu", test::FromHex(payload), text);
  EXPECT_EQ(isOk, deserializer.GetDeserializationRetInfo().empty());
  return text;
}

TEST(PduTest, BitsOfBothByteOrdersAreFound) {
  struct {
    PduSignal signal;
    const char* payload;
    const char* value;
  } const cases[] = {
      {Signal("s", 0, 8), "A5", "165"},
      {Signal("s", 4, 4), "A5", "10"},
      {Signal("s", 4, 8), "50 0A", "165"},
      {Signal("s", 0, 16), "34 12", "4660"},
      {Signal("s", 7, 16, true), "12 34", "4660"},
      {Signal("s", 3, 8, true), "0A 50", "165"},  // the low half of byte 0, then the high half of byte 1
      {Signal("s", 7, 12, true), "12 3F", "291"},
      {Signal("s", 0, 64), "FF FF FF FF FF FF FF FF", "18446744073709551615"},
      {Signal("s", 7, 64, true, true), "FF FF FF FF FF FF FF FE", "-2"},
      {Signal("s", 1, 3, false, true), "08", "-4"},
      {Signal("s", 63, 1), "00 00 00 00 00 00 00 80", "1"},
  };
  for (const auto& [signal, payload, value] : cases) {
    EXPECT_EQ(Render({0, {signal}}, payload), std::string("{ \"pdu\" : { \"s\" : ") + value + " } }") << payload;
  }
}

TEST(PduTest, FactorAndOffsetMakeThePhysicalValue) {
  PduSignal speed = Signal("speed", 0, 8, false, true);
  speed.factor = "0.5";
  speed.offset = "-40";
  PduSignal level = Signal("level", 8, 8);
  EXPECT_EQ(Render({2, {speed, level}}, "FE 07", LayoutKind::kMultiLine), "speed: -41.000000\nlevel: 7\n---");
  EXPECT_EQ(Render({2, {speed, level}}, "FE 07", LayoutKind::kJson), "{\"speed\":-41,\"level\":7}");
  speed.factor = "0.1";
  speed.offset = "";
  EXPECT_EQ(Render({2, {speed}}, "13", LayoutKind::kJson), "{\"speed\":1.9}") << "19 x 0.1 in binary is a little more";
}

TEST(PduTest, OneSignalCanBeChosen) {
  const PduDescription pdu{2, {Signal("low", 0, 8), Signal("high", 8, 8)}};
  QorS2SDeserializer deserializer(pdu, {LayoutKind::kOneLine});
  EXPECT_FALSE(deserializer.SetField("hihg"));
  EXPECT_EQ(deserializer.GetDeserializationRetInfo(), "the PDU has no signal 'hihg'; it has: low, high");
  ASSERT_TRUE(deserializer.SetField("high"));
  std::string text;
  EXPECT_TRUE(deserializer.Deserialize("pdu", test::FromHex("0102"), text));
  EXPECT_EQ(text, "2");
  EXPECT_FALSE(deserializer.Deserialize("pdu", test::FromHex("01"), text));
}

TEST(PduTest, AShortPduHasInitialValuesOrEnds) {
  const log::LogCapture quiet;
  PduSignal first = Signal("first", 0, 8);
  PduSignal second = Signal("second", 4, 8);
  EXPECT_EQ(Render({0, {first, second}}, "07"), "{ \"pdu\" : { \"first\" : 7");
  second.initialValue = 200;
  second.hasInitialValue = true;
  EXPECT_EQ(Render({0, {first, second}}, "07"), "{ \"pdu\" : { \"first\" : 7, \"second\" : 200 } }");
}

TEST(PduTest, ASignalThatCannotBeIsLeftOut) {
  const log::LogCapture log;
  EXPECT_EQ(Render({0, {Signal("none", 0, 0), Signal("wide", 0, 65), Signal("far", 0xFFFFFFFF, 64, true)}}, "01"),
            "{ \"pdu\" : { ");
  EXPECT_EQ(log.CountContaining("so it is left out"), 2U);
}

}  // namespace
}  // namespace qor
