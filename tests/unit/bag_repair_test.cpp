// SPDX-License-Identifier: Apache-2.0
// What is done with whole bags without a running system: repair, extraction, check, reading by event.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/qorbag/bag_check.h"
#include "src/qorbag/bag_timeline.h"
#include "src/qorbag/qor_bag_extractor.h"
#include "src/qorbag/qor_bag_fix.h"
#include "src/qorbag/qor_bag_reader.h"
#include "tests/support/bytes_input.h"
#include "tests/support/scratch_folder.h"

namespace qor::qorbag {
namespace {

using test::Bytes;
using test::BytesInput;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Time, event and payload of a message.
using Seen = std::tuple<std::uint64_t, std::string, std::string>;

class BagRepairTest : public ::testing::Test {
 protected:
  static constexpr std::uint64_t kBegin = 1700000000000;

  std::string Path(const std::string& name) const { return folder_.File(name); }

  static EventMsg Event(const std::string& name, std::uint16_t domain = 0) {
    auto event = std::make_shared<EventDescription>();
    event->eventName = name;
    event->eventInfo.dds.domainId = domain;
    return EventMsg{event};
  }

  /// A message each 10 ms, of /a and of /b by turns, from the third chunk on of /c too. One that is not closed loses
  /// its last chunk.
  void MakeBag(const std::string& name, FileCompressionType compression, bool isClosed, int count = 300) const {
    const std::vector<EventMsg> events = [] {
      std::vector<EventMsg> made;
      made.push_back(Event("/a"));
      made.push_back(Event("/b", 7));
      made.push_back(Event("/c"));
      return made;
    }();
    std::filesystem::remove(Path(name));
    QorBagFile bag;
    bag.SetCompressionType(compression);
    bag.SetMaxChunkSize(2);
    ASSERT_EQ(bag.OpenWrite(Path(name), folder_.Path(), Path(name)), QorBagFile::kOk);
    for (int i = 0; i < count; ++i) {
      const std::string payload = "message " + std::to_string(i);
      const auto event = static_cast<std::size_t>(i % (i > count / 3 ? 3 : 2));
      ASSERT_EQ(
          bag.Write(events[event], kBegin + static_cast<std::uint64_t>(i) * 10,
                    reinterpret_cast<const std::uint8_t*>(payload.data()), static_cast<std::uint32_t>(payload.size())),
          QorBagFile::kOk);
    }
    if (isClosed) {
      ASSERT_EQ(bag.CloseWrite(), QorBagFile::kOk);
    }
  }

  /// All that can be read of a bag.
  static std::vector<Seen> Walk(QorBagFile& bag) {
    QorView view;
    view.AddQuery(bag, 0, UINT64_MAX);
    std::vector<Seen> seen;
    QorBuffer buffer;
    for (auto at = view.Begin(); !at.IsEnd(); at.Increase()) {
      if (at.Value().WriteMsg(buffer, 0) == QorBagFile::kOk) {
        seen.emplace_back(at.Value().GetTime(), at.Value().GetEvent(),
                          std::string(reinterpret_cast<const char*>(buffer.GetData()), buffer.GetSize()));
      }
    }
    return seen;
  }
  std::vector<Seen> Read(const std::string& name) const {
    QorBagFile bag;
    EXPECT_TRUE(bag.OpenReadByName(Path(name))) << name;
    return Walk(bag);
  }

  static BagCheckReport Check(Bytes bytes) {
    BytesInput input(std::move(bytes));
    return BagCheck(input).Run(std::atomic<bool>(false));
  }
  Bytes Content(const std::string& name) const {
    const std::string text = folder_.Read(name);
    return {text.begin(), text.end()};
  }
  void Write(const std::string& name, const Bytes& bytes) const {
    folder_.Write(name, std::string(bytes.begin(), bytes.end()));
  }

  /// Repairs a file of the folder into it.
  FixEchoInfo Fix(const std::string& name, FixPrintType expected) const {
    QorBagFix fix({Path(name), folder_.Path()});
    FixEchoInfo last;
    FixPrintType type = FixPrintType::kBegin;
    fix.RegPrintCallback([&](FixPrintType what, const FixEchoInfo& info) {
      type = what;
      last = info;
    });
    EXPECT_EQ(fix.Fix(), expected == FixPrintType::kDone);
    EXPECT_EQ(type, expected) << last.text;
    return last;
  }

  const log::LogCapture log_;
  const test::ScratchFolder folder_;
};

TEST_F(BagRepairTest, WhatIsCompleteBecomesABag) {
  for (const auto compression : {FileCompressionType::kNone, FileCompressionType::kLz4, FileCompressionType::kZstd}) {
    MakeBag("run.bag.active", compression, /*isClosed=*/false);
    folder_.Write("run_repair.bag", "an older one");
    const std::vector<Seen> complete = Read("run.bag.active");
    ASSERT_GT(complete.size(), 250U);
    const FixEchoInfo info = Fix("run.bag.active", FixPrintType::kDone);
    EXPECT_EQ(info.outputFile, Path("run_repair.bag"));
    EXPECT_EQ(info.writtenCount, complete.size());
    EXPECT_EQ(info.leftChunkCount, 0U) << "the chunk that was open was never written";
    EXPECT_EQ(Read("run_repair.bag"), complete);
    const BagCheckReport report = Check(Content("run_repair.bag"));
    EXPECT_THAT(report.faults.First(), IsEmpty());
    EXPECT_EQ(report.messageCount, complete.size());
    EXPECT_THAT(folder_.Names(), ElementsAre("run.bag.active", "run_repair.bag"));
  }
}

TEST_F(BagRepairTest, ADamagedChunkCostsNoOther) {
  for (const auto compression : {FileCompressionType::kNone, FileCompressionType::kLz4}) {
    MakeBag("run.bag.active", compression, /*isClosed=*/false, 120);
    QorBagFile whole;
    ASSERT_TRUE(whole.OpenReadActiveFile(Path("run.bag.active")));
    const std::vector<Seen> all = Walk(whole);
    const Bytes bytes = Content("run.bag.active");
    const auto& infos = whole.Content()->chunkInfos;
    ASSERT_GE(infos.size(), 3U);
    for (std::size_t at = infos.front().chunkPos; at < bytes.size(); at += 7) {
      SCOPED_TRACE(at);
      Bytes changed = bytes;
      changed[at] ^= 0x41U;
      Write("hurt.bag.active", changed);
      QorBagFile hurt;
      ASSERT_TRUE(hurt.OpenReadDamagedFile(Path("hurt.bag.active")));
      const std::vector<Seen> found = Walk(hurt);
      const auto chunk = std::prev(std::ranges::upper_bound(infos, at, {}, &ChunkInfo::chunkPos));
      const auto isInside = [&](const Seen& one) {
        return std::get<0>(one) >= chunk->startTime && std::get<0>(one) <= chunk->endTime;
      };
      for (const Seen& one : all) {
        const auto isOfEvent = [&](const Seen& other) { return std::get<1>(other) == std::get<1>(one); };
        const bool isDescribedThere = isInside(*std::ranges::find_if(all, isOfEvent));
        EXPECT_TRUE(isInside(one) || isDescribedThere || std::ranges::find(found, one) != found.end())
            << std::get<2>(one);
      }
      EXPECT_LE(hurt.Content()->damage.chunkCount, 1U);

      changed.resize(at);
      Write("cut.bag.active", changed);
      QorBagFile cut;
      ASSERT_TRUE(cut.OpenReadDamagedFile(Path("cut.bag.active")));
      EXPECT_EQ(cut.Content()->chunkInfos.size(), static_cast<std::size_t>(chunk - infos.begin()));
    }
  }
}

TEST_F(BagRepairTest, TheEndOfACutFileIsLeftOut) {
  MakeBag("run.bag.active", FileCompressionType::kNone, /*isClosed=*/false);
  QorBagFile whole;
  ASSERT_TRUE(whole.OpenReadActiveFile(Path("run.bag.active")));
  const std::uint64_t lastChunk = whole.Content()->chunkInfos.back().chunkPos;
  Bytes bytes = Content("run.bag.active");
  const std::uint64_t end = lastChunk + 700;
  bytes.resize(end);
  Write("cut.bag.active", bytes);
  const FixEchoInfo info = Fix("cut.bag.active", FixPrintType::kDone);
  EXPECT_EQ(info.chunkCount, whole.Content()->chunkInfos.size() - 1);
  EXPECT_EQ(info.leftChunkCount, 1U);
  EXPECT_EQ(info.leftBytes, end - lastChunk);
  EXPECT_EQ(log_.CountContaining("Begin to fix active file.[msgNum=" + std::to_string(info.writtenCount) + "]"), 1U);

  bytes.resize(300);
  Write("none.bag.active", bytes);
  Fix("none.bag.active", FixPrintType::kNothing);
  EXPECT_EQ(log_.CountContaining("No valid message(s) in active file to fix."), 1U);
  Fix("run.bag", FixPrintType::kFailed);
  EXPECT_FALSE(QorBagFix({"", "/tmp"}).Fix());
  EXPECT_EQ(log_.CountContaining("QorBagFix filename is empty!"), 1U);
  EXPECT_FALSE(QorBagFix({Path("run.bag.active"), "here"}).Fix());
  EXPECT_EQ(log_.CountContaining("QorBagFix output path is not an absolute path!"), 1U);
  EXPECT_THAT(folder_.Names(), SizeIs(4)) << "only the first left an output";
}

TEST_F(BagRepairTest, WhatIsStoppedBeforeTheFirstMessageReplacesNothing) {
  MakeBag("run.bag.active", FileCompressionType::kNone, /*isClosed=*/false);
  MakeBag("run.bag", FileCompressionType::kNone, /*isClosed=*/true);
  folder_.Write("run_repair.bag", "an older one");
  QorBagFix fix({Path("run.bag.active"), folder_.Path()});
  fix.Stop();
  EXPECT_FALSE(fix.Fix());
  EXPECT_EQ(folder_.Read("run_repair.bag"), "an older one");
  QorBagExtractor extractor({.inputFile = Path("run.bag"), .outputFile = Path("part.bag")});
  extractor.Stop();
  EXPECT_EQ(extractor.Extract(), ExtractCode::kStopped);
  EXPECT_THAT(folder_.Names(), ElementsAre("run.bag", "run.bag.active", "run_repair.bag"));
}

TEST_F(BagRepairTest, ExtractionTakesEventsAndTimes) {
  MakeBag("run.bag", FileCompressionType::kZstd, /*isClosed=*/true);
  const std::vector<Seen> all = Read("run.bag");
  int number = 0;
  const auto expect = [&](ExtractorOptions options, auto isWanted) {
    const std::string output = "out" + std::to_string(++number);
    options.inputFile = Path("run.bag");
    options.outputFile = Path(output);
    QorBagExtractor extractor(options);
    ASSERT_EQ(extractor.Extract(), ExtractCode::kOk);
    EXPECT_EQ(extractor.OutputFile(), Path(output + ".bag"));
    std::vector<Seen> expected;
    std::ranges::copy_if(all, std::back_inserter(expected), isWanted);
    EXPECT_EQ(Read(output + ".bag"), expected);
    EXPECT_THAT(Check(Content(output + ".bag")).faults.First(), IsEmpty());
  };
  const auto isAny = [](const Seen&) { return true; };
  const auto isB = [](const Seen& one) { return std::get<1>(one) == "/b"; };
  expect({}, isAny);
  expect({.eventNames = {"/b"}}, isB);
  expect({.eventNames = {"/a", "/b", "/c"}, .domainId = 7}, isB);
  expect({.domainId = 7}, isAny);  // the domain is one of the events that are named
  expect({.startTime = 100, .endTime = 200},
         [](const Seen& one) { return std::get<0>(one) >= kBegin + 100 && std::get<0>(one) <= kBegin + 200; });
  expect({.eventNames = {"/a"}, .startTime = 2000},
         [](const Seen& one) { return std::get<0>(one) >= kBegin + 2000 && std::get<1>(one) == "/a"; });
}

TEST_F(BagRepairTest, WhatCannotBeExtractedIsRefused) {
  MakeBag("run.bag", FileCompressionType::kNone, /*isClosed=*/true, 10);
  folder_.Write("there.bag", "a bag of somebody else");
  const auto code = [&](ExtractorOptions options) {
    options.inputFile = options.inputFile.empty() ? Path("run.bag") : options.inputFile;
    options.outputFile = options.outputFile.empty() ? Path("out.bag") : options.outputFile;
    return QorBagExtractor(options).Extract();
  };
  EXPECT_EQ(code({.startTime = 10000001}), ExtractCode::kBadStartTime);
  EXPECT_EQ(code({.endTime = 10000000001}), ExtractCode::kBadEndTime);
  EXPECT_EQ(code({.startTime = 5, .endTime = 5}), ExtractCode::kBadTimeRange);
  EXPECT_EQ(code({.domainId = 64}), ExtractCode::kBadDomain);
  EXPECT_EQ(code({.network = "10.0.0"}), ExtractCode::kBadNetwork);
  EXPECT_EQ(code({.inputFile = Path("run bag")}), ExtractCode::kBadName);
  EXPECT_EQ(code({.outputFile = folder_.Path() + "/"}), ExtractCode::kBadName);
  EXPECT_EQ(code({.outputFile = Path("run")}), ExtractCode::kSameFile) << "with .bag it is the input";
  EXPECT_EQ(code({.outputFile = Path("there.bag")}), ExtractCode::kCannotCreate);
  EXPECT_EQ(code({.outputFile = Path("no/folder.bag")}), ExtractCode::kCannotCreate);
  EXPECT_EQ(code({.eventNames = {"/none"}}), ExtractCode::kNoMessage);
  EXPECT_EQ(code({.inputFile = Path("there.bag")}), ExtractCode::kCannotOpen);
  EXPECT_THAT(folder_.Names(), ElementsAre("run.bag", "there.bag"));
}

TEST_F(BagRepairTest, WhatSomebodyElseWritesStays) {
  MakeBag("run.bag.active", FileCompressionType::kLz4, /*isClosed=*/false);
  const std::string bytes = folder_.Read("run.bag.active");
  EXPECT_EQ(QorBagExtractor({.inputFile = Path("run.bag.active"), .outputFile = Path("run.bag")}).Extract(),
            ExtractCode::kCannotCreate)
      << "it would be made in the place of the input";
  EXPECT_EQ(folder_.Read("run.bag.active"), bytes);
  folder_.Write("run_repair.bag.active", "another repair");
  Fix("run.bag.active", FixPrintType::kFailed);
  EXPECT_EQ(folder_.Read("run_repair.bag.active"), "another repair");
  std::filesystem::remove(Path("run_repair.bag.active"));

  std::filesystem::create_directory(Path("run_repair.bag"));
  Fix("run.bag.active", FixPrintType::kFailed);
  EXPECT_TRUE(std::filesystem::is_directory(Path("run_repair.bag")));
  EXPECT_THAT(folder_.Names(), ElementsAre("run.bag.active", "run_repair.bag")) << "what was begun is gone";
}

TEST_F(BagRepairTest, AnOlderRepairIsOnlyReplacedByOneThatHasSomething) {
  MakeBag("run.bag.active", FileCompressionType::kZstd, /*isClosed=*/false, 30);
  folder_.Write("run_repair.bag", "an older one");
  Bytes bytes = Content("run.bag.active");
  QorBagFile whole;
  ASSERT_TRUE(whole.OpenReadActiveFile(Path("run.bag.active")));
  for (const auto& chunk : whole.Content()->chunks) {
    bytes[chunk.dataPos + 20] ^= 1U;
  }
  Write("run.bag.active", bytes);
  EXPECT_THAT(Fix("run.bag.active", FixPrintType::kFailed).text, testing::HasSubstr("cannot read any of the"));
  EXPECT_EQ(folder_.Read("run_repair.bag"), "an older one");
}

TEST_F(BagRepairTest, AClosingIndexThatNoReaderTakesIsNotSound) {
  MakeBag("run.bag", FileCompressionType::kNone, /*isClosed=*/true);
  Bytes bytes = Content("run.bag");
  const std::string text(bytes.begin(), bytes.end());
  const std::size_t last = text.rfind("chunkPos=");
  const std::size_t before = text.rfind("chunkPos=", last - 1);
  constexpr std::size_t kNameAndNumber = 9 + 8;
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(before), kNameAndNumber,
              bytes.begin() + static_cast<std::ptrdiff_t>(last));
  const auto faults = Check(bytes).faults.First();
  EXPECT_TRUE(
      std::ranges::any_of(faults, [](const BagFault& fault) { return fault.text.ends_with("no reader takes that"); }));
  Write("run.bag", bytes);
  EXPECT_FALSE(QorBagFile().OpenRead(Path("run.bag")));
}

TEST_F(BagRepairTest, EveryChangeOfACompressedChunkIsFound) {
  MakeBag("run.bag", FileCompressionType::kZstd, /*isClosed=*/true, 60);
  const Bytes bytes = Content("run.bag");
  QorBagFile bag;
  ASSERT_TRUE(bag.OpenRead(Path("run.bag")));
  ASSERT_THAT(Check(bytes).faults.First(), IsEmpty());
  std::size_t missed = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    Bytes changed = bytes;
    changed[at] ^= 0x20U;
    missed += Check(changed).faults.Count() == 0 ? 1 : 0;
    changed.resize(at);
    EXPECT_NE(Check(changed).faults.Count(), 0U) << "cut at " << at;
  }
  // What nothing else in the bag says again: names, types and bindings of events, the times of the recording.
  EXPECT_LT(missed, bytes.size() / 4);
}

TEST_F(BagRepairTest, MessagesComeByEventToo) {
  MakeBag("run.bag", FileCompressionType::kLz4, /*isClosed=*/true, 30);
  const std::vector<Seen> all = Read("run.bag");
  QorBagReader reader(Path("run.bag"));
  EventMsg msg;
  EXPECT_FALSE(reader.ReadEventMsg(msg, 0)) << "not open";
  ASSERT_TRUE(reader.Init());
  EXPECT_EQ(reader.GetBagInfo().messages.size(), 3U);
  const auto seen = [&](std::uint32_t offset) {
    return Seen(
        msg.time, msg.event->eventName,
        std::string(reinterpret_cast<const char*>(msg.payload.GetData()) + offset, msg.payload.GetSize() - offset));
  };
  for (const Seen& one : all) {
    ASSERT_TRUE(reader.ReadEventMsg(msg, 4));
    EXPECT_EQ(seen(4), one);
    ASSERT_TRUE(reader.ReadEventMsg(std::get<1>(one), msg, 0)) << "each event goes on by itself";
    EXPECT_EQ(seen(0), one);
  }
  EXPECT_FALSE(reader.ReadEventMsg(msg, 0));
  EXPECT_FALSE(reader.ReadEventMsg("/a", msg, 0));

  QorBagReader again(Path("run.bag"));
  ASSERT_TRUE(again.Init());
  CommonFilter filter;
  filter.domainId = 3;
  EXPECT_FALSE(again.ReadEventMsg("/b", msg, 0, &filter));
  filter.domainId = 7;
  EXPECT_TRUE(again.ReadEventMsg("/b", 0, msg, 0, &filter));
  EXPECT_FALSE(again.ReadEventMsg("/b", 1, msg, 0, &filter)) << "there is one of that name";
}

TEST_F(BagRepairTest, OneReaderTakesOverWhatAnotherFound) {
  MakeBag("run.bag", FileCompressionType::kLz4, /*isClosed=*/true, 30);
  MakeBag("other.bag", FileCompressionType::kLz4, /*isClosed=*/true, 30);
  QorBagFile one;
  QorBagFile other;
  QorBagFile two;
  ASSERT_TRUE(one.OpenRead(Path("run.bag")));
  ASSERT_TRUE(other.OpenRead(Path("other.bag")));
  EXPECT_FALSE(one.CheckIsSameBag(two));
  ASSERT_TRUE(two.CopyOtherBagFileReadResult(one));
  EXPECT_TRUE(one.CheckIsSameBag(two));
  EXPECT_FALSE(one.CheckIsSameBag(other));
  EXPECT_EQ(Walk(two), Walk(one));
  one.CloseRead();
  EXPECT_THAT(Walk(two), SizeIs(30)) << "each has a file of its own";
  folder_.Write("other.bag", "shorter");
  EXPECT_FALSE(two.CopyOtherBagFileReadResult(other));
}

TEST_F(BagRepairTest, ATimelineCountsEachMessageOnce) {
  MakeBag("run.bag", FileCompressionType::kNone, /*isClosed=*/true, 100);
  QorBagFile bag;
  ASSERT_TRUE(bag.OpenRead(Path("run.bag")));
  QorView view;
  view.AddQuery(bag, QorEventQuery({"/a", "/c"}, {}), 0, UINT64_MAX);
  for (const std::size_t parts : {1U, 7U, 1000U}) {
    const BagTimeline timeline = MakeTimeline(view, parts);
    std::vector<std::uint64_t> expected(parts);
    const double width = static_cast<double>(view.GetEndTime() - view.GetBeginTime() + 1) / static_cast<double>(parts);
    for (const Seen& one : Walk(bag)) {
      if (std::get<1>(one) == "/c") {
        ++expected[static_cast<std::size_t>(static_cast<double>(std::get<0>(one) - view.GetBeginTime()) / width)];
      }
    }
    EXPECT_EQ(timeline.counts.at("/c"), expected) << parts;
    EXPECT_THAT(timeline.counts, SizeIs(2));
  }
}

}  // namespace
}  // namespace qor::qorbag
