// SPDX-License-Identifier: Apache-2.0
// A payload is printed with nothing but what the record of its connection says.
#include "src/qorbag/serialization_config.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/records/codec.h"
#include "src/datatype/qor_s2s_deserializer.h"
#include "src/datatype/qor_someip_deserializer.h"
#include "src/qorbag/connection.h"

namespace qor::qorbag {
namespace {

using maintaind::SerializationType;
using Bytes = std::vector<std::uint8_t>;

/// The configuration as a bag gives it back.
Bytes ThroughARecord(SerializationType type, const Bytes& config) {
  Connection connection;
  connection.driverType = maintaind::DriverType::kSomeip;
  connection.serializationType = type;
  connection.serializationConfig = config;
  QorBuffer record;
  EXPECT_TRUE(connection.Encode(CURRENT_BAG_VERSION, record));
  HeaderFields fields;
  Connection read;
  EXPECT_TRUE(fields.Parse(record.Bytes().subspan(sizeof(std::uint32_t))) && read.Decode(fields, CURRENT_BAG_VERSION));
  EXPECT_EQ(read.serializationType, type);
  return read.serializationConfig;
}

template <class Config>
void ExpectThatNoCutIsRead(const Bytes& whole) {
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const log::LogCapture log;
    EXPECT_FALSE(Config().SetSerializeData(std::span(whole).first(size))) << size;
    EXPECT_EQ(log.CountContaining("cannot be read"), 1U) << size;
  }
}

TEST(BagSerializationConfigTest, SettingsOfSomeipPayloads) {
  maintaind::SerializationNode settings;
  settings.isBigEndian = false;
  settings.children.emplace_back().dataId = 7;
  const Bytes stored = ThroughARecord(SerializationType::kSomeip, maintaind::Encode(settings));
  QorSOMEIPConfigSerialize config;
  ASSERT_TRUE(config.SetSerializeData(stored));
  const auto knowsNothing = [](auto& /*definitions*/) { return false; };
  qortools::common::QorSomeipDeserializer deserializer(knowsNothing, config.GetSerializationNode(),
                                                       QorDeserializer::FormatType::kOneLine);
  EXPECT_EQ(deserializer.Deserialize("uint16", "a", {1, 2}, {}), "{ \"a\" : 513 }");
  EXPECT_EQ(config.GetSerializationNode(), settings);
  ExpectThatNoCutIsRead<QorSOMEIPConfigSerialize>(stored);
}

TEST(BagSerializationConfigTest, LayoutOfPdus) {
  maintaind::PduDescription pdu;
  pdu.length = 2;
  maintaind::PduSignal& speed = pdu.signals.emplace_back();
  speed.name = "speed";
  speed.bitPosition = 4;
  speed.bitLength = 8;
  const Bytes stored = ThroughARecord(SerializationType::kPdu, maintaind::Encode(pdu));
  QorPduConfigInfoSerialize config;
  ASSERT_TRUE(config.SetSerializeData(stored));
  std::string text;
  QorS2SDeserializer deserializer(config.GetPduDescription(), {datatype::LayoutKind::kOneLine});
  EXPECT_TRUE(deserializer.Deserialize("a", Bytes{0x50, 0x0A}, text));
  EXPECT_EQ(text, "{ \"a\" : { \"speed\" : 165 } }");
  EXPECT_EQ(config.GetPduDescription(), pdu);
  ExpectThatNoCutIsRead<QorPduConfigInfoSerialize>(stored);
}

}  // namespace
}  // namespace qor::qorbag
