// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/stream_framer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/dp/mbuf.h"
#include "tests/support/raw_peer.h"

namespace qor::ipc {
namespace {

std::vector<std::uint8_t> Message(std::uint16_t method, const std::string& payload) {
  return test::RawPeer::RequestBytes(1, method, {payload.begin(), payload.end()});
}

class StreamFramerTest : public testing::Test {
 protected:
  bool Feed(std::span<const std::uint8_t> bytes) {
    return framer_.Feed(bytes, [this](const someip::MessageHeader& header, std::span<const std::uint8_t> payload) {
      EXPECT_FALSE(framer_.IsPaused());
      received_ += std::to_string(header.methodId) + ":" + std::string(payload.begin(), payload.end()) + ";";
      if (pauses_) {
        framer_.Pause();
      }
    });
  }

  someip::StreamFramer framer_{100};
  std::string received_;
  bool pauses_ = false;
};

TEST_F(StreamFramerTest, FindsMessagesHoweverTheStreamIsCutAndTheirTakerPauses) {
  std::vector<std::uint8_t> stream = Message(1, "first");
  for (const auto& message : {Message(2, ""), Message(3, std::string(100, 'x'))}) {
    stream.insert(stream.end(), message.begin(), message.end());
  }
  const std::string expected = "1:first;2:;3:" + std::string(100, 'x') + ";";
  for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
    received_.clear();
    pauses_ = piece % 2 == 0;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
      ASSERT_TRUE(Feed(std::span(stream).subspan(at, std::min(piece, stream.size() - at))));
      while (framer_.IsPaused()) {
        ASSERT_TRUE(Feed({}));
      }
    }
    ASSERT_EQ(received_, expected) << "pieces of " << piece;
    ASSERT_FALSE(framer_.IsInMessage());
  }
}

TEST_F(StreamFramerTest, RefusesOversizedImpossibleAndForeignStreamsFromTheHeaderAlone) {
  const auto oversized = Message(1, std::string(101, 'x'));
  EXPECT_FALSE(Feed(std::span(oversized).first(someip::kHeaderSize)));

  auto tooShort = Message(1, "");
  tooShort[7] = 7;
  framer_ = someip::StreamFramer(100);
  EXPECT_FALSE(Feed(tooShort));

  const std::string http = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";
  framer_ = someip::StreamFramer(1U << 31U);
  EXPECT_FALSE(Feed(std::span(reinterpret_cast<const std::uint8_t*>(http.data()), http.size())));
}

TEST(SomeipHeader, IsLaidOutAsTheProtocolSays) {
  someip::MessageHeader header;
  header.serviceId = 0x1234;
  header.methodId = 0x8001;
  header.length = 0x0A0B0C0D;
  header.clientId = 0x1122;
  header.sessionId = 0x3344;
  header.interfaceVersion = 7;
  header.type = someip::MessageType::kError;
  header.returnCode = someip::ReturnCode::kTimeout;
  const std::array<std::uint8_t, 16> expected{0x12, 0x34, 0x80, 0x01, 0x0A, 0x0B, 0x0C, 0x0D,
                                              0x11, 0x22, 0x33, 0x44, 1,    7,    0x81, 6};
  EXPECT_EQ(someip::EncodeHeader(header), expected);
  const auto decoded = someip::DecodeHeader(expected);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(someip::EncodeHeader(*decoded), expected);
  EXPECT_FALSE(someip::DecodeHeader(std::span(expected).first(15)));
}

TEST(MbufSample, ComesBackAndRefusesEveryCut) {
  const std::vector<std::uint8_t> head{1, 2, 3};
  const std::vector<std::uint8_t> first{4};
  const std::vector<std::uint8_t> bytes =
      dp::EncodeMbufSample({head, {{first.data(), 1}, {nullptr, 0}, {head.data(), 3}}});
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{3, 0, 0, 0, 1, 2, 3, 1, 0, 0, 0, 4, 0, 0, 0, 0, 3, 0, 0, 0, 1, 2, 3}));
  const auto decoded = dp::DecodeMbufSample(bytes);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(dp::EncodeMbufSample(*decoded), bytes);
  // A cut at the end of a buffer is a shorter chain; any other is an error.
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const bool isWhole = length == 7 || length == 12 || length == 16;
    EXPECT_EQ(dp::DecodeMbufSample(std::span(bytes).first(length)).has_value(), isWhole) << length;
  }
}

}  // namespace
}  // namespace qor::ipc
