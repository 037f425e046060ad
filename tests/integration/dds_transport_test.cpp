// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/dds_transport.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>

#include "platform/dds/participant_pool.h"
#include "platform/log/log_capture.h"
#include "tests/support/received_samples.h"

namespace qor::dds {
namespace {

using com::EventReader;
using com::EventWriter;
using com::TransportError;
using maintaind::EventInfo;
using maintaind::TransportQos;
using test::Bytes;
using test::DdsEvent;
using test::Eventually;
using test::Pattern;
using test::ReceivedSamples;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::seconds kFlushLimit{30};

/// Two participants of one process, which are as far from each other as those of two processes: one publishes, the
/// other subscribes.
class DdsTransportTest : public testing::Test {
 protected:
  std::unique_ptr<EventWriter> Writer(const EventInfo& event) {
    auto writer = publishing_.CreateWriter(event);
    EXPECT_TRUE(writer) << writer.Error().Message();
    return writer ? std::move(writer).Value() : nullptr;
  }
  std::unique_ptr<EventReader> Reader(const EventInfo& event, com::RecvHandler handler) {
    auto reader = subscribing_.CreateReader(event, {}, std::move(handler));
    EXPECT_TRUE(reader) << reader.Error().Message();
    return reader ? std::move(reader).Value() : nullptr;
  }
  /// `writer_` and `reader_` match each other; what is sent gets into `received_`.
  void Connect(const EventInfo& written, const EventInfo& read) {
    writer_ = Writer(written);
    ConnectReader(read);
  }
  void ConnectReader(const EventInfo& event) {
    reader_ = Reader(event, received_.Handler());
    ASSERT_TRUE(Eventually([&] { return writer_->MatchedReaders() == 1 && reader_->MatchedWriters() == 1; }));
  }
  template <class Endpoint>
  static void ExpectRefusal(const Endpoint& endpoint, TransportError code, const std::string& reason) {
    ASSERT_FALSE(endpoint);
    EXPECT_EQ(endpoint.Error().Value(), static_cast<int>(code)) << endpoint.Error().Message();
    EXPECT_THAT(endpoint.Error().Message(), HasSubstr(reason));
  }
  static void Send(EventWriter& writer, const Bytes& payload) {
    ASSERT_TRUE(writer.Write(payload));
    ASSERT_TRUE(writer.WaitForFlush(kFlushLimit));
  }

  ParticipantPool publishingPool_{"publisher"};
  ParticipantPool subscribingPool_{"subscriber"};
  DdsTransport publishing_{publishingPool_};
  DdsTransport subscribing_{subscribingPool_};
  ReceivedSamples received_;
  std::unique_ptr<EventWriter> writer_;
  std::unique_ptr<EventReader> reader_;
};

class DdsTransportKinds : public DdsTransportTest, public testing::WithParamInterface<std::vector<TransportQos>> {};

TEST_P(DdsTransportKinds, CarryPayloadsOfAnySizeUnchanged) {
  const EventInfo event = DdsEvent(GetParam());
  Connect(event, event);
  const auto before = std::chrono::system_clock::now().time_since_epoch();
  std::vector<Bytes> sent;
  for (const std::size_t size : {0U, 1U, 2U, 3U, 4U, 1000U, 65'495U, 65'536U, 2'097'152U, 2'097'149U, 5U}) {
    sent.push_back(Pattern(size, static_cast<std::uint32_t>(sent.size())));
    Send(*writer_, sent.back());
  }
  ASSERT_TRUE(received_.WaitForCount(sent.size()));
  EXPECT_TRUE(received_.Payloads() == sent);
  std::uint64_t sequence = 0;
  for (const auto& sample : received_.Samples()) {
    EXPECT_EQ(sample.sequenceNumber, ++sequence);
    EXPECT_EQ(sample.encapsulation, 0x0001);
    EXPECT_GE(sample.sourceTimestampNs + 1000, before / std::chrono::nanoseconds(1));
  }
  EXPECT_EQ(reader_->LostSamples(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Dds, DdsTransportKinds,
                         testing::Values(std::vector<TransportQos>{}, std::vector{TransportQos::kUdp},
                                         std::vector{TransportQos::kShm},
                                         std::vector{TransportQos::kFshm, TransportQos::kDshm}));

TEST_F(DdsTransportTest, KeyedTopicsMatchKeyedReadersAndLoseNothing) {
  EventInfo event = DdsEvent();
  event.dds.isKeyed = true;
  event.dds.qos.history = {.kind = maintaind::HistoryKind::kKeepAll, .depth = 1};
  EventInfo unkeyed = event;
  unkeyed.dds.isKeyed = false;
  Connect(event, event);
  std::vector<Bytes> sent;
  for (std::uint32_t i = 0; i < 300; ++i) {
    sent.push_back(Pattern(i, i));
    ASSERT_TRUE(writer_->Write(sent.back()));
  }
  ASSERT_TRUE(received_.WaitForCount(sent.size()));
  EXPECT_TRUE(received_.Payloads() == sent);

  ExpectRefusal(subscribing_.CreateReader(unkeyed, {}, received_.Handler()), TransportError::kBadConfig,
                event.dds.topicName);
  unkeyed.dds.topicName = test::UniqueName("topic");
  ExpectRefusal(subscribing_.CreateReader(unkeyed, {}, received_.Handler()), TransportError::kBadConfig,
                event.dds.typeName);
}

TEST_F(DdsTransportTest, WhatTheHistoryOfAWriterReplacesIsLost) {
  EventInfo event = DdsEvent({TransportQos::kUdp});
  writer_ = Writer(event);
  std::promise<void> go;
  std::shared_future<void> isFree(go.get_future());
  std::atomic<std::uint64_t> received{0};
  std::atomic<std::uint64_t> last{0};
  reader_ = Reader(event, [&](const com::RecvBuffer& sample) {
    if (received++ != 0) {
      isFree.wait();
    }
    last = sample.sequenceNumber;
  });
  ASSERT_TRUE(Eventually([&] { return writer_->MatchedReaders() == 1 && reader_->MatchedWriters() == 1; }));
  Send(*writer_, Pattern(1));
  ASSERT_TRUE(Eventually([&] { return received == 1; }));
  constexpr std::uint64_t kSent = 1000;
  for (std::uint64_t i = 1; i < kSent; ++i) {
    ASSERT_TRUE(writer_->Write(Pattern(40'000)));  // more than the socket takes
  }
  go.set_value();
  ASSERT_TRUE(Eventually([&] { return last == kSent; }));
  EXPECT_GT(reader_->LostSamples(), 0U);
  EXPECT_EQ(received + reader_->LostSamples(), kSent);
}

TEST_F(DdsTransportTest, ATypeCanChangeWhenNobodyUsesItAnyMore) {
  EventInfo event = DdsEvent();
  const auto keeper = Writer(DdsEvent());  // the participant stays
  { const auto writer = Writer(event); }
  event.dds.isKeyed = true;
  { const auto writer = Writer(event); }
  event.dds.typeName = test::UniqueName("Other");
  const auto first = Writer(event);
  const auto second = Writer(event);
  EXPECT_EQ(first->Used().dds.participantGuid, keeper->Used().dds.participantGuid);
}

TEST_F(DdsTransportTest, LateReadersGetTheHistoryOfTransientLocalWritersOnly) {
  EventInfo event = DdsEvent();
  event.dds.qos.history.depth = 3;
  std::vector<Bytes> expected{{3}, {4}, {5}};
  for (const auto durability : {maintaind::DurabilityQos::kTransientLocal, maintaind::DurabilityQos::kVolatile}) {
    event.dds.topicName = test::UniqueName("topic");
    event.dds.qos.durability = durability;
    writer_ = Writer(event);
    for (std::uint8_t i = 1; i <= 5; ++i) {
      ASSERT_TRUE(writer_->Write(Bytes{i}));
    }
    ConnectReader(event);
    ASSERT_TRUE(received_.WaitForCount(expected.size()));
    Send(*writer_, Bytes{6});
    expected.push_back({6});
    ASSERT_TRUE(received_.WaitForCount(expected.size()));
    EXPECT_EQ(received_.Payloads(), expected);
  }
}

TEST_F(DdsTransportTest, MatchesByReliabilityAndPartition) {
  EventInfo reliable = DdsEvent();
  EventInfo bestEffort = reliable;
  bestEffort.dds.qos.reliability = maintaind::ReliabilityKind::kBestEffort;
  const auto reliableReader = Reader(reliable, received_.Handler());  // asks for more than the writer offers
  Connect(bestEffort, bestEffort);
  EXPECT_EQ(reliableReader->MatchedWriters(), 0U);
  Send(*writer_, Bytes{1});
  ASSERT_TRUE(received_.WaitForCount(1));

  EventInfo left = DdsEvent();
  left.dds.partition = "left, both";
  EventInfo right = left;
  right.dds.partition = "right";
  EventInfo both = left;
  both.dds.partition = "both";
  const auto rightReader = Reader(right, received_.Handler());
  Connect(left, both);
  EXPECT_EQ(rightReader->MatchedWriters(), 0U);
}

TEST_F(DdsTransportTest, AReaderTakesEveryRepresentationAndSaysWhichItIs) {
  EventInfo event = DdsEvent();
  event.dds.dataRepresentation = maintaind::DataRepresentation::kXcdr2;
  EventInfo asked = event;
  asked.dds.dataRepresentation = maintaind::DataRepresentation::kXcdr1;
  Connect(event, asked);
  Send(*writer_, Pattern(7));
  ASSERT_TRUE(received_.WaitForCount(1));
  EXPECT_EQ(received_.Samples()[0].payload, Pattern(7));
  EXPECT_EQ(received_.Samples()[0].encapsulation, 0x0007);
}

TEST_F(DdsTransportTest, TheHandlerIsNotCalledAfterTheReaderIsGone) {
  const EventInfo event = DdsEvent();
  const auto writer = Writer(event);
  const auto keeper = Reader(DdsEvent(), [](const com::RecvBuffer&) {});  // the participant stays
  std::atomic<bool> mustStop{false};
  std::thread publishing([&] {
    while (!mustStop) {
      EXPECT_TRUE(writer->Write(Bytes{1}));
      std::this_thread::sleep_for(std::chrono::microseconds(50));  // Fast DDS pairs readers when no Write is under way
    }
  });
  for (int round = 0; round < 8; ++round) {
    std::atomic<bool> isGone{false};
    std::atomic<int> calls{0};
    auto reader = Reader(event, [&](const com::RecvBuffer&) {
      EXPECT_FALSE(isGone);
      ++calls;
    });
    EXPECT_TRUE(Eventually([&] { return calls > 3; }));
    reader.reset();
    isGone = true;
  }
  mustStop = true;
  publishing.join();
}

TEST_F(DdsTransportTest, WhatIsNoMbufSampleIsNeitherSentNorReceived) {
  EventInfo event = DdsEvent({TransportQos::kDshmMbuf});
  EventInfo plain = event;
  plain.dds.transports = {TransportQos::kDshm};
  Connect(event, event);
  log::LogCapture capture;
  EXPECT_FALSE(writer_->Write(Pattern(3)));
  EXPECT_EQ(capture.CountContaining("it is no mbuf sample"), 1U);
  const auto foreign = Writer(plain);
  EXPECT_TRUE(writer_->IsMbuf() && !foreign->IsMbuf());
  ASSERT_TRUE(Eventually([&] { return reader_->MatchedWriters() == 2 && foreign->MatchedReaders() == 1; }));
  Send(*foreign, Pattern(3));
  Send(*foreign, dp::EncodeMbufSample({}));
  ASSERT_TRUE(received_.WaitForCount(1));
  EXPECT_THAT(received_.Samples()[0].mbufs, IsEmpty());
  EXPECT_EQ(reader_->LostSamples(), 1U);
}

TEST_F(DdsTransportTest, RefusesWhatItCannotDoWithTheReason) {
  using Change = std::function<void(maintaind::DDSEventInfo&)>;
  const std::string longName(256, 't');
  const std::tuple<Change, TransportError, const char*> cases[] = {
      {[](auto& dds) {
         dds.transports = {TransportQos::kPcie, TransportQos::kIcc};
       },
       TransportError::kNotSupported, "PCIE, ICC"},
      {[](auto& dds) { dds.networkIp = "203.0.113.7"; }, TransportError::kNoNetwork, "'203.0.113.7'"},
      {[](auto& dds) { dds.networkIp = "nonsense"; }, TransportError::kNoNetwork, "'nonsense'"},
      {[](auto& dds) { dds.domainId = 233; }, TransportError::kBadConfig, "233"},
      {[](auto& dds) { dds.topicName = ""; }, TransportError::kBadConfig, "Type_"},
      {[&](auto& dds) { dds.typeName = longName; }, TransportError::kBadConfig, "topic_"}};
  for (const auto& [change, code, reason] : cases) {
    EventInfo event = DdsEvent();
    change(event.dds);
    ExpectRefusal(publishing_.CreateWriter(event), code, reason);
    ExpectRefusal(subscribing_.CreateReader(event, {}, [](const com::RecvBuffer&) {}), code, reason);
  }
}

TEST_F(DdsTransportTest, RefusesSamplesAboveTheLimitOfTheEvent) {
  EventInfo event = DdsEvent();
  event.dds.maxSampleSize = 100;
  const auto writer = Writer(event);
  log::LogCapture capture;
  EXPECT_TRUE(writer->Write(Pattern(100)));
  EXPECT_FALSE(writer->Write(Pattern(101)));
  EXPECT_EQ(capture.CountContaining("101 bytes, 100 are allowed"), 1U);
}

TEST_F(DdsTransportTest, AWriterOfAKeepAllEventFailsWhenItsReadersStandStill) {
  EventInfo event = DdsEvent();
  event.dds.qos.history.kind = maintaind::HistoryKind::kKeepAll;
  const auto writer = Writer(event);
  std::atomic<bool> mayGoOn{false};
  std::atomic<std::size_t> received{0};
  const auto reader = Reader(event, [&](const com::RecvBuffer&) {
    Eventually([&] { return mayGoOn.load(); });
    ++received;
  });
  ASSERT_TRUE(Eventually([&] { return writer->MatchedReaders() == 1 && reader->MatchedWriters() == 1; }));
  log::LogCapture capture;
  std::size_t sent = 0;
  while (sent < 20'000 && writer->Write(Bytes{1})) {
    ++sent;
  }
  EXPECT_LT(sent, 20'000U);
  EXPECT_GE(sent, 5000U);
  EXPECT_GE(capture.CountContaining("its readers do not keep up"), 1U);
  mayGoOn = true;
  EXPECT_TRUE(Eventually([&] { return received == sent; })) << received << " of " << sent;
  EXPECT_TRUE(writer->WaitForFlush(kFlushLimit));
}

}  // namespace
}  // namespace qor::dds
