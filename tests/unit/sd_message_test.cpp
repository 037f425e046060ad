// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace qor::someip::sd {
namespace {

using test::Bytes;
using test::FromHex;

std::string Field(std::size_t value) {
  char text[9];
  std::snprintf(text, sizeof(text), "%08zx", value);
  return text;
}

/// A message around entries and options, its lengths right.
Bytes Message(const std::string& entries, const std::string& options) {
  const std::size_t entriesSize = FromHex(entries).size();
  const std::size_t optionsSize = FromHex(options).size();
  return FromHex("ffff8100" + Field(8 + 12 + entriesSize + optionsSize) + "0000002a 01010200 c0000000" +
                 Field(entriesSize) + entries + Field(optionsSize) + options);
}

SdMessage Decoded(const Bytes& bytes) {
  const auto decoded = DecodeSdMessage(bytes);
  const auto* message = std::get_if<SdMessage>(&decoded);
  EXPECT_NE(message, nullptr) << Text(std::get<SdFault>(decoded));
  return message == nullptr ? SdMessage{} : *message;
}

std::optional<SdFault> FaultOf(const Bytes& bytes) {
  const auto decoded = DecodeSdMessage(bytes);
  const auto* fault = std::get_if<SdFault>(&decoded);
  return fault == nullptr ? std::nullopt : std::optional(*fault);
}

Option UdpAt(std::uint32_t address, std::uint16_t port) {
  return Ipv4Option{AddressRole::kEndpoint, {{address}, port}};
}
Option TcpAt(std::uint32_t address, std::uint16_t port) {
  return Ipv4Option{AddressRole::kEndpoint, {{address}, port}, TransportProtocol::kTcp};
}

Entry Offer(std::uint16_t service, std::vector<Option> options) {
  Entry entry;
  entry.type = EntryType::kOfferService;
  entry.service = service;
  entry.instance = 0x5678;
  entry.major = 1;
  entry.minor = 0x20;
  entry.ttl = 3;
  entry.options = std::move(options);
  return entry;
}

constexpr const char* kUdpOption = "0009 04 00 0a4d0001 00 11 7725";
constexpr const char* kTcpOption = "0009 04 00 0a4d0001 00 06 7726";

TEST(SdMessageTest, EachKindOfEntryHasItsBytes) {
  Entry find;
  find.service = 0x1234;
  find.instance = kAnyInstance;
  find.major = kAnyMajor;
  find.minor = kAnyMinor;
  find.ttl = 3;

  Entry subscribe = Offer(0x1234, {UdpAt(0x0A4D0001, 30501)});
  subscribe.type = EntryType::kSubscribeEventgroup;
  subscribe.minor = 0;
  subscribe.ttl = kTtlUntilReboot;
  subscribe.eventgroup = 0x4465;
  subscribe.counter = 5;
  subscribe.isInitialDataRequested = true;

  Entry ack = subscribe;
  ack.type = EntryType::kSubscribeEventgroupAck;
  ack.isInitialDataRequested = false;
  ack.options = {Ipv4Option{AddressRole::kMulticast, {{0xEFC00001}, 30502}}};

  const Entry offer = Offer(0x1234, {UdpAt(0x0A4D0001, 30501), TcpAt(0x0A4D0001, 30502)});
  const Bytes expected = Message(
      "00 00 00 00 1234 ffff ff 000003 ffffffff"
      "01 00 00 20 1234 5678 01 000003 00000020"
      "06 00 00 10 1234 5678 01 ffffff 00 85 4465"
      "07 02 00 10 1234 5678 01 ffffff 00 05 4465",
      std::string(kUdpOption) + kTcpOption + "0009 14 00 efc00001 00 11 7726");

  SdMessageWriter writer;
  for (const Entry& entry : {find, offer, subscribe, ack}) {
    ASSERT_TRUE(writer.Add(entry));
  }
  EXPECT_EQ(writer.Finish(0x2A, true), expected);
  EXPECT_TRUE(writer.IsEmpty());
  EXPECT_EQ(Decoded(expected), (SdMessage{0x2A, true, true, {find, offer, subscribe, ack}, {}}));
}

TEST(SdMessageTest, EachKindOfOptionHasItsBytes) {
  Ipv6Option ipv6;
  ipv6.address.fill(0xFD);
  ipv6.port = 30501;
  const Entry offer = Offer(0x1234, {
                                        ConfigurationOption{{{"a", "b=c"}, {"flag", std::nullopt}, {"e", ""}}},
                                        LoadBalancingOption{1, 0x0203},
                                        Ipv4Option{AddressRole::kSdEndpoint, {{1}, 2}},
                                        ipv6,
                                    });
  const Bytes expected = Message("01 00 00 40 1234 5678 01 000003 00000020",
                                 "0010 01 00 05 613d623d63 04 666c6167 02 653d 00"
                                 "0005 02 00 0001 0203"
                                 "0009 24 00 00000001 00 11 0002"
                                 "0015 06 00 fdfdfdfdfdfdfdfdfdfdfdfdfdfdfdfd 00 11 7725");
  SdMessageWriter writer;
  ASSERT_TRUE(writer.Add(offer));
  EXPECT_EQ(writer.Finish(0x2A, true), expected);
  EXPECT_EQ(Decoded(expected).entries, std::vector<Entry>{offer});

  for (const Configuration& impossible :
       {Configuration{{"", "value"}}, Configuration{{"a=b", "c"}}, Configuration{{"key", std::string(252, 'x')}}}) {
    EXPECT_FALSE(writer.Add(Offer(1, {ConfigurationOption{impossible}})));
  }
}

TEST(SdMessageTest, RunsReferToOptionsInAnyWay) {
  const std::string options = std::string(kUdpOption) + "0002 77 00 ff" + kTcpOption;
  const std::string rest = "1234 5678 01 000003 00000020";
  const Option udp = UdpAt(0x0A4D0001, 30501);
  const Option tcp = TcpAt(0x0A4D0001, 30502);
  const SdMessage message = Decoded(Message("01 ff fe 00" + rest +      // empty runs, whatever their index
                                                "01 00 00 30" + rest +  // one run over an unknown option
                                                "01 02 00 11" + rest +  // two runs, backwards
                                                "01 02 00 20" + rest +  // beyond the last
                                                "01 00 03 11" + rest +  // the second one beyond the last
                                                "77 00 00 10" + rest +  // an unknown entry
                                                "06 ff 00 f0" + rest,
                                            options));
  ASSERT_EQ(message.entries.size(), 3U);
  EXPECT_THAT(message.entries[0].options, testing::IsEmpty());
  EXPECT_THAT(message.entries[1].options, testing::ElementsAre(udp, tcp));
  EXPECT_THAT(message.entries[2].options, testing::ElementsAre(tcp, udp));
  ASSERT_EQ(message.invalidEntries.size(), 3U);
  EXPECT_EQ(message.invalidEntries[2].type, EntryType::kSubscribeEventgroup);
}

TEST(SdMessageTest, AMalformedOptionSpoilsTheEntriesThatReferToItAlone) {
  for (const char* option : {"0008 04 00 0a4d0001 00 11 77", "0000 06", "0006 02 00 0001 0203 04", "0004 01 00 09 6162",
                             "0003 01 00 02 61"}) {
    const std::string rest = "1234 5678 01 000003 00000020";
    const SdMessage message =
        Decoded(Message("01 00 00 10" + rest + "01 01 00 10" + rest, kUdpOption + std::string(option)));
    EXPECT_EQ(message.entries.size(), 1U) << option;
    EXPECT_EQ(message.invalidEntries.size(), 1U) << option;
  }
}

TEST(SdMessageTest, WhatIsNoServiceDiscoveryMessageIsRefused) {
  const Bytes good = Message("01 00 00 10 1234 5678 01 000003 00000020", kUdpOption);
  Decoded(good);
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_EQ(FaultOf({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)}), SdFault::kCutShort) << size;
  }
  const auto expectFault = [&good](SdFault fault, std::uint8_t value, std::initializer_list<std::size_t> places) {
    for (const std::size_t at : places) {
      Bytes bytes = good;
      bytes[at] = value;
      EXPECT_EQ(FaultOf(bytes), fault) << at;
    }
  };
  expectFault(SdFault::kNotServiceDiscovery, 0x33, {0, 2, 12, 13, 14, 15});
  expectFault(SdFault::kCutShort, 0x7F, {20, 23, 40, 43, 44, 45});  // lengths of entries, options, and the option
  expectFault(SdFault::kCutShort, 0x0F, {23});                      // the options' length is what follows
  EXPECT_EQ(FaultOf(Message("01 00 00 10", "")), SdFault::kEntriesLength);
}

TEST(SdMessageTest, LimitsHold) {
  const auto repeat = [](const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
      all += text;
    }
    return all;
  };
  const std::string entry = "00 00 00 00 1234 ffff ff 000003 ffffffff";
  EXPECT_EQ(Decoded(Message(repeat(entry, kMaxEntries), "")).entries.size(), kMaxEntries);
  EXPECT_EQ(FaultOf(Message(repeat(entry, kMaxEntries + 1), "")), SdFault::kTooManyEntries);
  EXPECT_EQ(FaultOf(Message("", repeat("0000 77", kMaxOptions + 1))), SdFault::kTooManyOptions);
  const std::string greedy = "01 00 00 ff 1234 5678 01 000003 00000020";
  EXPECT_EQ(FaultOf(Message(repeat(greedy, 35), repeat(kUdpOption, 15))), SdFault::kTooManyOptions);
  Configuration many(kMaxConfigurationItems + 1, {"k", std::nullopt});
  EXPECT_FALSE(EncodeOption(ConfigurationOption{many}));
  many.pop_back();
  EXPECT_TRUE(EncodeOption(ConfigurationOption{many}));
}

TEST(SdMessageTest, AWriterFillsAMessageAndSharesOptions) {
  SdMessageWriter writer;
  std::vector<Entry> added;
  for (std::uint16_t service = 1; writer.Add(Offer(service, {UdpAt(1, 5), TcpAt(1, 6)})); ++service) {
    added.push_back(Offer(service, {UdpAt(1, 5), TcpAt(1, 6)}));
  }
  // Of 1400 bytes, 12 are flags and lengths, 24 the two options.
  EXPECT_EQ(added.size(), (1400U - 12 - 24) / 16);
  const Bytes bytes = writer.Finish(1, false);
  EXPECT_LE(bytes.size(), kMaxSentSize);
  EXPECT_EQ(Decoded(bytes).entries, added);

  // Options that overlap only in part, as far as two runs can express it.
  const Option a = UdpAt(1, 1);
  const Option b = UdpAt(1, 2);
  const Option c = UdpAt(1, 3);
  added = {Offer(1, {a, b}), Offer(1, {b, c}), Offer(1, {c, a}), Offer(1, {}),
           Offer(1, std::vector<Option>(30, UdpAt(1, 9)))};
  for (const Entry& entry : added) {
    EXPECT_TRUE(writer.Add(entry));
  }
  EXPECT_FALSE(writer.Add(Offer(1, std::vector<Option>(31, UdpAt(1, 9)))));
  EXPECT_EQ(Decoded(writer.Finish(1, false)).entries, added);
}

}  // namespace
}  // namespace qor::someip::sd
