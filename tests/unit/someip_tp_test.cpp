// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "platform/someip/message_reader.h"
#include "platform/someip/tp.h"
#include "platform/someip/tp_reassembler.h"
#include "tests/support/bytes.h"

namespace qor::someip {
namespace {

using test::Bytes;
using test::Counting;
using test::FromHex;
using test::Joined;
using namespace std::chrono_literals;

constexpr Endpoint kSource{kLoopbackAddress, 1000};

MessageHeader Header(std::uint16_t session, MessageType type = MessageType::kNotification) {
  MessageHeader header;
  header.serviceId = 0x1234;
  header.methodId = 0x8001;
  header.sessionId = session;
  header.interfaceVersion = 3;
  header.type = type;
  return header;
}

TEST(SomeipTp, SegmentsAreLaidOutAsTheProtocolSays) {
  const auto segment = [payload = Counting(40)](std::size_t index) {
    const TpSegment made = MakeSegment(Header(0x0102), payload, 16, index);
    return Joined(made.head, made.piece);
  };
  EXPECT_EQ(segment(1), FromHex("12348001 0000001c 00000102 01032200 00000011 101112131415161718191a1b1c1d1e1f"));
  EXPECT_EQ(segment(2), FromHex("12348001 00000014 00000102 01032200 00000020 2021222324252627"));
  // The offset's unit is 16 bytes, so that 28 bits reach to 4 GB.
  EXPECT_EQ(EncodeTpHeader({0xFFFFFFF0, true}), (std::array<std::uint8_t, 4>{0xFF, 0xFF, 0xFF, 0xF1}));
  const auto decoded = DecodeTpHeader(FromHex("0000057e"));  // reserved bits set
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->offset, 0x570U);
  EXPECT_FALSE(decoded->hasMore);
  EXPECT_FALSE(DecodeTpHeader(FromHex("000000")));
}

TEST(SomeipTp, AWholePayloadOfSegmentsHasNoEmptyLastOne) {
  EXPECT_EQ(SegmentCount(0, 1392), 1U);
  EXPECT_EQ(SegmentCount(1392, 1392), 1U);
  EXPECT_EQ(SegmentCount(1393, 1392), 2U);
  for (const std::size_t bad : {0U, 1400U, 1408U, 100U}) {
    EXPECT_NE(TpSettings{.maxSegmentLength = bad}.Check(), "") << bad;
  }
  EXPECT_NE(TpSettings{.burstLength = 0}.Check(), "");
  EXPECT_EQ(TpSettings{}.Check(), "");
}

/// Segments of messages of counting bytes, as texts: "1:16+32>" are the 32 bytes from 16 on of session 1's message, and
/// more follow.
class TpReassemblerTest : public testing::Test {
 protected:
  void Take(const std::string& segments, const Endpoint& source = kSource) {
    std::istringstream words(segments);
    for (std::string word; words >> word;) {
      unsigned session = 0;
      unsigned offset = 0;
      unsigned length = 0;
      ASSERT_EQ(std::sscanf(word.c_str(), "%u:%u+%u", &session, &offset, &length), 3) << word;
      const auto tp = EncodeTpHeader({offset, word.back() == '>'});
      TakeRaw(static_cast<std::uint16_t>(session), Joined(tp, Counting(length, static_cast<std::uint8_t>(offset))),
              source);
    }
  }
  void TakeRaw(std::uint16_t session, const Bytes& segment, const Endpoint& source = kSource) {
    MessageHeader header = Header(session, static_cast<MessageType>(0x22));
    header.SetPayloadSize(segment.size());
    if (const auto whole = reassembler_.Take(source, header, segment, now_)) {
      EXPECT_EQ(whole->header.type, MessageType::kNotification);
      EXPECT_EQ(whole->header.PayloadSize(), whole->payload.size());
      EXPECT_EQ(Bytes(whole->payload.begin(), whole->payload.end()), Counting(whole->payload.size()));
      done_ += std::to_string(whole->header.sessionId) + ":" + std::to_string(whole->payload.size()) + " ";
    }
    EXPECT_LE(reassembler_.HeldBytes(), kMaxTotal);
  }
  /// What became whole, and how many were lost, since the last call.
  std::string Outcome() {
    const std::uint64_t dropped = reassembler_.Dropped();
    return std::exchange(done_, "") + "lost " + std::to_string(dropped - std::exchange(dropped_, dropped));
  }

  static constexpr std::size_t kMaxTotal = 100U << 10U;
  TpReassembler reassembler_{{.maxMessageSize = 40U << 10U, .maxTotal = kMaxTotal, .maxMessages = 4, .timeout = 5s}};
  TpReassembler::TimePoint now_{1h};
  std::string done_;
  std::uint64_t dropped_ = 0;
};

TEST_F(TpReassemblerTest, CountsEachLostMessageOnceAndLetsRepetitionsPass) {
  struct {
    const char* segments;
    const char* outcome;
    const char* what;
  } const cases[] = {
      {"1:0+5 2:0+0", "1:5 2:0 lost 0", "single segments"},
      {"3:0+16> 3:32+16> 3:16+16> 3:48+3", "lost 1", "a gap, and what comes too late"},
      {"4:16+16> 4:32+16", "lost 1", "the first is missing"},
      {"5:0+16> 6:0+16> 6:16+1", "6:17 lost 1", "the last of the one before is missing"},
      {"7:0+16> 8:16+16", "lost 2", "the end of one, the beginning of the other"},
      {"9:0+32> 9:16+32", "lost 1", "an overlap"},
      {"10:0+16> 10:0+16> 10:16+16> 10:16+16> 10:32+4 10:32+4", "10:36 lost 0", "repetitions"},
      {"11:0+16> 11:16+16> 11:0+16> 11:16+1", "11:17 lost 1", "the sender has started again"},
      {"0:0+16> 0:16+16> 0:16+16> 0:32+16", "lost 1", "without session ids, pieces of two could mix"},
      {"12:0+15> 13:0+0>", "lost 2", "no multiple of 16"},
      {"14:0+16> 14:16+17> 14:16+16", "lost 1", "a bad one spoils what has begun"},
      {"15:0+41984 16:0+40960> 16:40960+1", "lost 2", "too large"},
      {"17:0+32768> 17:32768+8192", "17:40960 lost 0", "the largest"},
  };
  for (const auto& [segments, outcome, what] : cases) {
    Take(segments);
    EXPECT_EQ(Outcome(), outcome) << what;
  }
  TakeRaw(18, {0, 0, 0});
  EXPECT_EQ(Outcome(), "lost 1");
}

TEST_F(TpReassemblerTest, PutsSegmentsOfSeveralSourcesTogether) {
  const Endpoint other{kLoopbackAddress, 1001};
  Take("1:0+1392>");
  Take("1:0+16>", other);
  Take("1:1392+1392>");
  Take("1:16+1", other);
  Take("1:2784+7");
  EXPECT_EQ(Outcome(), "1:17 1:2791 lost 0");
}

TEST_F(TpReassemblerTest, DropsWhatIsNotWholeInTime) {
  Take("1:0+16>");
  now_ += 5s - 1ms;
  Take("1:16+16>");
  EXPECT_EQ(Outcome(), "lost 0");
  now_ += 1ms;
  Take("1:32+16");
  EXPECT_EQ(Outcome(), "lost 2");  // what was there, and what seems to come without a beginning
  Take("2:0+16>");
  now_ += 5s;
  reassembler_.Expire(now_);
  EXPECT_EQ(Outcome(), "lost 1");
  EXPECT_EQ(reassembler_.HeldBytes(), 0U);
}

TEST_F(TpReassemblerTest, AFloodOfBeginningsTakesBoundedMemoryAndTheOldestGivesWay) {
  const Endpoint victim{kLoopbackAddress, 1};
  Take("1:0+16>", victim);
  for (std::uint16_t port = 2; port < 500; ++port) {
    Take("1:0+39936>", {kLoopbackAddress, port});
  }
  // Of 100 KB, a message of 39 KB and its successor fit at a time.
  Take("1:39936+1", {kLoopbackAddress, 499});
  EXPECT_EQ(Outcome(), "1:39937 lost " + std::to_string(reassembler_.Dropped()));
  EXPECT_GE(reassembler_.Dropped(), 496U);
  // Segments without a beginning push nothing out.
  Take("1:0+16>", victim);
  for (std::uint16_t port = 600; port < 700; ++port) {
    Take("1:16+16>", {kLoopbackAddress, port});
  }
  Take("1:16+1", victim);
  EXPECT_EQ(Outcome(), "1:17 lost 100");
}

/// Reads datagrams as a client of service 1; what is delivered is noted.
class MessageReaderTest : public testing::Test {
 public:
  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> /*payload*/, const Endpoint& /*source*/) {
    return header.serviceId == 1;
  }
  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& /*source*/) {
    seen_ += std::to_string(header.methodId) + ":" + std::to_string(payload.size()) + " ";
  }

 protected:
  static Bytes Message(std::uint16_t service, std::uint16_t method, std::size_t size) {
    MessageHeader header;
    header.serviceId = service;
    header.methodId = method;
    header.SetPayloadSize(size);
    return Joined(EncodeHeader(header), Bytes(size));
  }
  std::string Read(std::span<const std::uint8_t> datagram) {
    reader_.Read(datagram, kSource, TpReassembler::TimePoint{}, *this);
    return std::exchange(seen_, "");
  }

  MessageReader reader_{{}};
  std::string seen_;
};

TEST_F(MessageReaderTest, FindsAllMessagesOfADatagramWithoutCookiesAndForeignOnes) {
  Bytes datagram;
  for (const Bytes& message : {Message(1, 10, 0), Message(0xFFFF, 0, 0), Message(2, 11, 4), Message(0xFFFF, 0x8000, 0),
                               Message(1, 12, 1400)}) {
    datagram = Joined(datagram, message);
  }
  EXPECT_EQ(Read(datagram), "10:0 12:1400 ");
  EXPECT_EQ(reader_.Malformed(), 0U);
}

TEST_F(MessageReaderTest, CountsWhatIsCutShortAndKeepsWhatCameBefore) {
  const Bytes two = Joined(Message(1, 10, 3), Message(1, 11, 5));
  for (std::size_t length = 0; length < two.size(); ++length) {
    const std::uint64_t before = reader_.Malformed();
    EXPECT_EQ(Read(std::span(two).first(length)), length < 19 ? "" : "10:3 ") << length;
    EXPECT_EQ(reader_.Malformed() - before, length == 19 ? 0U : 1U) << length;
  }
  Bytes message = Message(1, 10, 0);
  message[7] = 7;  // less than the header that follows the length
  EXPECT_EQ(Read(message), "");
}

}  // namespace
}  // namespace qor::someip
