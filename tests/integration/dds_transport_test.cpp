// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/dds_transport.h"

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/dds/discovery_watcher.h"
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
using test::Pattern;
using test::ReceivedSamples;
using test::WaitUntil;
using testing::ElementsAre;
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
  std::unique_ptr<EventReader> Reader(const EventInfo& event, com::RecvHandler handler,
                                      const com::ReaderOptions& options = {}) {
    auto reader = subscribing_.CreateReader(event, options, std::move(handler));
    EXPECT_TRUE(reader) << reader.Error().Message();
    return reader ? std::move(reader).Value() : nullptr;
  }
  std::unique_ptr<EventReader> Reader(const EventInfo& event, ReceivedSamples& samples) {
    return Reader(event, samples.Handler());
  }
  static void Match(const EventWriter& writer, std::size_t readers, const EventReader& reader) {
    ASSERT_TRUE(WaitUntil([&] { return writer.MatchedReaders() == readers && reader.MatchedWriters() == 1; }));
  }
  static void Send(EventWriter& writer, const Bytes& payload) {
    ASSERT_TRUE(writer.Write(payload));
    ASSERT_TRUE(writer.WaitForFlush(kFlushLimit));
  }

  ParticipantPool publishingPool_{"publisher"};
  ParticipantPool subscribingPool_{"subscriber"};
  DdsTransport publishing_{publishingPool_};
  DdsTransport subscribing_{subscribingPool_};
};

class DdsTransportKinds : public DdsTransportTest, public testing::WithParamInterface<std::vector<TransportQos>> {};

TEST_P(DdsTransportKinds, CarryPayloadsOfAnySizeUnchanged) {
  const EventInfo event = DdsEvent(GetParam());
  const auto writer = Writer(event);
  ReceivedSamples received;
  const auto reader = Reader(event, received);
  Match(*writer, 1, *reader);
  const auto before = std::chrono::system_clock::now().time_since_epoch();
  std::vector<Bytes> sent;
  for (const std::size_t size : {0U, 1U, 2U, 3U, 4U, 1000U, 65'495U, 65'536U, 2'097'152U, 2'097'149U, 5U}) {
    sent.push_back(Pattern(size, static_cast<std::uint32_t>(sent.size())));
    Send(*writer, sent.back());
  }
  ASSERT_TRUE(received.WaitForCount(sent.size()));
  EXPECT_TRUE(received.Payloads() == sent);
  std::uint64_t sequence = 0;
  for (const auto& sample : received.Samples()) {
    EXPECT_EQ(sample.sequenceNumber, ++sequence);
    EXPECT_EQ(sample.encapsulation, 0x0001);
    EXPECT_GE(sample.sourceTimestampNs + 1000, before / std::chrono::nanoseconds(1));
  }
  EXPECT_EQ(reader->LostSamples(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Dds, DdsTransportKinds,
                         testing::Values(std::vector<TransportQos>{}, std::vector{TransportQos::kUdp},
                                         std::vector{TransportQos::kShm},
                                         std::vector{TransportQos::kFshm, TransportQos::kDshm}));

TEST_F(DdsTransportTest, EndpointsAnnounceTheTransportsOfTheirEventOnly) {
  using Transports = std::vector<TransportQos>;
  std::mutex mutex;
  std::map<std::pair<std::string, bool>, Transports> announced;  // by topic and side
  const auto watcher =
      DiscoveryWatcher::Create(test::DomainOfThisProcess(), "",
                               {[&](const DiscoveredEndpoint& endpoint) {
                                  const std::lock_guard lock(mutex);
                                  announced[{endpoint.topicName, endpoint.isWriter}] = endpoint.transports;
                                },
                                [](const std::string&) {}, [](const std::string&) {}});
  ASSERT_TRUE(watcher) << watcher.Error().Message();
  const std::vector<std::pair<Transports, Transports>> cases = {
      {{}, {TransportQos::kUdp, TransportQos::kShm}},
      {{TransportQos::kUdp}, {TransportQos::kUdp}},
      {{TransportQos::kUdp, TransportQos::kIcc}, {TransportQos::kUdp}},
      {{TransportQos::kFshm}, {TransportQos::kShm}},
      {{TransportQos::kDshm, TransportQos::kUdp}, {TransportQos::kUdp, TransportQos::kShm}}};
  for (const auto& [wanted, expected] : cases) {
    const EventInfo event = DdsEvent(wanted);
    const auto writer = Writer(event);
    ReceivedSamples received;
    const auto reader = Reader(event, received);
    for (const bool isWriter : {true, false}) {
      const std::pair key(event.dds.topicName, isWriter);
      ASSERT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(mutex);
        return announced.contains(key);
      }));
      const std::lock_guard lock(mutex);
      EXPECT_THAT(announced[key], testing::UnorderedElementsAreArray(expected)) << event.dds.topicName << isWriter;
    }
  }
}

TEST_F(DdsTransportTest, ReportsWhatIsReallyUsed) {
  EventInfo event = DdsEvent({TransportQos::kIcc, TransportQos::kDshm, TransportQos::kUdp, TransportQos::kPcie});
  event.dds.networkIp = "127.0.5.5";
  const auto writer = Writer(event);
  const auto& used = writer->Used().dds;
  EXPECT_EQ(used.networkIp, "127.0.0.1");
  EXPECT_EQ(used.subnetMask, "255.0.0.0");
  EXPECT_THAT(used.transports, ElementsAre(TransportQos::kDshm, TransportQos::kUdp));
  EXPECT_THAT(used.participantGuid, testing::MatchesRegex("[0-9a-f]{24}"));
  EXPECT_EQ(used.topicName, event.dds.topicName);
  event.dds.topicName = test::UniqueName("topic");
  event.dds.transports = {};
  EXPECT_THAT(Writer(event)->Used().dds.transports, ElementsAre(TransportQos::kUdp, TransportQos::kShm));
}

TEST_F(DdsTransportTest, KeyedTopicsMatchKeyedReadersAndLoseNothing) {
  EventInfo event = DdsEvent();
  event.dds.isKeyed = true;
  event.dds.qos.history = {.kind = maintaind::HistoryKind::kKeepAll, .depth = 1};
  EventInfo unkeyed = event;
  unkeyed.dds.isKeyed = false;
  const auto writer = Writer(event);
  ReceivedSamples received;
  const auto reader = Reader(event, received);
  Match(*writer, 1, *reader);
  std::vector<Bytes> sent;
  for (std::uint32_t i = 0; i < 300; ++i) {
    sent.push_back(Pattern(i, i));
    ASSERT_TRUE(writer->Write(sent.back()));
  }
  ASSERT_TRUE(received.WaitForCount(sent.size()));
  EXPECT_TRUE(received.Payloads() == sent);

  const auto contradicting = subscribing_.CreateReader(unkeyed, {}, received.Handler());
  ASSERT_FALSE(contradicting);
  EXPECT_EQ(contradicting.Error().Value(), static_cast<int>(TransportError::kBadConfig));
  EXPECT_THAT(contradicting.Error().Message(), HasSubstr(event.dds.topicName));
  unkeyed.dds.topicName = test::UniqueName("topic");
  const auto sameType = subscribing_.CreateReader(unkeyed, {}, received.Handler());
  ASSERT_FALSE(sameType);
  EXPECT_EQ(sameType.Error().Value(), static_cast<int>(TransportError::kBadConfig));
  EXPECT_THAT(sameType.Error().Message(), HasSubstr(event.dds.typeName));
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
  for (const auto durability : {maintaind::DurabilityQos::kTransientLocal, maintaind::DurabilityQos::kVolatile}) {
    EventInfo event = DdsEvent();
    event.dds.qos.durability = durability;
    event.dds.qos.history.depth = 3;
    const auto writer = Writer(event);
    for (std::uint8_t i = 1; i <= 5; ++i) {
      ASSERT_TRUE(writer->Write(Bytes{i}));
    }
    ReceivedSamples received;
    const auto reader = Reader(event, received);
    Match(*writer, 1, *reader);
    std::vector<Bytes> expected;
    if (durability == maintaind::DurabilityQos::kTransientLocal) {
      expected = {{3}, {4}, {5}};
      ASSERT_TRUE(received.WaitForCount(3));
    }
    Send(*writer, Bytes{6});
    expected.push_back({6});
    ASSERT_TRUE(received.WaitForCount(expected.size()));
    EXPECT_EQ(received.Payloads(), expected);
  }
}

TEST_F(DdsTransportTest, MatchesByReliabilityAndPartition) {
  EventInfo reliable = DdsEvent();
  EventInfo bestEffort = reliable;
  bestEffort.dds.qos.reliability = maintaind::ReliabilityKind::kBestEffort;
  ReceivedSamples received;
  const auto bestEffortWriter = Writer(bestEffort);
  const auto reliableReader = Reader(reliable, received);  // asks for more than that writer offers
  const auto bestEffortReader = Reader(bestEffort, received);
  Match(*bestEffortWriter, 1, *bestEffortReader);
  EXPECT_EQ(reliableReader->MatchedWriters(), 0U);
  Send(*bestEffortWriter, Bytes{1});
  ASSERT_TRUE(received.WaitForCount(1));

  EventInfo left = DdsEvent();
  left.dds.partition = "left, both";
  EventInfo right = left;
  right.dds.partition = "right";
  EventInfo both = left;
  both.dds.partition = "both";
  ReceivedSamples inPartition;
  const auto leftWriter = Writer(left);
  const auto rightReader = Reader(right, inPartition);
  const auto bothReader = Reader(both, inPartition);
  Match(*leftWriter, 1, *bothReader);
  EXPECT_EQ(rightReader->MatchedWriters(), 0U);
}

TEST_F(DdsTransportTest, AReaderTakesEveryRepresentationAndSaysWhichItIs) {
  EventInfo event = DdsEvent();
  event.dds.dataRepresentation = maintaind::DataRepresentation::kXcdr2;
  EventInfo asked = event;
  asked.dds.dataRepresentation = maintaind::DataRepresentation::kXcdr1;
  const auto writer = Writer(event);
  ReceivedSamples received;
  const auto reader = Reader(asked, received);
  Match(*writer, 1, *reader);
  Send(*writer, Pattern(7));
  ASSERT_TRUE(received.WaitForCount(1));
  EXPECT_EQ(received.Samples()[0].payload, Pattern(7));
  EXPECT_EQ(received.Samples()[0].encapsulation, 0x0007);
}

TEST_F(DdsTransportTest, TheHandlerIsNotCalledAfterTheReaderIsGone) {
  const EventInfo event = DdsEvent();
  const auto writer = Writer(event);
  const auto keeper = Reader(DdsEvent(), [](const com::RecvBuffer&) {});  // the participant stays
  std::atomic<bool> mustStop{false};
  std::thread publishing([&] {
    const Bytes payload = Pattern(64);
    while (!mustStop) {
      EXPECT_TRUE(writer->Write(payload));
      std::this_thread::sleep_for(std::chrono::microseconds(50));  // Fast DDS pairs readers when no Write is under way
    }
  });
  for (int round = 0; round < 8; ++round) {
    std::atomic<bool> isGone{false};
    std::atomic<int> running{0};
    std::atomic<int> calls{0};
    auto reader = Reader(event, [&](const com::RecvBuffer&) {
      EXPECT_FALSE(isGone);
      EXPECT_EQ(running.fetch_add(1), 0) << "two threads at a time";
      ++calls;
      --running;
    });
    EXPECT_TRUE(WaitUntil([&] { return calls > 3; }));
    reader.reset();
    isGone = true;
    EXPECT_EQ(running, 0);
  }
  mustStop = true;
  publishing.join();
}

TEST_F(DdsTransportTest, MbufSamplesArriveInTheirParts) {
  EventInfo event = DdsEvent({TransportQos::kDshmMbuf});
  EventInfo plain = event;
  plain.dds.transports = {TransportQos::kDshm};  // a program that sends what is no mbuf sample
  const auto writer = Writer(event);
  ASSERT_TRUE(writer->IsMbuf());
  ReceivedSamples received;
  const auto reader = Reader(event, received);
  Match(*writer, 1, *reader);

  const Bytes privateData = Pattern(17, 1);
  const std::vector<Bytes> chain = {Pattern(100'000, 2), {}, Pattern(1, 3)};
  dp::MbufSample sample{privateData, {}};
  for (const Bytes& part : chain) {
    sample.chain.push_back({part.data(), static_cast<std::uint32_t>(part.size())});
  }
  Send(*writer, dp::EncodeMbufSample(sample));
  Send(*writer, dp::EncodeMbufSample({}));
  ASSERT_TRUE(received.WaitForCount(2));
  const auto got = received.Samples();
  EXPECT_EQ(got[0].privateData, privateData);
  EXPECT_TRUE(got[0].mbufs == chain);
  EXPECT_EQ(got[0].payload, dp::EncodeMbufSample(sample));
  EXPECT_THAT(got[1].privateData, IsEmpty());
  EXPECT_THAT(got[1].mbufs, IsEmpty());

  log::LogCapture capture;
  EXPECT_FALSE(writer->Write(Pattern(3))) << "that is no mbuf sample";
  EXPECT_EQ(capture.CountContaining("it is no mbuf sample"), 1U);
  const auto foreign = Writer(plain);
  EXPECT_FALSE(foreign->IsMbuf());
  ASSERT_TRUE(WaitUntil([&] { return reader->MatchedWriters() == 2; }));
  Send(*foreign, Pattern(3));
  Send(*foreign, dp::EncodeMbufSample({}));
  ASSERT_TRUE(received.WaitForCount(3));
  EXPECT_EQ(reader->LostSamples(), 1U);
}

TEST_F(DdsTransportTest, RefusesWhatItCannotDoWithTheReason) {
  const auto refused = [this](EventInfo event, TransportError error, const std::string& reason) {
    for (const bool isWriter : {true, false}) {
      std::string text;
      std::int32_t value = 0;
      if (isWriter) {
        const auto writer = publishing_.CreateWriter(event);
        ASSERT_FALSE(writer);
        text = writer.Error().Message();
        value = writer.Error().Value();
      } else {
        const auto reader = subscribing_.CreateReader(event, {}, [](const com::RecvBuffer&) {});
        ASSERT_FALSE(reader);
        text = reader.Error().Message();
        value = reader.Error().Value();
      }
      EXPECT_EQ(value, static_cast<std::int32_t>(error)) << text;
      EXPECT_THAT(text, HasSubstr(reason));
    }
  };
  refused(DdsEvent({TransportQos::kIcc}), TransportError::kNotSupported, "ICC");
  refused(DdsEvent({TransportQos::kPcie, TransportQos::kIcc}), TransportError::kNotSupported, "PCIE, ICC");
  EventInfo elsewhere = DdsEvent();
  elsewhere.dds.networkIp = "192.0.2.7";
  refused(elsewhere, TransportError::kNoNetwork, "'192.0.2.7'");
  elsewhere.dds.networkIp = "nonsense";
  refused(elsewhere, TransportError::kNoNetwork, "'nonsense'");
  EventInfo event = DdsEvent();
  event.dds.domainId = 233;
  refused(event, TransportError::kBadConfig, "233");
  event = DdsEvent();
  event.dds.topicName.clear();
  refused(event, TransportError::kBadConfig, event.dds.typeName);
  event = DdsEvent();
  event.dds.typeName = std::string(256, 't');
  refused(event, TransportError::kBadConfig, event.dds.topicName);
}

TEST_F(DdsTransportTest, RefusesSamplesAboveTheLimitOfTheEvent) {
  EventInfo event = DdsEvent();
  event.dds.maxSampleSize = 100;
  const auto writer = Writer(event);
  log::LogCapture capture;
  EXPECT_TRUE(writer->Write(Pattern(100)));
  EXPECT_EQ(capture.CountContaining("was not sent"), 0U);
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
    WaitUntil([&] { return mayGoOn.load(); });
    ++received;
  });
  Match(*writer, 1, *reader);
  log::LogCapture capture;
  std::size_t sent = 0;
  while (sent < 20'000 && writer->Write(Bytes{1})) {
    ++sent;
  }
  EXPECT_LT(sent, 20'000U);
  EXPECT_GE(sent, 5000U);
  EXPECT_GE(capture.CountContaining("its readers do not keep up"), 1U);
  mayGoOn = true;
  EXPECT_TRUE(WaitUntil([&] { return received == sent; })) << received << " of " << sent;
  EXPECT_TRUE(writer->WaitForFlush(kFlushLimit));
}

}  // namespace
}  // namespace qor::dds
