// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/com/e2e/crc.h"
#include "platform/com/e2e/e2e_checker.h"
#include "platform/com/e2e/e2e_protector.h"
#include "tests/support/bytes.h"

namespace qor::com::e2e {
namespace {

using test::Bytes;
using test::FromHex;

Bytes Payload(std::size_t size) { return test::Counting(size, 1); }

TEST(E2eCrc, GivesTheStandardsCheckValues) {
  struct {
    const char* bytes;
    std::uint16_t crc16;
    std::uint32_t crc32p4;
    std::uint64_t crc64;
  } const vectors[] = {
      {"313233343536373839", 0x29B1, 0x1697D06A, 0x995DC9BBDF1939FA},
      {"00000000", 0x84C0, 0x6FB32240, 0xF4A586351E1B9F4B},
      {"F20183", 0xD374, 0x4F721A25, 0x319C27668164F1C6},
      {"0FAA0055", 0x2023, 0x20662DF8, 0x54C5D0F7667C1575},
      {"00FF5511", 0xB8F9, 0x9BD7996E, 0xA63822BE7E0704E6},
      {"332255AABBCCDDEEFF", 0xF53F, 0xA65A343D, 0x701ECEB219A8E5D5},
      {"926B55", 0x0745, 0xEE688A78, 0x5FAA96A9B59F3E4E},
      {"FFFFFFFF", 0x1D0F, 0xFFFFFFFF, 0xFFFFFFFF00000000},
  };
  for (const auto& vector : vectors) {
    const Bytes bytes = FromHex(vector.bytes);
    EXPECT_EQ(Crc16(bytes), vector.crc16) << vector.bytes;
    EXPECT_EQ(Crc32P4(bytes), vector.crc32p4) << vector.bytes;
    EXPECT_EQ(Crc64(bytes), vector.crc64) << vector.bytes;
  }
}

TEST(E2eCrc, IsTheSameInOneGoInTwoPiecesAndByteByByte) {
  std::mt19937 random(1);
  for (std::size_t size = 0; size < 70; ++size) {
    const Bytes bytes = test::Counting(size, static_cast<std::uint8_t>(random()));
    const auto expectSame = [all = std::span(bytes), cut = random() % (size + 1)](auto crc) {
      auto single = crc({});
      for (std::size_t at = 0; at < all.size(); ++at) {
        single = crc(all.subspan(at, 1), single);
      }
      EXPECT_EQ(crc(all), single) << all.size();
      EXPECT_EQ(crc(all.subspan(cut), crc(all.first(cut))), single) << all.size() << " cut at " << cut;
    };
    expectSame([](std::span<const std::uint8_t> part, auto... before) { return Crc16(part, before...); });
    expectSame([](std::span<const std::uint8_t> part, auto... before) { return Crc32P4(part, before...); });
    expectSame([](std::span<const std::uint8_t> part, auto... before) { return Crc64(part, before...); });
  }
}

maintaind::E2EConfigInfo Config(int profile, std::uint32_t offsetBytes = 0) {
  maintaind::E2EConfigInfo config;
  config.isProtected = true;
  config.profile = static_cast<std::uint8_t>(profile);
  config.dataId = profile == 5 ? 0x1234 : 0x0A0B0C0D;
  config.offset = offsetBytes * 8;
  config.maxDeltaCounter = 3;
  return config;
}

std::size_t HeaderSize(int profile) { return profile == 4 ? 12 : profile == 5 ? 3 : 20; }

/// One sender and one receiver of an event.
struct Link {
  explicit Link(const maintaind::E2EConfigInfo& config) : protector(config), checker(config) {}

  Bytes Send(const Bytes& payload) {
    EXPECT_TRUE(protector.Protect(payload, sent).HasValue());
    return sent;
  }
  Bytes SendNth(int nth) {
    for (int skipped = 1; skipped < nth; ++skipped) {
      Send(Payload(8));
    }
    return Send(Payload(8));
  }
  CheckStatus Receive(const Bytes& sample) { return checker.Check(sample).status; }

  E2eProtector protector;
  E2eChecker checker;
  Bytes sent;
};

class E2eProfile : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(All, E2eProfile, testing::Values(4, 5, 7), testing::PrintToStringParamName());

TEST(E2e, ProtectsTheStandardsExamples) {
  struct {
    int profile;
    std::uint32_t offset;
    std::size_t payloadSize;
    const char* first;
    const char* second;
  } const examples[] = {
      {4, 0, 4, "001000000A0B0C0D862B055600000000", "001000010A0B0C0DA58E680700000000"},
      {4, 8, 12, "0000000000000000001800000A0B0C0D69D7502E00000000",
       "0000000000000000001800010A0B0C0D4A723D7F00000000"},
      {5, 0, 5, "1CCA000000000000", "CF8D010000000000"},
      {5, 8, 13, "00000000000000002891000000000000", "0000000000000000FBD6010000000000"},
      {7, 0, 4, "1FB2E737FCEDBCD900000018000000000A0B0C0D00000000", "7BDE7268B8E9BC2700000018000000010A0B0C0D00000000"},
      {7, 8, 12, "000000000000000017F7C817323865A800000020000000000A0B0C0D00000000",
       "0000000000000000739B5D48763C655600000020000000010A0B0C0D00000000"},
  };
  for (const auto& example : examples) {
    Link link(Config(example.profile, example.offset));
    const Bytes zeros(example.payloadSize);
    EXPECT_EQ(link.Send(zeros), FromHex(example.first)) << example.profile << " at " << example.offset;
    EXPECT_EQ(link.Send(zeros), FromHex(example.second)) << example.profile << " at " << example.offset;
    EXPECT_EQ(link.Receive(FromHex(example.first)), CheckStatus::kOk);
    EXPECT_EQ(link.Receive(FromHex(example.second)), CheckStatus::kOk);
  }
}

TEST_P(E2eProfile, GivesThePayloadBackWhereverTheHeaderIs) {
  for (const std::uint32_t offset : {0U, 1U, 8U, 40U}) {
    Link link(Config(GetParam(), offset));
    link.Send(Bytes(60, 0xEE));  // whose memory the next one uses
    const Bytes payload = Payload(40);
    const Bytes sample = link.Send(payload);
    ASSERT_EQ(sample.size(), payload.size() + HeaderSize(GetParam()));
    EXPECT_TRUE(std::equal(sample.begin(), sample.begin() + offset, payload.begin()));
    EXPECT_TRUE(std::equal(sample.end() - (40 - offset), sample.end(), payload.begin() + offset));
    const CheckResult result = link.checker.Check(sample);
    EXPECT_EQ(result.status, CheckStatus::kOk);
    EXPECT_TRUE(std::equal(result.payload.begin(), result.payload.end(), payload.begin(), payload.end())) << offset;
    if (offset == 0) {
      EXPECT_EQ(result.payload.data(), sample.data() + HeaderSize(GetParam()));
    }
  }
  Link link(Config(GetParam()));
  const CheckResult empty = link.checker.Check(link.Send({}));
  EXPECT_EQ(empty.status, CheckStatus::kOk);
  EXPECT_TRUE(empty.payload.empty());
}

TEST_P(E2eProfile, EveryFlippedBitAndEveryOtherLengthIsAnErrorThatLeavesTheSequenceAlone) {
  for (const std::uint32_t offset : {0U, 5U}) {
    Link link(Config(GetParam(), offset));
    const Bytes sample = link.Send(Payload(21));
    for (std::size_t bit = 0; bit < sample.size() * 8; ++bit) {
      Bytes flipped = sample;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      EXPECT_EQ(link.Receive(flipped), CheckStatus::kError) << "bit " << bit;
    }
    for (std::size_t size = 0; size < sample.size(); ++size) {
      const CheckResult cut = link.checker.Check(std::span(sample).first(size));
      EXPECT_EQ(cut.status, CheckStatus::kError) << size;
      EXPECT_EQ(cut.payload.size(), size - (size < offset + HeaderSize(GetParam()) ? 0 : HeaderSize(GetParam())));
    }
    EXPECT_EQ(link.Receive(test::Joined(sample, Bytes(1))), CheckStatus::kError);
    EXPECT_EQ(link.Receive(sample), CheckStatus::kOk);
  }
}

TEST(E2e, ALengthThatIsNotTheSamplesIsAnErrorWhateverTheChecksum) {
  Link link(Config(4));
  Bytes sample = link.Send(Payload(8));
  sample.pop_back();
  const std::span<const std::uint8_t> bytes = sample;
  const std::uint32_t crc = Crc32P4(bytes.subspan(12), Crc32P4(bytes.first(8)));
  for (int byte = 0; byte < 4; ++byte) {
    sample[8 + byte] = static_cast<std::uint8_t>(crc >> (24 - 8 * byte));
  }
  EXPECT_EQ(link.Receive(sample), CheckStatus::kError);
  sample[1] = static_cast<std::uint8_t>(sample.size());
  EXPECT_EQ(link.Receive(sample), CheckStatus::kError) << "the checksum covers the length";
}

TEST_P(E2eProfile, SamplesOfAnotherEventAreErrors) {
  for (int bit = 0; bit < (GetParam() == 5 ? 16 : 32); ++bit) {
    auto config = Config(GetParam());
    config.dataId ^= 1U << bit;
    Link other(config);
    Link link(Config(GetParam()));
    EXPECT_EQ(link.Receive(other.Send(Payload(8))), CheckStatus::kError) << "bit " << bit;
  }
}

TEST_P(E2eProfile, TellsRepeatedLostAndWrongSequences) {
  Link link(Config(GetParam()));
  EXPECT_EQ(link.checker.StatusWithoutData(), CheckStatus::kNotAvailable);
  const Bytes first = link.SendNth(1);
  EXPECT_EQ(link.Receive(first), CheckStatus::kOk);
  EXPECT_EQ(link.checker.StatusWithoutData(), CheckStatus::kNoNewData);
  EXPECT_EQ(link.Receive(first), CheckStatus::kRepeated);

  for (const std::uint32_t nth : {1U, 3U}) {  // up to maxDeltaCounter
    const CheckResult result = link.checker.Check(link.SendNth(static_cast<int>(nth)));
    EXPECT_EQ(result.status, CheckStatus::kOk);
    EXPECT_EQ(result.lost, nth - 1);
  }

  EXPECT_EQ(link.Receive(link.SendNth(4)), CheckStatus::kWrongSequence);
  EXPECT_EQ(link.Receive(link.SendNth(1)), CheckStatus::kOk) << "the sample before set what is expected";
  EXPECT_EQ(link.Receive(first), CheckStatus::kWrongSequence) << "back";

  Link joinedLate(Config(GetParam()));
  EXPECT_EQ(joinedLate.Receive(joinedLate.SendNth(4)), CheckStatus::kWrongSequence);
  EXPECT_EQ(joinedLate.Receive(joinedLate.SendNth(1)), CheckStatus::kOk);
}

TEST(E2e, CountersWrap) {
  for (const auto& [profile, counters] : {std::pair{4, 0x10000}, {5, 0x100}}) {
    Link link(Config(profile));
    const Bytes first = link.Send(Payload(8));
    ASSERT_EQ(link.Receive(first), CheckStatus::kOk);
    for (int count = 1; count < counters; ++count) {
      ASSERT_EQ(link.Receive(link.Send(Payload(8))), CheckStatus::kOk) << count;
    }
    EXPECT_EQ(link.Send(Payload(8)), first);
    EXPECT_EQ(link.Receive(first), CheckStatus::kOk);
    link.SendNth(counters - 2);
    EXPECT_EQ(link.Receive(link.Send(Payload(8))), CheckStatus::kWrongSequence);
    const CheckResult acrossZero = link.checker.Check(link.SendNth(2));
    EXPECT_EQ(acrossZero.status, CheckStatus::kOk);
    EXPECT_EQ(acrossZero.lost, 1U);
  }
}

TEST_P(E2eProfile, LengthsOutsideTheBoundsAreNeitherSentNorAccepted) {
  auto bounded = Config(GetParam(), 4);
  const auto headerBits = static_cast<std::uint32_t>(HeaderSize(GetParam()) * 8);
  bounded.minDataLength = headerBits + 41;  // six bytes
  bounded.maxDataLength = headerBits + 71;  // eight
  Link link(bounded);
  for (const std::size_t size : {0U, 5U, 9U}) {
    Bytes untouched = {1, 2, 3};
    const auto result = link.protector.Protect(Payload(size), untouched);
    ASSERT_FALSE(result.HasValue()) << size;
    EXPECT_EQ(result.Error().Value(), static_cast<std::int32_t>(ProtectError::kLength));
    EXPECT_EQ(untouched, (Bytes{1, 2, 3}));
  }
  Link unbounded(Config(GetParam(), 4));
  EXPECT_EQ(link.Receive(unbounded.Send(Payload(5))), CheckStatus::kError);
  EXPECT_EQ(link.Receive(unbounded.Send(Payload(9))), CheckStatus::kError);
  EXPECT_EQ(link.Receive(link.Send(Payload(6))), CheckStatus::kOk) << "what failed did not count";
  EXPECT_EQ(link.Receive(link.Send(Payload(8))), CheckStatus::kOk);

  Bytes sample;
  EXPECT_FALSE(unbounded.protector.Protect(Payload(3), sample).HasValue()) << "the header would begin behind its end";
  EXPECT_TRUE(unbounded.protector.Protect(Bytes(0xFFFF - HeaderSize(GetParam())), sample).HasValue());
  EXPECT_EQ(unbounded.protector.Protect(Bytes(0x10000 - HeaderSize(GetParam())), sample).HasValue(), GetParam() != 4);
}

TEST(E2e, FaultyConfigurationsProtectNothingAndPassNothing) {
  struct {
    maintaind::E2EConfigInfo config;
    std::uint32_t maintaind::E2EConfigInfo::*member = nullptr;
    std::uint32_t bad = 0;
    const char* word = nullptr;
  } const faults[] = {
      {Config(6), &maintaind::E2EConfigInfo::dataId, 1, "profile"},
      {Config(4), &maintaind::E2EConfigInfo::offset, 12, "offset"},
      {Config(4), &maintaind::E2EConfigInfo::offset, 0xFFFF * 8, "offset"},  // more than the length field can say
      {Config(5), &maintaind::E2EConfigInfo::dataId, 0x10000, "dataId"},
      {Config(7), &maintaind::E2EConfigInfo::maxDeltaCounter, 0, "maxDeltaCounter"},
      {Config(4), &maintaind::E2EConfigInfo::maxDataLength, 88, "maxDataLength"},      // less than the header
      {Config(7, 8), &maintaind::E2EConfigInfo::maxDataLength, 216, "maxDataLength"},  // less than offset and header
      {Config(4), &maintaind::E2EConfigInfo::minDataLength, 0x10000 * 8, "minDataLength"},
  };
  for (const auto& [valid, member, bad, word] : faults) {
    auto config = valid;
    config.*member = bad;
    ASSERT_TRUE(ConfigFault(config)) << word;
    EXPECT_NE(ConfigFault(config)->find(word), std::string::npos) << *ConfigFault(config);
    Link link(config);
    Bytes sample;
    const auto result = link.protector.Protect(Payload(30), sample);
    ASSERT_FALSE(result.HasValue());
    EXPECT_EQ(result.Error().Value(), static_cast<std::int32_t>(ProtectError::kConfiguration));
    EXPECT_EQ(link.Receive(Payload(30)), CheckStatus::kCheckDisabled);
    config.isProtected = false;
    EXPECT_FALSE(ConfigFault(config));
  }
  auto smallest = Config(7, 8);
  smallest.minDataLength = smallest.maxDataLength = 28 * 8;
  EXPECT_FALSE(ConfigFault(smallest)) << *ConfigFault(smallest);
  smallest.minDataLength += 8;
  EXPECT_TRUE(ConfigFault(smallest));
}

TEST(E2e, WithoutProtectionTheBytesPassAsTheyAre) {
  Link link({});
  EXPECT_EQ(link.checker.StatusWithoutData(), CheckStatus::kCheckDisabled);
  const Bytes sample = link.Send(Payload(5));
  EXPECT_EQ(sample, Payload(5));
  const CheckResult result = link.checker.Check(sample);
  EXPECT_EQ(result.status, CheckStatus::kCheckDisabled);
  EXPECT_TRUE(result.payload.data() == sample.data() && result.payload.size() == sample.size());
}

}  // namespace
}  // namespace qor::com::e2e
