// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_view.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "platform/log/log_capture.h"
#include "src/qorbag/file_input.h"
#include "src/qorbag/message_read_ahead.h"
#include "tests/support/scratch_folder.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;

/// Time, event and payload of a message.
using Seen = std::tuple<std::uint64_t, std::string, std::string>;

class BagViewTest : public ::testing::Test {
 protected:
  static EventMsg Event(const std::string& name, std::uint16_t domain) {
    auto event = std::make_shared<EventDescription>();
    event->eventName = name;
    event->eventInfo.dds.domainId = domain;
    event->eventInfo.dds.networkIp = "10.0.0.7";
    event->eventInfo.dds.subnetMask = "255.0.0.0";
    return EventMsg{event};
  }

  /// A bag of random messages; what is in it.
  std::vector<Seen> MakeBag(const std::string& name, unsigned seed, FileCompressionType compression) {
    std::mt19937 random(seed);
    std::vector<EventMsg> events;
    for (std::uint16_t i = 0; i < 20; ++i) {
      events.push_back(Event("/view/" + std::to_string(i), i % 3));
    }
    QorBagFile bag;
    bag.SetCompressionType(compression);
    bag.SetMaxChunkSize(4);
    EXPECT_EQ(bag.OpenWrite(Path(name), folder_.Path(), Path(name)), QorBagFile::kOk);
    std::vector<Seen> all;
    for (int i = 0; i < 2000; ++i) {
      const EventMsg& event = events[random() % events.size()];
      const std::uint64_t time = 1000 + random() % 300;
      const std::string payload(i % 500 == 0 ? 9000 : random() % 200, static_cast<char>('a' + random() % 26));
      EXPECT_EQ(bag.Write(event, time, reinterpret_cast<const std::uint8_t*>(payload.data()),
                          static_cast<std::uint32_t>(payload.size())),
                QorBagFile::kOk);
      all.emplace_back(time, event.event->eventName, payload);
    }
    EXPECT_EQ(bag.CloseWrite(), QorBagFile::kOk);
    return all;
  }

  static std::vector<Seen> Walk(const QorView& view) {
    std::vector<Seen> seen;
    QorBuffer buffer;
    EXPECT_EQ(view.Begin().BeginTime(), view.GetBeginTime());
    for (auto at = view.Begin(); !at.IsEnd(); at.Increase()) {
      EXPECT_EQ(at.GetPosValue(), seen.size());
      const QorMsgEntity& message = at.Value();
      EXPECT_EQ(message.WriteMsg(buffer, 3), QorBagFile::kOk);
      std::uint32_t size = 0;
      EXPECT_TRUE(message.GetMsgSize(size));
      EXPECT_EQ(buffer.GetSize(), size + 3);
      seen.emplace_back(message.GetTime(), message.GetEvent(),
                        std::string(reinterpret_cast<const char*>(buffer.GetData()) + 3, size));
    }
    EXPECT_EQ(seen.size(), view.Size());
    EXPECT_TRUE(std::ranges::is_sorted(seen, {}, [](const Seen& one) { return std::get<0>(one); }));
    return seen;
  }

  static std::vector<Seen> Sorted(std::vector<Seen> seen) {
    std::ranges::sort(seen);
    return seen;
  }

  std::string Path(const std::string& name) const { return folder_.Path() + "/" + name; }

  const log::LogCapture quiet_;
  const test::ScratchFolder folder_;
};

TEST_F(BagViewTest, EveryMessageComesOnceInTheOrderOfTime) {
  std::vector<Seen> expected = MakeBag("one.bag", 1, FileCompressionType::kNone);
  const std::vector<Seen> second = MakeBag("two.bag", 2, FileCompressionType::kZstd);
  expected.insert(expected.end(), second.begin(), second.end());
  QorBagFile one;
  QorBagFile two;
  ASSERT_TRUE(one.OpenRead(Path("one.bag")));
  ASSERT_TRUE(two.OpenRead(Path("two.bag")));
  QorView view;
  view.AddQuery(one, 0, UINT64_MAX);
  view.AddQuery(two, 0, UINT64_MAX);
  EXPECT_EQ(Sorted(Walk(view)), Sorted(expected));
  EXPECT_EQ(view.GetBeginTime(), 1000U);
  EXPECT_EQ(view.GetEndTime(), 1299U);
  EXPECT_EQ(view.GetConnections().size(), 40U);
}

TEST_F(BagViewTest, QueriesChooseEventsAndTimes) {
  const std::vector<Seen> all = MakeBag("one.bag", 3, FileCompressionType::kLz4);
  QorBagFile bag;
  ASSERT_TRUE(bag.OpenRead(Path("one.bag")));
  const auto expect = [&](const ConnectionPredicate& predicate, std::uint64_t from, std::uint64_t to, auto isWanted) {
    QorView view;
    view.AddQuery(bag, predicate, from, to);
    std::vector<Seen> expected;
    std::ranges::copy_if(all, std::back_inserter(expected), [&](const Seen& one) {
      return std::get<0>(one) >= from && std::get<0>(one) <= to && isWanted(std::get<1>(one));
    });
    EXPECT_EQ(Sorted(Walk(view)), Sorted(expected));
  };
  const auto isAny = [](const std::string&) { return true; };
  const auto is = [](const std::string& name) { return [name](const std::string& other) { return other == name; }; };
  expect(QorTrueQuery(), 1100, 1100, isAny);
  expect(QorTrueQuery(), 1200, 1100, isAny);
  expect(QorEventQuery({"/view/4"}, {}), 0, UINT64_MAX, is("/view/4"));
  expect(QorEventQuery({"/view/4", "/view/5"}, {"/view/5"}), 0, UINT64_MAX, is("/view/4"));
  expect(QorEventQuery({"/view/?"}, {"/v*[0-35-9]", "/view/2"}), 0, UINT64_MAX, is("/view/4"));
  expect(QorEventQuery({"/view/4"}, {}, 1), 0, UINT64_MAX, is("/view/4"));
  expect(QorEventQuery({"/view/4"}, {}, 2), 0, UINT64_MAX, is(""));
  expect(QorEventQuery({}, {}, QorEventQuery::kAnyDomain, "11.0.0.0"), 0, UINT64_MAX, is(""));

  BagFileHeadInfo info;
  ASSERT_TRUE(bag.GetFileHeaderInfo(info));
  EXPECT_EQ(info.version, CURRENT_BAG_VERSION);
  EXPECT_EQ(info.fileSize, std::filesystem::file_size(Path("one.bag")));
  std::uint64_t count = 0;
  for (const BagFileMessageInfo& message : info.messages) {
    count += message.msgCount;
  }
  EXPECT_EQ(count, all.size());
}

TEST_F(BagViewTest, AnIndexNeedNotHaveMessagesOfOneTimeInTheirOrder) {
  QorBagFile bag;
  ASSERT_EQ(bag.OpenWrite(Path("one.bag"), folder_.Path(), Path("one.bag")), QorBagFile::kOk);
  for (const char* payload : {"a", "b", "c", "d"}) {
    const EventMsg event = Event(payload[0] == 'd' ? "/other" : "/view", 0);
    ASSERT_EQ(bag.Write(event, 5, reinterpret_cast<const std::uint8_t*>(payload), 1), QorBagFile::kOk);
  }
  ASSERT_EQ(bag.CloseWrite(), QorBagFile::kOk);
  std::ifstream file(Path("one.bag"), std::ios::binary);
  std::string bytes(std::istreambuf_iterator<char>(file), {});
  constexpr std::size_t kEntry = 24;
  const std::size_t first = bytes.find("indexcount=") + 11 + 4 + 4;
  std::swap_ranges(bytes.begin() + static_cast<std::ptrdiff_t>(first),
                   bytes.begin() + static_cast<std::ptrdiff_t>(first + kEntry),
                   bytes.begin() + static_cast<std::ptrdiff_t>(first + 2 * kEntry));
  std::ofstream(Path("one.bag"), std::ios::binary) << bytes;
  QorBagFile changed;
  ASSERT_TRUE(changed.OpenRead(Path("one.bag")));
  QorView view;
  view.AddQuery(changed, 0, UINT64_MAX);
  EXPECT_EQ(Walk(view),
            (std::vector<Seen>{{5, "/view", "a"}, {5, "/view", "b"}, {5, "/view", "c"}, {5, "/other", "d"}}));
}

TEST_F(BagViewTest, ReadingAheadGivesWhatReadingGivesFaultsIncluded) {
  MakeBag("lz4.bag", 7, FileCompressionType::kLz4);
  {
    std::fstream file(Path("lz4.bag"), std::ios::binary | std::ios::in | std::ios::out);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    constexpr std::size_t kInTheBlock = 200;
    file.seekp(static_cast<std::streamoff>(bytes.find("chunkStatus=", bytes.size() / 3) + kInTheBlock));
    file << "damaged, as a disk may do";
  }
  QorBagFile bag;
  ASSERT_TRUE(bag.OpenRead(Path("lz4.bag")));
  QorView view;
  view.AddQuery(bag, 0, UINT64_MAX);
  using Read = std::tuple<std::uint64_t, const Connection*, int, std::string>;
  const auto text = [](std::span<const std::uint8_t> bytes) { return std::string(bytes.begin(), bytes.end()); };
  std::vector<Read> ahead;
  {
    MessageReadAhead messages(view);
    while (messages.WaitForMessage()) {
      const auto& message = messages.Take();
      ahead.emplace_back(message.time, message.connection, message.result, text(message.payload));
    }
  }
  std::vector<Read> direct;
  std::set<int> results;
  for (auto at = view.Begin(); !at.IsEnd(); at.Increase()) {
    QorBuffer buffer;
    const int result = at.Value().WriteMsg(buffer, 0);
    direct.emplace_back(at.Value().GetTime(), &at.Value().GetConnection(), result,
                        result == QorBagFile::kOk ? text(buffer.Bytes()) : "");
    results.insert(result);
  }
  EXPECT_EQ(ahead, direct);
  EXPECT_EQ(results, (std::set<int>{QorBagFile::kOk, QorBagFile::kDecompressionFailed}));
}

TEST_F(BagViewTest, ReadingAheadStopsWhereNobodyTakes) {
  QorBagFile bag;
  ASSERT_EQ(bag.OpenWrite(Path("big.bag"), folder_.Path(), Path("big.bag")), QorBagFile::kOk);
  constexpr std::uint32_t kCount = 50;
  std::vector<std::uint8_t> payload(std::size_t{1} << 20U);
  for (std::uint8_t i = 0; i < kCount; ++i) {
    payload.assign(payload.size(), i);
    ASSERT_EQ(bag.Write(Event("/big", 0), i, payload.data(), static_cast<std::uint32_t>(payload.size())),
              QorBagFile::kOk);
  }
  ASSERT_EQ(bag.CloseWrite(), QorBagFile::kOk);
  QorBagFile recorded;
  ASSERT_TRUE(recorded.OpenRead(Path("big.bag")));
  QorView view;
  view.AddQuery(recorded, 0, UINT64_MAX);
  MessageReadAhead all(view);
  for (std::uint8_t i = 0; i < kCount; ++i) {
    ASSERT_TRUE(all.WaitForMessage());
    const auto& message = all.Take();
    ASSERT_EQ(message.payload.size(), payload.size());
    EXPECT_TRUE(std::ranges::all_of(message.payload, [i](std::uint8_t byte) { return byte == i; }));
  }
  EXPECT_FALSE(all.WaitForMessage());
  MessageReadAhead some(view);
  ASSERT_TRUE(some.WaitForMessage());
  EXPECT_EQ(some.Take().time, 0);
}

TEST_F(BagViewTest, WhateverIsReadNextTheWindowHasIt) {
  std::mt19937 random(5);
  std::string content(3U << 20U, '\0');
  std::ranges::generate(content, [&] { return static_cast<char>(random()); });
  std::ofstream(Path("bytes"), std::ios::binary) << content;
  FileInput input(Path("bytes"));
  std::uint64_t position = 0;
  for (int i = 0; i < 2000; ++i) {
    const std::size_t size = random() % (i % 50 == 0 ? 400000 : 300);
    position = random() % 4 == 0 ? random() % content.size() : position;
    std::vector<std::uint8_t> bytes(size);
    const bool isInside = position + size <= content.size();
    ASSERT_EQ(input.Read(position, bytes), isInside);
    if (isInside) {
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(position),
                             [](std::uint8_t left, char right) { return left == static_cast<std::uint8_t>(right); }));
      position += size;
    }
  }
}

}  // namespace
}  // namespace qor::qorbag
