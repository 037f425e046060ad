// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "platform/someip/message_reader.h"
#include "platform/someip/tp.h"
#include "platform/someip/tp_reassembler.h"

namespace qor::someip {
namespace {

using Bytes = std::vector<std::uint8_t>;
using namespace std::chrono_literals;

constexpr Endpoint kSource{kLoopbackAddress, 1000};

Bytes Counting(std::size_t size) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

MessageHeader Header(std::uint16_t session) {
  MessageHeader header;
  header.serviceId = 0x1234;
  header.methodId = 0x8001;
  header.sessionId = session;
  header.interfaceVersion = 3;
  header.type = MessageType::kNotification;
  return header;
}

Bytes Join(const TpSegment& segment) {
  Bytes bytes(segment.head.begin(), segment.head.end());
  bytes.insert(bytes.end(), segment.piece.begin(), segment.piece.end());
  return bytes;
}

TEST(SomeipTp, SegmentsAreLaidOutAsTheProtocolSays) {
  const Bytes payload = Counting(40);
  ASSERT_EQ(SegmentCount(payload.size(), 16), 3U);
  MessageHeader header = Header(0x0102);
  const Bytes second{0x12, 0x34, 0x80, 0x01, 0,  0,  0,  28, 0,  0,  0x01, 0x02, 1,  3,  0x22, 0,  0,  0,
                     0,    0x11, 16,   17,   18, 19, 20, 21, 22, 23, 24,   25,   26, 27, 28,   29, 30, 31};
  EXPECT_EQ(Join(MakeSegment(header, payload, 16, 1)), second);
  const Bytes last{0x12, 0x34, 0x80, 0x01, 0, 0,    0,  20, 0,  0,  0x01, 0x02, 1,  3,
                   0x22, 0,    0,    0,    0, 0x20, 32, 33, 34, 35, 36,   37,   38, 39};
  EXPECT_EQ(Join(MakeSegment(header, payload, 16, 2)), last);
  // The offset's unit is 16 bytes, so that 28 bits reach to 4 GB.
  EXPECT_EQ(EncodeTpHeader({0xFFFFFFF0, true}), (std::array<std::uint8_t, 4>{0xFF, 0xFF, 0xFF, 0xF1}));
  const auto decoded = DecodeTpHeader(std::array<std::uint8_t, 4>{0, 0, 0x05, 0x7E});  // reserved bits set
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->offset, 0x570U);
  EXPECT_FALSE(decoded->hasMore);
  EXPECT_FALSE(DecodeTpHeader(std::array<std::uint8_t, 3>{}));
}

TEST(SomeipTp, AWholePayloadOfSegmentsHasNoEmptyLastOne) {
  EXPECT_EQ(SegmentCount(0, 1392), 1U);
  EXPECT_EQ(SegmentCount(1392, 1392), 1U);
  EXPECT_EQ(SegmentCount(1393, 1392), 2U);
  EXPECT_EQ(SegmentCount(2784, 1392), 2U);
  for (const std::size_t bad : {std::size_t{0}, std::size_t{1400}, std::size_t{1408}, std::size_t{100}}) {
    EXPECT_NE(TpSettings{.maxSegmentLength = bad}.Check(), "") << bad;
  }
  EXPECT_NE(TpSettings{.burstLength = 0}.Check(), "");
  EXPECT_EQ(TpSettings{}.Check(), "");
}

class TpReassemblerTest : public testing::Test {
 protected:
  /// Takes a segment of `length` bytes at `offset` of a message of counting bytes. What became whole is noted.
  void Take(std::uint16_t session, std::uint32_t offset, std::size_t length, bool hasMore,
            const Endpoint& source = kSource) {
    Bytes segment(kTpHeaderSize + length);
    const auto tp = EncodeTpHeader({offset, hasMore});
    std::copy(tp.begin(), tp.end(), segment.begin());
    std::iota(segment.begin() + kTpHeaderSize, segment.end(), static_cast<std::uint8_t>(offset));
    TakeRaw(session, segment, source);
  }
  void TakeRaw(std::uint16_t session, const Bytes& segment, const Endpoint& source = kSource) {
    MessageHeader header = Header(session);
    header.type = static_cast<MessageType>(0x22);
    header.SetPayloadSize(segment.size());
    const auto whole = reassembler_.Take(source, header, segment, now_);
    if (whole) {
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
    std::string outcome =
        std::exchange(done_, "") + "lost " + std::to_string(dropped - std::exchange(dropped_, dropped));
    return outcome;
  }

  static constexpr std::size_t kMaxTotal = 100U << 10U;
  TpReassembler reassembler_{{.maxMessageSize = 40U << 10U, .maxTotal = kMaxTotal, .maxMessages = 4, .timeout = 5s}};
  TpReassembler::TimePoint now_{1h};
  std::string done_;
  std::uint64_t dropped_ = 0;
};

TEST_F(TpReassemblerTest, PutsSegmentsOfSeveralSourcesTogether) {
  const Endpoint other{kLoopbackAddress, 1001};
  Take(1, 0, 1392, true);
  Take(1, 0, 16, true, other);
  Take(1, 1392, 1392, true);
  Take(1, 16, 1, false, other);
  Take(1, 2784, 7, false);
  EXPECT_EQ(Outcome(), "1:17 1:2791 lost 0");
  Take(2, 0, 5, false);  // a single segment
  Take(3, 0, 0, false);
  EXPECT_EQ(Outcome(), "2:5 3:0 lost 0");
}

TEST_F(TpReassemblerTest, CountsEachLostMessageOnceWhateverIsMissing) {
  Take(1, 0, 16, true);
  Take(1, 32, 16, true);  // a gap
  Take(1, 16, 16, true);  // too late
  Take(1, 48, 3, false);
  EXPECT_EQ(Outcome(), "lost 1");
  Take(2, 16, 16, true);  // the first is missing
  Take(2, 32, 16, false);
  EXPECT_EQ(Outcome(), "lost 1");
  Take(3, 0, 16, true);
  Take(4, 0, 16, true);  // the last of the one before is missing
  Take(4, 16, 1, false);
  EXPECT_EQ(Outcome(), "4:17 lost 1");
  Take(5, 0, 16, true);
  Take(6, 16, 16, false);  // the end of one, the beginning of the other
  EXPECT_EQ(Outcome(), "lost 2");
  Take(7, 0, 32, true);
  Take(7, 16, 32, false);  // an overlap
  EXPECT_EQ(Outcome(), "lost 1");
}

TEST_F(TpReassemblerTest, LetsRepetitionsPass) {
  Take(1, 0, 16, true);
  Take(1, 0, 16, true);
  Take(1, 16, 16, true);
  Take(1, 16, 16, true);
  Take(1, 32, 4, false);
  Take(1, 32, 4, false);
  EXPECT_EQ(Outcome(), "1:36 lost 0");
}

TEST_F(TpReassemblerTest, BeginsAnewWithTheSameSession) {
  Take(1, 0, 16, true);
  Take(1, 16, 16, true);
  Take(1, 0, 16, true);  // the sender has started again
  Take(1, 16, 1, false);
  EXPECT_EQ(Outcome(), "1:17 lost 1");
  Take(0, 0, 16, true);  // no session ids: pieces of two messages must not mix
  Take(0, 16, 16, true);
  Take(0, 16, 16, true);
  Take(0, 32, 16, false);
  EXPECT_EQ(Outcome(), "lost 1");
}

TEST_F(TpReassemblerTest, DropsWhatIsNotWholeInTime) {
  Take(1, 0, 16, true);
  now_ += 5s - 1ms;
  Take(1, 16, 16, true);
  EXPECT_EQ(Outcome(), "lost 0");
  now_ += 1ms;
  Take(1, 32, 16, false);
  EXPECT_EQ(Outcome(), "lost 2");  // what was there, and what seems to come without a beginning
  Take(2, 0, 16, true);
  now_ += 5s;
  reassembler_.Expire(now_);
  EXPECT_EQ(Outcome(), "lost 1");
  EXPECT_EQ(reassembler_.HeldBytes(), 0U);
}

TEST_F(TpReassemblerTest, RefusesSegmentsThatCannotBe) {
  TakeRaw(1, {0, 0, 0});
  Take(2, 0, 15, true);
  Take(3, 0, 0, true);
  EXPECT_EQ(Outcome(), "lost 3");
  Take(4, 0, 16, true);
  Take(4, 16, 17, true);  // spoils what has begun
  Take(4, 16, 16, false);
  EXPECT_EQ(Outcome(), "lost 1");
  Take(5, 0, 41U << 10U, false);
  Take(6, 0, 40U << 10U, true);
  Take(6, 40U << 10U, 1, false);
  EXPECT_EQ(Outcome(), "lost 2");
  Take(7, 0, 32U << 10U, true);
  Take(7, 32U << 10U, 8U << 10U, false);
  EXPECT_EQ(Outcome(), "7:40960 lost 0");
}

TEST_F(TpReassemblerTest, AFloodOfBeginningsTakesBoundedMemoryAndTheOldestGivesWay) {
  const Endpoint victim{kLoopbackAddress, 1};
  Take(1, 0, 16, true, victim);
  for (std::uint16_t port = 2; port < 500; ++port) {
    Take(1, 0, 39U << 10U, true, {kLoopbackAddress, port});
  }
  // Of 100 KB, a message of 39 KB and its successor fit at a time.
  Take(1, 39U << 10U, 1, false, {kLoopbackAddress, 499});
  EXPECT_EQ(Outcome(), "1:39937 lost " + std::to_string(reassembler_.Dropped()));
  EXPECT_GE(reassembler_.Dropped(), 496U);
  // Segments without a beginning push nothing out.
  Take(1, 0, 16, true, victim);
  for (std::uint16_t port = 600; port < 700; ++port) {
    Take(1, 16, 16, true, {kLoopbackAddress, port});
  }
  Take(1, 16, 1, false, victim);
  EXPECT_EQ(Outcome(), "1:17 lost 100");
}

/// Takes messages of service 1 and notes what is delivered.
struct Visitor {
  bool Accept(const MessageHeader& header, std::span<const std::uint8_t> /*payload*/, const Endpoint& /*source*/) {
    return header.serviceId == 1;
  }
  void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, const Endpoint& /*source*/) {
    seen += std::to_string(header.methodId) + ":" + std::to_string(payload.size()) + " ";
  }
  std::string seen;
};

class MessageReaderTest : public testing::Test {
 protected:
  static Bytes Message(std::uint16_t service, std::uint16_t method, std::size_t size) {
    MessageHeader header;
    header.serviceId = service;
    header.methodId = method;
    header.SetPayloadSize(size);
    const auto head = EncodeHeader(header);
    Bytes bytes(head.begin(), head.end());
    bytes.resize(head.size() + size);
    return bytes;
  }
  std::string Read(std::initializer_list<Bytes> messages) {
    Bytes datagram;
    for (const Bytes& message : messages) {
      datagram.insert(datagram.end(), message.begin(), message.end());
    }
    return ReadRaw(datagram);
  }
  std::string ReadRaw(std::span<const std::uint8_t> datagram) {
    visitor_.seen.clear();
    reader_.Read(datagram, kSource, TpReassembler::TimePoint{}, visitor_);
    return visitor_.seen;
  }

  Visitor visitor_;
  MessageReader reader_{{}};
};

TEST_F(MessageReaderTest, FindsAllMessagesOfADatagramWithoutCookiesAndForeignOnes) {
  EXPECT_EQ(Read({Message(1, 10, 0), Message(0xFFFF, 0, 0), Message(2, 11, 4), Message(0xFFFF, 0x8000, 0),
                  Message(1, 12, 1400)}),
            "10:0 12:1400 ");
  EXPECT_EQ(reader_.Malformed(), 0U);
}

TEST_F(MessageReaderTest, CountsWhatIsCutShortAndKeepsWhatCameBefore) {
  Bytes two = Message(1, 10, 3);
  const Bytes second = Message(1, 11, 5);
  two.insert(two.end(), second.begin(), second.end());
  for (std::size_t length = 0; length < two.size(); ++length) {
    const std::uint64_t before = reader_.Malformed();
    EXPECT_EQ(ReadRaw(std::span(two).first(length)), length < 19 ? "" : "10:3 ") << length;
    EXPECT_EQ(reader_.Malformed() - before, length == 19 ? 0U : 1U) << length;
  }
  for (const std::uint8_t tooShort : {std::uint8_t{0}, std::uint8_t{7}}) {
    Bytes message = Message(1, 10, 0);
    message[7] = tooShort;
    EXPECT_EQ(Read({message}), "");
  }
}

}  // namespace
}  // namespace qor::someip
