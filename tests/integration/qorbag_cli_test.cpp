// SPDX-License-Identifier: Apache-2.0
// The qorbag program as a user runs it, on bags in a folder of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/log/log_capture.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_folder.h"

namespace qor {
namespace {

using nlohmann::json;
using qorbag::EventMsg;
using qorbag::QorBagFile;
using test::ChildProcess;
using test::Finished;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class QorbagTest : public ::testing::Test {
 protected:
  static constexpr std::uint64_t kBegin = 1700000000000;

  Finished Run(const std::vector<std::string>& arguments,
               ChildProcess::Stdout out = ChildProcess::Stdout::kPipe) const {
    std::vector<std::string> command{QOR_QORBAG};
    for (const std::string& argument : arguments) {
      command.push_back(argument.ends_with(".bag") || argument.ends_with(".active") ? folder_.File(argument)
                                                                                    : argument);
    }
    return test::RunProgram(command, out);
  }

  static std::vector<json> Lines(const std::string& out) {
    std::vector<json> lines;
    std::istringstream text(out);
    for (std::string line; std::getline(text, line);) {
      lines.push_back(json::parse(line));
    }
    return lines;
  }

  static EventMsg Event(const std::string& name, const std::string& type, const std::string& definition) {
    auto event = std::make_shared<qorbag::EventDescription>();
    event->eventName = name;
    event->dataType = type;
    event->msgDefinition = definition;
    return EventMsg{event};
  }

  /// Five messages of each event, 100 ms between two; /bytes has no definition.
  void MakeBag(const std::string& name, bool isClosed = true) const {
    const EventMsg speed = Event("/speed", "Wheel", R"([
      {"ShortName": "Wheel", "Type": "STRUCTURE", "Subelements": [{"Name": "rpm", "Type": "Rpm"}]},
      {"ShortName": "Rpm", "Type": "VALUE", "Primitive": "uint16"}])");
    const EventMsg bytes = Event("/bytes", "Unknown", "");
    QorBagFile bag;
    bag.SetMaxChunkSize(isClosed ? 1024 : 1);
    ASSERT_EQ(bag.OpenWrite(folder_.File(name), folder_.Path(), folder_.File(name)), QorBagFile::kOk);
    for (std::uint64_t i = 0; i < (isClosed ? 5U : 50U); ++i) {
      const std::uint8_t payload[] = {static_cast<std::uint8_t>(i), 1};
      ASSERT_EQ(bag.Write(speed, kBegin + i * 100, payload, 2), QorBagFile::kOk);
      ASSERT_EQ(bag.Write(bytes, kBegin + i * 100 + 50, payload, 2), QorBagFile::kOk);
    }
    if (isClosed) {
      ASSERT_EQ(bag.CloseWrite(), QorBagFile::kOk);
    }
  }

  const log::LogCapture quiet_;
  const test::ScratchFolder folder_;
};

TEST_F(QorbagTest, InfoTellsWhatIsInABag) {
  MakeBag("run.bag");
  MakeBag("half.bag.active", /*isClosed=*/false);
  const Finished text = Run({"info", "run.bag"});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_THAT(text.out, AllOf(HasSubstr("version:     2.7\n"), HasSubstr("closed:      yes\n"),
                              HasSubstr("10 messages of 2 events in 1 chunk\n"), HasSubstr("(0.450 s)\n"),
                              HasSubstr("/speed\tWheel\tDDS domain 0\t5\t10.00\t")));
  const Finished both = Run({"info", "run.bag", "half.bag.active", "--json"});
  const std::vector<json> bags = Lines(both.out);
  ASSERT_EQ(bags.size(), 2U) << both.err;
  EXPECT_EQ(bags[0]["messages"], 10);
  EXPECT_EQ(bags[0]["begin"], kBegin);
  EXPECT_EQ(bags[0]["events"][1]["event"], "/speed");
  EXPECT_EQ(bags[0]["events"][1]["rate"], 10.0);
  EXPECT_EQ(bags[1]["closed"], false);
  EXPECT_GT(bags[1]["messages"], 10);

  folder_.Write("no.bag", "no bag at all");
  const Finished wrong = Run({"info", "no.bag", "none.bag", "run.bag"});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_THAT(wrong.err,
              AllOf(HasSubstr("no.bag' cannot be read as a bag"), HasSubstr("none.bag': No such file or directory")));
  EXPECT_THAT(wrong.out, HasSubstr("10 messages")) << "the others are told all the same";
}

TEST_F(QorbagTest, MessagesArePrintedByTheDefinitionsOfTheBag) {
  MakeBag("run.bag");
  const Finished all = Run({"messages", "run.bag", "-n", "3"});
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.out, "{ \"/speed\" : { \"rpm\" : 256 } }\n/bytes 2 bytes: 00 01\n{ \"/speed\" : { \"rpm\" : 257 } }\n");
  EXPECT_THAT(all.err, HasSubstr("'/bytes' are printed as bytes: there is no definition of its type 'Unknown'"));
  const Finished some =
      Run({"messages", "run.bag", "-e", "/speed", "--start", "0.1", "--end", "0.3", "--field", "rpm"});
  EXPECT_EQ(some.out, "257\n258\n259\n") << some.err;
  const std::vector<json> lines = Lines(Run({"messages", "run.bag", "-e", "/speed", "--json"}).out);
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[4]["value"]["rpm"], 260);
  EXPECT_EQ(lines[4]["time"], "2023-11-14T22:13:20.400000Z");

  const Finished near = Run({"messages", "run.bag", "-e", "/sped"});
  EXPECT_EQ(near.status, 3);
  EXPECT_THAT(near.err, HasSubstr("Did you mean '/speed'?"));
  EXPECT_EQ(Run({"messages", "run.bag", "--start", "99"}).status, 3);
  EXPECT_EQ(Run({"messages", "run.bag", "-e", "/speed", "--field", "rpn"}).status, 2);
  EXPECT_EQ(Run({"messages"}).status, 2);
}

TEST_F(QorbagTest, ADefinitionThatCannotBeUsedIsToldAndNotGuessed) {
  MakeBag("run.bag");
  QorBagFile bag;
  ASSERT_EQ(bag.OpenWrite(folder_.File("new.bag"), folder_.Path(), folder_.File("new.bag")), QorBagFile::kOk);
  const EventMsg other = Event("/speed", "Wheel", R"({"ShortName": "Wheel", "Type": "VALUE", "Primitive": "uint8"})");
  const std::uint8_t payload[] = {1, 1};
  ASSERT_EQ(bag.Write(other, kBegin, payload, 1), QorBagFile::kOk);
  ASSERT_EQ(bag.Write(Event("/broken", "Broken", "no JSON"), kBegin + 1, payload, 2), QorBagFile::kOk);
  ASSERT_EQ(bag.CloseWrite(), QorBagFile::kOk);
  const Finished run = Run({"messages", "run.bag", "new.bag", "--end", "0.01"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, AllOf(HasSubstr("{ \"/speed\" : { \"rpm\" : 256 } }\n"), HasSubstr("/speed 1 bytes: 01\n"),
                             HasSubstr("/broken 2 bytes: 01 01\n")))
      << run.err;
  EXPECT_THAT(run.err,
              AllOf(HasSubstr("'/speed' are printed as bytes: the type 'Wheel' has another definition"),
                    HasSubstr("'/broken' are printed as bytes: the definition of the type 'Broken' is no JSON")));
  EXPECT_THAT(Run({"messages", "new.bag", "--raw"}).err, IsEmpty());
}

TEST_F(QorbagTest, AFileThatMayNotGrowIsToldWithTheReason) {
  MakeBag("run.bag");
  const Finished run = test::RunProgram({"/bin/sh", "-c", "ulimit -f 1; exec \"$@\"", "sh", QOR_QORBAG, "extract",
                                         folder_.File("run.bag"), folder_.File("out.bag")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("out.bag' was not written: File too large"));
  EXPECT_THAT(folder_.Names(), testing::ElementsAre("run.bag"));
}

TEST_F(QorbagTest, ACheckTellsWhereWhatIsWrong) {
  MakeBag("run.bag");
  EXPECT_EQ(Run({"check", "run.bag"}).out, folder_.File("run.bag") + ": 1 chunk, 2 events, 10 messages: sound\n");
  std::string bytes = folder_.Read("run.bag");
  const std::size_t time = bytes.find("timeStamp=") + 10;
  bytes[time] = static_cast<char>(bytes[time] ^ 1);
  folder_.Write("hurt.bag", bytes);
  const Finished hurt = Run({"check", "hurt.bag", "run.bag", "--json"});
  EXPECT_EQ(hurt.status, 1);
  const std::vector<json> reports = Lines(hurt.out);
  ASSERT_EQ(reports.size(), 2U) << hurt.err;
  EXPECT_GE(reports[0]["faultCount"], 1);
  EXPECT_EQ(reports[0]["faults"][0]["text"], "an entry of the index leads to a message of another event or time");
  EXPECT_EQ(reports[1]["faultCount"], 0);
  EXPECT_THAT(hurt.err, IsEmpty());
}

TEST_F(QorbagTest, WhatAnInterruptedRecordingLeftIsRepaired) {
  MakeBag("run.bag.active", /*isClosed=*/false);
  const Finished fix = Run({"fix", "run.bag.active"});
  EXPECT_EQ(fix.status, 0) << fix.err;
  EXPECT_THAT(fix.out, AllOf(HasSubstr("Wrote "), HasSubstr("run_repair.bag\n")));
  EXPECT_EQ(Run({"check", "run_repair.bag"}).status, 0);
  const Finished refused = Run({"fix", "run_repair.bag"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("ends in .bag.active"));
  folder_.Write("empty.bag.active", "#QORBAG V2.7\n");
  EXPECT_EQ(Run({"fix", "empty.bag.active"}).status, 1);
  EXPECT_THAT(folder_.Names(), ElementsAre("empty.bag.active", "run.bag.active", "run_repair.bag"));
}

TEST_F(QorbagTest, APartOfABagIsCutOut) {
  MakeBag("run.bag");
  const Finished cut = Run({"extract", "run.bag", "part.bag", "-e", "/speed", "--start", "0.2", "--json"});
  EXPECT_EQ(cut.status, 0) << cut.err;
  EXPECT_EQ(json::parse(cut.out)["messages"], 3);
  EXPECT_EQ(Run({"messages", "part.bag", "--field", "rpm"}).out, "258\n259\n260\n");
  EXPECT_EQ(Run({"extract", "run.bag", "part.bag"}).status, 1) << "it exists";
  EXPECT_EQ(Run({"extract", "run.bag", "new.bag", "--domain-id", "3"}).status, 3) << "all are of domain 0";
  EXPECT_EQ(Run({"extract", "run.bag", "new.bag", "--start", "2", "--end", "1"}).status, 2);
  const Finished unknown = Run({"extract", "run.bag", "new.bag", "-e", "/sped"});
  EXPECT_EQ(unknown.status, 3);
  EXPECT_THAT(unknown.err, HasSubstr("Did you mean '/speed'?"));
  EXPECT_THAT(folder_.Names(), ElementsAre("part.bag", "run.bag"));
}

TEST_F(QorbagTest, ATimelineShowsGaps) {
  MakeBag("run.bag");
  EXPECT_EQ(Run({"timeline", "run.bag", "--parts", "9"}).out,
            "/bytes\t5\t1,0,1,0,1,0,1,0,1\n/speed\t5\t1,1,0,1,0,1,0,1,0\n");
  const Finished drawn = Run({"timeline", "run.bag", "-e", "/speed"}, ChildProcess::Stdout::kTerminal);
  EXPECT_THAT(drawn.out, AllOf(HasSubstr("/speed \u2588\u00B7"), HasSubstr(" 5\r\n"), HasSubstr("0.400 s, a column is"),
                               Not(HasSubstr("/bytes"))));
}

/// A recorder in a process of its own, and what becomes of its bag.
class InterruptedTest : public QorbagTest {
 protected:
  static std::uint64_t LastNumber(const std::string& told) {
    std::uint64_t number = 0;
    const std::size_t whole = told.size() / sizeof(number) * sizeof(number);
    if (whole != 0) {
      std::memcpy(&number, told.data() + whole - sizeof(number), sizeof(number));
    }
    return number;
  }

  void Fix(const std::string& name) const {
    const Finished fix = Run({"fix", name + ".bag.active"});
    ASSERT_EQ(fix.status, 0) << fix.err;
  }

  /// The bag has every message up to that number at least, and is sound.
  void ExpectWhole(const std::string& name, std::uint64_t written) const {
    const Finished check = Run({"check", name + ".bag"});
    EXPECT_EQ(check.status, 0) << check.out;
    QorBagFile bag;
    ASSERT_TRUE(bag.OpenRead(folder_.File(name + ".bag")));
    qorbag::QorView view;
    view.AddQuery(bag, 0, UINT64_MAX);
    EXPECT_GE(view.Size(), written);
    qorbag::QorBuffer payload;
    std::uint64_t number = 0;
    for (auto at = view.Begin(); !at.IsEnd(); at.Increase(), ++number) {
      ASSERT_EQ(at.Value().WriteMsg(payload, 0), QorBagFile::kOk);
      ASSERT_EQ(at.Value().GetTime(), number);
      ASSERT_EQ(at.Value().GetEvent(), "/event" + std::to_string(number % 3));
      ASSERT_EQ(payload.GetSize(), 8 + number % 97);
      ASSERT_EQ(std::memcmp(payload.GetData(), &number, sizeof(number)), 0);
    }
  }
};

TEST_F(InterruptedTest, ARecorderThatIsKilledLosesOnlyItsOpenChunk) {
  constexpr int kTimes = 12;
  std::mt19937 random(std::random_device{}());
  for (int i = 0; i < kTimes; ++i) {
    const std::string name = "run" + std::to_string(i);
    ChildProcess recorder(
        {std::string(QOR_TEST_PROGRAMS) + "/bag_recorder", folder_.Path(), name, std::to_string(i % 3)});
    ASSERT_TRUE(recorder.WaitForOut(std::string(1, '\0'))) << recorder.Err();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
    recorder.Signal(SIGKILL);
    ASSERT_EQ(recorder.Wait(), 128 + SIGKILL);
    Fix(name);
    ExpectWhole(name + "_repair", LastNumber(recorder.Out()));
  }
}

TEST_F(InterruptedTest, AFileThatCannotGrowLosesOnlyItsOpenChunk) {
  int unclosedCount = 0;
  for (int blocks = 300; blocks < 320; blocks += 2) {
    const std::string name = "full" + std::to_string(blocks);
    const Finished recorder = test::RunProgram(
        {"/bin/sh", "-c", "ulimit -f " + std::to_string(blocks) + "; exec \"$@\"", "sh",
         std::string(QOR_TEST_PROGRAMS) + "/bag_recorder", folder_.Path(), name, std::to_string(blocks % 3)});
    EXPECT_EQ(recorder.status, 1);
    EXPECT_THAT(recorder.err, HasSubstr("code 14\n"));
    const std::string file = folder_.File(name + ".bag");
    if (!QorBagFile::CanBeFixed(file)) {  // there was room for the closing index
      ExpectWhole(name, LastNumber(recorder.out));
      continue;
    }
    ++unclosedCount;
    const Finished info = Run({"info", name + ".bag"});
    EXPECT_EQ(info.status, 1);
    EXPECT_THAT(info.err, HasSubstr("was not closed. To make a bag of what is complete: rename it to '" + file +
                                    ".active', then 'qorbag fix'"));
    std::filesystem::rename(file, file + ".active");
    Fix(name);
    ExpectWhole(name + "_repair", LastNumber(recorder.out));
  }
  EXPECT_GT(unclosedCount, 0);
}

}  // namespace
}  // namespace qor
