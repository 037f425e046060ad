// SPDX-License-Identifier: Apache-2.0
// The parts of the recorder that need no running system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/common/name_pattern.h"
#include "src/qorbag/event_quota.h"
#include "src/qorbag/event_selection.h"
#include "src/qorbag/outgoing_queue.h"
#include "src/qorbag/qor_bag_reader.h"
#include "src/qorbag/qor_recorder.h"
#include "src/qorbag/recorded_definitions.h"
#include "src/qorbag/recorded_event.h"
#include "src/qorbag/recording_files.h"
#include "tests/support/scratch_folder.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

TEST(RecorderOptionsTest, EveryOptionHasItsLimitsAndEachFaultItsLine) {
  constexpr std::uint64_t kMebi = 1048576;
  using Change = std::function<void(RecorderOptions&)>;
  const std::vector<std::pair<Change, bool>> cases = {
      {[](auto&) {}, true},
      {[](auto& o) { o.chunkSize = 0; }, false},
      {[](auto& o) { o.limit = 65535; }, true},
      {[](auto& o) { o.limit = 65536; }, false},
      {[](auto& o) { o.limit = 10000000; }, true},
      {[](auto& o) { o.skipFrame = 65536; }, false},
      {[](auto& o) { o.compressionType = 3; }, false},
      {[](auto& o) { o.maxSize = 65535 * kMebi; }, true},
      {[](auto& o) { o.maxSize = 65535 * kMebi + 1; }, false},
      {[](auto& o) { o.maxSplits = 65536; }, false},
      {[](auto& o) { o.maxDuration = 65536; }, false},
      {[](auto& o) { o.minSpace = 0; }, false},
      {[](auto& o) { o.domainId = 63; }, true},
      {[](auto& o) { o.domainId = 64; }, false},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const log::LogCapture log;
    RecorderOptions options;
    cases[i].first(options);
    EXPECT_EQ(CheckTheRecorderOptions(options), cases[i].second) << i;
    EXPECT_EQ(log.Lines().size(), cases[i].second ? 0U : 1U) << i;
  }
  const log::LogCapture log;
  RecorderOptions options;
  options.maxSplits = 70000;
  options.minSpace = 0;
  options.all = true;
  EXPECT_FALSE(QorRecorder(options).Run());
  EXPECT_EQ(
      log.Count(LogLevel::kError, "QorRecorder RecorderOptions.maxSplits is error![RecorderOptions.duration=70000]"),
      1U);
  EXPECT_EQ(log.Count(LogLevel::kError, "QorRecorder the RecorderOptions is error!"), 1U);
  EXPECT_FALSE(QorRecorder(RecorderOptions{}).Run());
  EXPECT_EQ(log.Count(LogLevel::kWarn, "Recorder no event specified."), 1U);
}

TEST(EventQuotaTest, KeepsTheFirstOfEachFewAndNoMoreThanTheLimit) {
  EventQuota third(3, 0);
  std::string kept;
  for (int i = 1; i <= 9; ++i) {
    kept += third.CheckSkipFrame() ? std::to_string(i) : "";
    EXPECT_EQ(third.TakeOne(), EventQuota::Take::kTaken);
  }
  EXPECT_EQ(kept, "147");
  EXPECT_FALSE(third.IsExhausted());

  EventQuota two(0, 2);
  EXPECT_TRUE(two.CheckSkipFrame() && two.CheckSkipFrame());
  EXPECT_EQ(two.TakeOne(), EventQuota::Take::kTaken);
  EXPECT_FALSE(two.IsExhausted());
  EXPECT_EQ(two.TakeOne(), EventQuota::Take::kLast);
  EXPECT_EQ(two.TakeOne(), EventQuota::Take::kNone);
  EXPECT_TRUE(two.IsExhausted());
}

TEST(OutgoingQueueTest, TheOldestGoFirstAndEverySampleIsCounted) {
  const log::LogCapture log;
  OutgoingSource fast{"/fast", {}, {}};
  OutgoingSource slow{"/slow", {}, {}};
  int firstDrops = 0;
  OutgoingQueue queue(10, [&] { ++firstDrops; });
  QorBuffer next;
  const auto push = [&](OutgoingSource& source, std::uint64_t time, const std::string& payload) {
    QorBuffer bytes = std::move(next);
    bytes.SetSize(0);
    bytes.Append(std::string_view(payload));
    queue.Push({&source, time, std::move(bytes)}, next);
  };
  queue.SetStartTime(1);
  std::vector<OutgoingMessage> batch;
  const auto take = [&] {
    queue.Take(batch, std::chrono::milliseconds(0));
    std::vector<std::string> texts;
    texts.reserve(batch.size());
    for (const OutgoingMessage& message : batch) {
      texts.emplace_back(reinterpret_cast<const char*>(message.payload.GetData()), message.payload.GetSize());
    }
    return texts;
  };
  push(slow, 1, "slow");
  for (std::uint64_t i = 0; i < 5; ++i) {
    push(fast, 2 + i, "fast" + std::to_string(i));
  }
  queue.CountSkipped(slow);
  EXPECT_EQ(queue.GetWaiting().bytes, 10U);
  EXPECT_THAT(take(), ElementsAre("fast3", "fast4"));
  push(fast, 9000, "again");  // in memory that came back
  push(fast, 9001, std::string(11, 'x'));
  EXPECT_THAT(take(), IsEmpty()) << "more than there may ever be";
  push(slow, 9002, "last");
  EXPECT_THAT(take(), ElementsAre("last"));
  queue.GiveUp(batch, &SampleCounts::dropped);
  EXPECT_EQ(firstDrops, 1);
  EXPECT_EQ(log.Count(LogLevel::kWarn, "Recorder drop msg out of buffer."), 1U);
  EXPECT_EQ(log.Count(LogLevel::kWarn, "Recorder drop the oldest msg."), 1U) << "5 s later";
  const SampleCounts all = queue.GetCounts();
  EXPECT_EQ(all.received, 10U);
  EXPECT_EQ(all.dropped, 4U + 2U + 1U);
  EXPECT_EQ(all.skipped, 1U);
  EXPECT_EQ(queue.GetCounts(slow).received, 3U);
  EXPECT_EQ(queue.GetCounts(slow).dropped, 2U);
}

TEST(OutgoingQueueTest, ASampleThatIsTooLargeDoesNotDeafenTheWriter) {
  OutgoingSource source{"/event", {}, {}};
  OutgoingQueue queue(10, [] {});
  std::vector<OutgoingMessage> batch;
  std::thread writer([&] { queue.Take(batch, std::chrono::hours(1)); });
  const auto push = [&](std::size_t size) {
    QorBuffer bytes;
    bytes.SetSize(size);
    QorBuffer next;
    queue.Push({&source, 1, std::move(bytes)}, next);
  };
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  push(11);
  push(5);
  writer.join();
  ASSERT_EQ(batch.size(), 1U);
  EXPECT_EQ(batch.front().payload.GetSize(), 5U);
}

maintaind::EventInfoWithPubSub DdsRecord(const std::string& name, std::uint16_t domain, const std::string& ip) {
  maintaind::EventInfoWithPubSub record;
  record.eventName = name;
  auto& dds = record.bindings[DriverType::kDds].dds;
  dds.domainId = domain;
  dds.networkIp = ip;
  dds.topicName = name;
  return record;
}

TEST(EventSelectionTest, TakesWhatNamesPatternsAndFiltersAskFor) {
  auto door = DdsRecord("/car/door", 3, "127.0.0.1");
  door.bindings[DriverType::kSomeip].someip.instanceShortName = "left";
  const std::vector<maintaind::EventInfoWithPubSub> merged = {door, DdsRecord("/car/speed", 4, "127.0.0.1"),
                                                              DdsRecord("/radio", 4, "10.0.0.1")};
  const auto select = [&](const std::function<void(RecorderOptions&)>& change) {
    RecorderOptions options;
    change(options);
    std::vector<std::string> names;
    for (const auto& record : EventSelection(options).Select(merged)) {
      names.push_back(record.eventName + (record.bindings.contains(DriverType::kDds) ? "" : "+"));
    }
    return names;
  };
  EXPECT_THAT(select([](auto& o) { o.all = true; }), ElementsAre("/car/door", "/car/door+", "/car/speed", "/radio"));
  EXPECT_THAT(select([](auto& o) {
                o.all = true;
                o.excluded = {"/car/*"};
              }),
              ElementsAre("/radio"));
  EXPECT_THAT(select([](auto& o) {
                o.patterns = {"/car/s*"};
                o.events = {"/radio"};
              }),
              ElementsAre("/car/speed", "/radio"));
  EXPECT_THAT(select([](auto& o) { o.events = {"/car/door[left]"}; }), ElementsAre("/car/door", "/car/door+"));
  EXPECT_THAT(select([](auto& o) { o.events = {"/car/door[right]"}; }), IsEmpty());
  EXPECT_THAT(select([](auto& o) {
                o.all = true;
                o.domainId = 4;
              }),
              ElementsAre("/car/door+", "/car/speed", "/radio"));
  EXPECT_THAT(select([](auto& o) {
                o.all = true;
                o.networkIP = "10.0.0.1";
              }),
              ElementsAre("/radio"));
  EXPECT_THAT(select([](auto& o) {
                o.all = true;
                o.instanceShortName = "left";
              }),
              ElementsAre("/car/door+"));
}

TEST(RecordedEventTest, APlayerGetsBackWhatTheDaemonSaid) {
  auto record = DdsRecord("/image", 5, "10.0.0.1");
  record.dataTypeName = "Image";
  auto& dds = record.bindings[DriverType::kDds].dds;
  dds.qosProfile = "camera";
  dds.typeName = "img::Image_";
  dds.partition = "front,rear";
  dds.qos = {maintaind::DurabilityQos::kTransientLocal,
             {maintaind::HistoryKind::kKeepLast, 1},
             maintaind::ReliabilityKind::kBestEffort};
  dds.maxSampleSize = 2000000;
  const datatype::DefinitionTexts definitions = {
      {"Image", R"({"ShortName":"Image","Type":"STRUCTURE","Subelements":[{"Name":"size","Type":"Size"}]})"},
      {"Size", R"({"ShortName":"Size","Type":"VALUE","Primitive":"uint32"})"},
      {"Other", R"({"ShortName":"Other","Type":"VALUE","Primitive":"uint32"})"}};
  RecordedEvent event(record, std::make_shared<EventQuota>(0, 0));
  EXPECT_FALSE(event.IsDefined());
  EXPECT_TRUE(event.Define(definitions));
  const EventDescription description = *event.Description();
  const maintaind::EventRegisterInfo restored = RegistrationOf(description);
  EXPECT_EQ(restored.bindings, record.bindings);
  RecordedDefinitions texts;
  EXPECT_TRUE(texts.Add(description)) << texts.Fault();
  EXPECT_THAT(texts.Texts(), UnorderedElementsAre(testing::Key("Image"), testing::Key("Size")));

  EventDescription hostile;
  hostile.eventInfo.dds.qosProfile = "old;keep_last=x;keep_last=;=;;type";
  const auto plain = RegistrationOf(hostile).bindings.at(DriverType::kDds).dds;
  EXPECT_EQ(plain.qosProfile, "old");
  EXPECT_EQ(plain.qos, maintaind::QosInfo{});
}

class RecordingFilesTest : public ::testing::Test {
 protected:
  RecordingFilesTest() {
    options_.outputPath = folder_.Path() + "/";
    options_.name = "run.bag";
    options_.minSpace = 1;
    options_.chunkSize = 1;
    auto event = std::make_shared<EventDescription>();
    event->eventName = "/event";
    event_ = std::move(event);
  }

  /// One message of 100 bytes each 10 ms.
  bool Write(RecordingFiles& files, std::uint64_t begin, std::uint64_t end) {
    const std::vector<std::uint8_t> payload(100);
    for (std::uint64_t time = begin; time < end; time += 10) {
      if (!files.CheckSize() || !files.CheckDuration(time) || !files.WriteEventMsg(event_, time, payload)) {
        return false;
      }
    }
    return true;
  }

  /// Times of the messages of all bags, as they come.
  std::vector<std::uint64_t> Times() const {
    std::vector<std::uint64_t> times;
    const auto nameOf = [](std::uint32_t i) { return "run_" + std::to_string(i) + ".bag"; };
    for (std::uint32_t i = 0; folder_.Names().contains(nameOf(i)); ++i) {
      QorBagReader reader(folder_.File(nameOf(i)));
      EXPECT_TRUE(reader.Init());
      for (EventMsg msg; reader.ReadEventMsg(msg, 0);) {
        times.push_back(msg.time);
      }
    }
    return times;
  }

  const log::LogCapture log_;
  const test::ScratchFolder folder_;
  RecorderOptions options_;
  std::vector<RecorderType> reports_;
  const RecordingFiles::Report report_{[this](RecorderType type, const std::string&) { reports_.push_back(type); }};
  std::shared_ptr<const EventDescription> event_;
};

TEST_F(RecordingFilesTest, NamesAreMadeOfTheirParts) {
  const auto nameOf = [](const std::function<void(RecorderOptions&)>& change) {
    RecorderOptions options;
    options.outputPath = "/d/";
    change(options);
    std::tm noon{};
    noon.tm_year = 126;
    noon.tm_mday = 2;
    noon.tm_hour = 12;
    noon.tm_isdst = -1;
    return MakeRecordingNames(options, 7, std::mktime(&noon)).active;
  };
  EXPECT_EQ(nameOf([](auto& o) { o.name = "a.bag"; }), "/d/a.bag.active");
  EXPECT_EQ(nameOf([](auto& o) {
              o.prefix = "p";
              o.split = o.appendDate = true;
            }),
            "/d/p_2026-01-02-12-00-00_7.bag.active");
  EXPECT_EQ(nameOf([](auto& o) {
              o.prefix = "p";
              o.name = "n";
              o.split = true;
            }),
            "/d/n_7.bag.active");
  EXPECT_EQ(nameOf([](auto&) {}), "/d/.bag.active");
  EXPECT_EQ(log_.CountContaining("Recorder bag filename is empty"), 1U);
}

TEST_F(RecordingFilesTest, SplitsBySizeWithoutLosingAMessageAndKeepsTheNewest) {
  options_.split = true;
  options_.maxSize = 4096;
  RecordingFiles files(options_, report_);
  ASSERT_TRUE(files.StartWriting());
  EXPECT_TRUE(Write(files, 0, 20000));
  files.StopWriting();
  EXPECT_TRUE(files.IsWhole());
  const auto times = Times();
  ASSERT_EQ(times.size(), 2000U);
  for (std::size_t i = 0; i < times.size(); ++i) {
    ASSERT_EQ(times[i], i * 10);
  }
  EXPECT_GT(files.GetSplitIndex(), 50U);

  options_.name = "kept";
  options_.maxSplits = 3;
  RecordingFiles kept(options_, report_);
  ASSERT_TRUE(kept.StartWriting());
  EXPECT_TRUE(Write(kept, 0, 5000));
  kept.StopWriting();
  EXPECT_TRUE(kept.IsWhole());
  const std::uint32_t last = kept.GetSplitIndex();
  for (std::uint32_t i = 0; i <= last; ++i) {
    EXPECT_EQ(folder_.Names().contains("kept_" + std::to_string(i) + ".bag"), i + 3 > last) << i;
  }
}

TEST_F(RecordingFilesTest, TheSizeOfACompressedFileIsThatOfTheFile) {
  options_.split = true;
  options_.maxSize = 100'000;
  options_.compressionType = 2;
  options_.chunkSize = 1024;
  RecordingFiles files(options_, report_);
  ASSERT_TRUE(files.StartWriting());
  EXPECT_TRUE(Write(files, 0, 50000));
  files.StopWriting();
  EXPECT_EQ(files.GetSplitIndex(), 0U) << "what is gathered is three times as much";
  EXPECT_EQ(Times().size(), 5000U);
}

TEST_F(RecordingFilesTest, SplitsByDurationOnAFixedGrid) {
  options_.split = true;
  options_.maxDuration = 1;
  RecordingFiles files(options_, report_);
  ASSERT_TRUE(files.StartWriting());
  files.SetStartTime(0);
  EXPECT_TRUE(Write(files, 0, 1500));
  EXPECT_EQ(files.GetSplitIndex(), 1U);
  EXPECT_TRUE(files.CheckDuration(4100)) << "a pause";
  EXPECT_EQ(files.GetSplitIndex(), 4U) << "files begin at 0, 1, 2, 3 and 4 s, though nothing came";
  EXPECT_TRUE(Write(files, 4100, 4200));
  files.StopWriting();
  EXPECT_TRUE(files.IsWhole());
  EXPECT_EQ(Times().size(), 160U);
}

TEST_F(RecordingFilesTest, WithoutSplittingAFullFileEndsTheRecording) {
  options_.maxSize = 4096;
  RecordingFiles files(options_, report_);
  ASSERT_TRUE(files.StartWriting());
  EXPECT_FALSE(Write(files, 0, 20000));
  files.StopWriting();
  EXPECT_TRUE(files.IsWhole());
  EXPECT_THAT(folder_.Names(), ElementsAre("run.bag"));
  EXPECT_FALSE(RecordingFiles(options_, report_).StartWriting()) << "it would be overwritten";
  options_.outputPath += "missing/deeper/";
  EXPECT_FALSE(RecordingFiles(options_, report_).StartWriting());
  EXPECT_THAT(reports_, ElementsAre(RecorderType::kFileOpened, RecorderType::kSameName, RecorderType::kOpenFailed));
}

TEST_F(RecordingFilesTest, WhatSomebodyElseMadeMeanwhileStays) {
  options_.split = true;
  options_.maxSize = 4096;
  options_.maxSplits = 2;
  RecordingFiles files(options_, report_);
  ASSERT_TRUE(files.StartWriting());
  EXPECT_FALSE(RecordingFiles(options_, report_).StartWriting()) << "another recording has it";
  folder_.Write("run_0.bag", "not ours");
  folder_.Write("run_2.bag", "of an earlier recording");
  folder_.Write("run_3.bag.active", "of one that was killed");
  EXPECT_TRUE(Write(files, 0, 5000));
  files.StopWriting();
  EXPECT_FALSE(files.IsWhole());
  EXPECT_THAT(reports_, testing::Contains(RecorderType::kRenameFailed).Times(1));
  const std::uint32_t last = files.GetSplitIndex();
  ASSERT_GT(last, 7U);
  EXPECT_EQ(files.GetFileCount(), last + 1 - 2);
  EXPECT_THAT(folder_.Names(),
              ElementsAre("run_0.bag", "run_0.bag.active", "run_2.bag", "run_3.bag.active",
                          "run_" + std::to_string(last - 1) + ".bag", "run_" + std::to_string(last) + ".bag"));
}

TEST_F(RecordingFilesTest, AFullDiskIsReportedOnceAndTheFileIsClosed) {
  RecordingFiles files(options_, report_);
  ASSERT_TRUE(files.StartWriting());
  EXPECT_TRUE(files.CheckDisk());
  EXPECT_TRUE(Write(files, 0, 1000));
  options_.minSpace = UINT64_MAX / 4;
  EXPECT_FALSE(files.CheckDisk());
  EXPECT_FALSE(files.CheckDisk());
  EXPECT_FALSE(Write(files, 1000, 1010));
  files.StopWriting();
  EXPECT_TRUE(files.IsWhole());
  EXPECT_THAT(reports_, ElementsAre(RecorderType::kFileOpened, RecorderType::kDiskFull));
  EXPECT_THAT(folder_.Names(), ElementsAre("run.bag"));
}

}  // namespace
}  // namespace qor::qorbag
