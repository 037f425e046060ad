// SPDX-License-Identifier: Apache-2.0
// Bags that the library writes, as a program reads them that shares nothing with it (tests/data/bag_format.py).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/log/log_capture.h"
#include "src/qorbag/qor_bag_writer.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_folder.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using nlohmann::json;

std::shared_ptr<EventDescription> DdsEvent(const std::string& name) {
  auto event = std::make_shared<EventDescription>();
  event->eventName = name;
  event->dataType = "Speed";
  event->msgDefinition = R"({"ShortName": "Speed"})";
  maintaind::DDSEventInfo& dds = event->eventInfo.dds;
  dds.serviceId = 0x0101;
  dds.instanceId = 1;
  dds.domainId = 12;
  dds.fragmentSize = 64000;
  dds.dataRepresentation = maintaind::DataRepresentation::kXcdr2;
  dds.publishMode = maintaind::PublishMode::kAsynchronous;
  dds.sampleListSize = 8;
  dds.samplePoolSize = 1U << 20U;
  dds.dataMode = maintaind::DataMode::kRawBuffer;
  dds.udpMulticastPort = 7400;
  dds.isFshmMulticast = true;
  dds.topicName = "chassis_speed";
  dds.qosProfile = "fast";
  dds.udpMulticastAddress = "239.0.0.1";
  dds.networkIp = "192.168.1.10";
  dds.subnetMask = "255.255.255.0";
  dds.fshmMulticastAddress = "fshm";
  dds.transports = {maintaind::TransportQos::kShm, maintaind::TransportQos::kUdp};
  dds.discoveryMulticastAddresses = {"239.0.0.2", ""};
  return event;
}

std::shared_ptr<EventDescription> SomeipEvent(const std::string& name) {
  auto event = std::make_shared<EventDescription>();
  event->eventName = name;
  event->driverType = DriverType::kSomeip;
  event->serializationType = maintaind::SerializationType::kSomeip;
  event->serializationConfig = {1, 2, '='};
  maintaind::SomeipEventInfo& someip = event->eventInfo.someip;
  someip.serviceId = 0x0202;
  someip.instanceId = 2;
  someip.majorVersion = 3;
  someip.eventId = 0x8001;
  someip.udpPort = 30501;
  someip.tcpPort = 30502;
  someip.minorVersion = 0x12345;
  someip.isReliable = true;
  someip.instanceShortName = "Front";
  someip.networkIp = "192.168.2.10";
  someip.subnetMask = "255.255.255.0";
  someip.networkName = "vehicle";
  someip.eventGroupIds = {1, 0x1234};
  return event;
}

BagWriterCode Write(QorBagWriter& writer, const std::shared_ptr<EventDescription>& event, std::uint64_t time,
                    std::vector<std::uint8_t> payload) {
  auto msg = std::make_shared<EventMsgInfo>();
  msg->event = event;
  msg->payload = std::make_shared<const std::vector<std::uint8_t>>(std::move(payload));
  return writer.Write(msg, time);
}

json Message(std::uint32_t connection, std::uint64_t time, const std::string& payload) {
  return {{"connection", connection}, {"time", time}, {"payload", payload}};
}

/// Writes bags into a folder of its own.
class BagWritingTest : public ::testing::Test {
 protected:
  std::string Folder() const { return folder_.Path(); }

  /// What the other program finds in bags.
  static std::vector<json> Read(const std::vector<std::string>& names) {
    std::vector<std::string> command = {"/usr/bin/env", "python3", QOR_BAG_FORMAT, "read"};
    command.insert(command.end(), names.begin(), names.end());
    const test::Finished run = test::RunProgram(command);
    EXPECT_EQ(run.status, 0) << run.err;
    std::vector<json> bags;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
      bags.push_back(json::parse(line));
    }
    bags.resize(names.size());
    return bags;
  }
  static json Read(const std::string& name) { return Read(std::vector{name}).front(); }

  const log::LogCapture log_;
  const test::ScratchFolder folder_;
};

/// Two chunks: a long message closes the first.
void WriteSample(QorBagWriter& writer, bool isFirstVersion) {
  const auto speed = DdsEvent("/chassis/speed");
  const auto other = isFirstVersion ? DdsEvent("/camera=front") : SomeipEvent("/camera=front");
  ASSERT_EQ(Write(writer, speed, 1000, {1, 2}), BagWriterCode::kOk);
  ASSERT_EQ(Write(writer, speed, 1010, {}), BagWriterCode::kOk);
  ASSERT_EQ(Write(writer, speed, 1005, {3}), BagWriterCode::kOk);
  ASSERT_EQ(Write(writer, other, 1020, std::vector<std::uint8_t>(2000, 0x3D)), BagWriterCode::kOk);
  ASSERT_EQ(Write(writer, other, 1030, {4}), BagWriterCode::kOk);
}

/// What version and compression make of the sample.
void ExpectSample(const json& bag, std::uint32_t version, FileCompressionType compression) {
  std::string longest;
  for (int i = 0; i < 2000; ++i) {
    longest += "3d";
  }
  EXPECT_EQ(bag["version"], version);
  EXPECT_EQ(bag["chunks"].size(), 2U);
  EXPECT_EQ(bag["messages"], json({Message(0, 1000, "0102"), Message(0, 1005, "03"), Message(0, 1010, ""),
                                   Message(1, 1020, longest), Message(1, 1030, "04")}))
      << "in the order of time";
  EXPECT_EQ(bag["header"].value("compression", 0), version < 180 ? 0 : static_cast<int>(compression));
  ASSERT_EQ(bag["connections"].size(), 2U);
  const json& dds = bag["connections"][0]["eventInfo"];
  EXPECT_EQ(dds["transports"], json({3, 0}));
  EXPECT_EQ(dds.value("networkIp", "-"), version < 230 ? "-" : "192.168.1.10");
  EXPECT_EQ(dds.value("isFshmMulticast", 2), version < 270 ? 2 : 1);
  const json& connection = bag["connections"][1];
  EXPECT_EQ(connection["event"], "/camera=front");
  if (version >= 110) {
    EXPECT_EQ(connection["eventInfo"]["minorVersion"], version < 220 ? 0x2345 : 0x12345);
    EXPECT_EQ(connection["eventInfo"]["eventGroupIds"], json({1, 0x1234}));
  }
  if (version >= 190) {
    EXPECT_EQ(connection["startTime"], 1020);
    EXPECT_EQ(connection["endTime"], 1030);
    EXPECT_EQ(connection["msgCount"], 2);
  }
  if (version >= 210) {
    EXPECT_EQ(connection["serializationConfig"], "01023d");
  }
}

TEST_F(BagWritingTest, EveryVersionAndCompressionIsReadBackByAnother) {
  const std::vector<std::string> versions = {"1.0", "1.1", "1.2", "1.3", "1.4", "1.5", "1.6", "1.7", "1.8",
                                             "1.9", "2.1", "2.2", "2.3", "2.4", "2.5", "2.6", "2.7"};
  const std::vector<FileCompressionType> compressions = {FileCompressionType::kNone, FileCompressionType::kLz4,
                                                         FileCompressionType::kZstd};
  std::vector<std::string> names;
  for (const std::string& version : versions) {
    for (const auto compression : compressions) {
      QorBagWriter writer(Folder(), "v" + version + std::to_string(static_cast<int>(compression)), version,
                          compression);
      writer.SetMaxChunkSize(1);
      ASSERT_EQ(writer.Init(), BagWriterCode::kOk);
      WriteSample(writer, version == "1.0");
      writer.Stop();
      names.push_back(writer.TargetFileName());
    }
  }
  const auto bags = Read(names);
  ASSERT_EQ(bags.size(), names.size());
  for (std::size_t i = 0; i < bags.size(); ++i) {
    SCOPED_TRACE(names[i]);
    const auto version = static_cast<std::uint32_t>(std::stod(versions[i / 3]) * 100 + 0.5);
    ExpectSample(bags[i], version, compressions[i % 3]);
  }
}

TEST_F(BagWritingTest, AnEmptyBagIsABag) {
  QorBagWriter writer(Folder(), "empty.bag", "2.7", FileCompressionType::kNone);
  ASSERT_EQ(writer.Init(), BagWriterCode::kOk);
  EXPECT_EQ(writer.WriteFileName(), Folder() + "/empty.bag.active");
  EXPECT_TRUE(std::filesystem::exists(writer.WriteFileName()));
  writer.Stop();
  EXPECT_FALSE(std::filesystem::exists(writer.WriteFileName()));
  const json bag = Read(writer.TargetFileName());
  EXPECT_EQ(bag["header"]["connectionCount"], 0);
  EXPECT_EQ(bag["header"]["chunkCount"], 0);
  EXPECT_GT(bag["header"]["stopRecordRealTime"], 0);
}

TEST_F(BagWritingTest, WhatCannotBeRecordedHasItsCode) {
  const auto init = [](const std::string& path, const std::string& name, const std::string& version,
                       FileCompressionType compression = FileCompressionType::kNone) {
    return QorBagWriter(path, name, version, compression).Init();
  };
  EXPECT_EQ(init("bags", "a", "2.7"), BagWriterCode::kPathNotAbsolute);
  EXPECT_EQ(init(Folder(), ".bag", "2.7"), BagWriterCode::kBadName);
  EXPECT_EQ(init(Folder(), "a", "27"), BagWriterCode::kBadVersion);
  EXPECT_EQ(init(Folder(), "a", "2.8"), BagWriterCode::kBadVersion);
  EXPECT_EQ(init(Folder() + "/no", "a", "2.7"), BagWriterCode::kCannotOpen);
  std::ofstream(Folder() + "/there.bag") << "somebody's";
  EXPECT_EQ(init(Folder(), "there", "2.7"), BagWriterCode::kFileExists);
  std::ofstream(Folder() + "/left.bag.active") << "what a crash left";
  EXPECT_EQ(init(Folder(), "left", "2.7"), BagWriterCode::kCannotOpen);
  EXPECT_EQ(std::filesystem::file_size(Folder() + "/left.bag.active"), 17U) << "it can be repaired";

  QorBagWriter writer(Folder(), "run", "2.7", static_cast<FileCompressionType>(9));
  EXPECT_EQ(Write(writer, DdsEvent("/a"), 1, {1}), BagWriterCode::kNotOpen);
  ASSERT_EQ(writer.Init(), BagWriterCode::kNoCompressor);
  EXPECT_EQ(init(Folder(), "run.bag", "2.7"), BagWriterCode::kCannotOpen) << "it is being recorded";
  EXPECT_EQ(QorBagFile().OpenWrite(writer.WriteFileName(), Folder(), writer.TargetFileName()), QorBagFile::kFailed);
  EXPECT_EQ(log_.CountContaining("recording the same file name"), 1U);
  EXPECT_EQ(Write(writer, nullptr, 1, {1}), BagWriterCode::kNoEvent);
  EXPECT_EQ(writer.Write(std::make_shared<EventMsgInfo>(), 1), BagWriterCode::kNoPayload);
  const auto alien = DdsEvent("/alien");
  alien->driverType = static_cast<DriverType>(7);
  EXPECT_EQ(Write(writer, alien, 1, {1}), BagWriterCode::kWriteFailed);
  EXPECT_EQ(Write(writer, DdsEvent("/a"), 1, {1}), BagWriterCode::kOk);
  writer.Stop();
  const json bag = Read(writer.TargetFileName());
  EXPECT_EQ(bag["header"]["compression"], 0) << "what cannot be compressed is not";
  EXPECT_EQ(bag["connections"].size(), 1U);
}

TEST_F(BagWritingTest, SeveralThreadsWriteIntoOneBag) {
  constexpr int kThreads = 4;
  constexpr int kMessages = 200;
  QorBagWriter writer(Folder(), "run", "2.7", FileCompressionType::kLz4);
  writer.SetMaxChunkSize(4);
  ASSERT_EQ(writer.Init(), BagWriterCode::kOk);
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&writer, event = DdsEvent("/thread" + std::to_string(i))] {
      for (std::uint64_t time = 0; time < kMessages; ++time) {
        EXPECT_EQ(Write(writer, event, time, {1, 2, 3}), BagWriterCode::kOk);
      }
    });
  }
  threads.clear();
  writer.Stop();
  const json bag = Read(writer.TargetFileName());
  ASSERT_EQ(bag["connections"].size(), std::size_t{kThreads});
  for (const json& connection : bag["connections"]) {
    EXPECT_EQ(connection["msgCount"], kMessages);
  }
}

/// A file in memory whose n-th write fails after a few bytes.
class FailingOutput : public BagOutput {
 public:
  FailingOutput(std::vector<std::uint8_t>& bytes, int failsAt) : bytes_(bytes), failsAt_(failsAt) {}

  bool Write(std::span<const std::uint8_t> bytes) override {
    const bool fails = count_++ == failsAt_;
    const std::size_t size = fails ? std::min<std::size_t>(bytes.size(), 3) : bytes.size();
    bytes_.resize(std::max<std::size_t>(bytes_.size(), position_ + size));
    std::copy_n(bytes.begin(), size, bytes_.begin() + static_cast<std::ptrdiff_t>(position_));
    position_ += size;
    return !fails;
  }
  bool Seek(std::uint64_t position) override {
    position_ = position;
    return true;
  }
  bool SeekEnd() override { return Seek(bytes_.size()); }
  bool Truncate(std::uint64_t position) override {
    bytes_.resize(position);
    return true;
  }
  std::uint64_t Position() const override { return position_; }
  bool Flush() override { return true; }
  bool Sync() override { return true; }
  bool Close() override { return true; }

 private:
  std::vector<std::uint8_t>& bytes_;
  const int failsAt_;
  int count_ = 0;
  std::uint64_t position_ = 0;
};

TEST_F(BagWritingTest, AFailedWriteLosesItsChunkAndNothingElse) {
  const auto event = DdsEvent("/a");
  std::vector<std::string> names;
  std::vector<json> expected;
  for (int failsAt = 2; failsAt < 26; ++failsAt) {
    SCOPED_TRACE(failsAt);
    std::vector<std::uint8_t> bytes;
    BagFileWriter writer;
    writer.SetMaxChunkSize(1);
    ASSERT_EQ(writer.Open(std::make_unique<FailingOutput>(bytes, failsAt), "bag"), BagFileWriter::Result::kOk);
    json times = json::array();
    for (std::uint8_t i = 0; i < 3; ++i) {
      const std::vector<std::uint8_t> payload(1100, i);
      if (writer.Write(EventMsg{event}, i, payload) == BagFileWriter::Result::kOk) {
        times.push_back(i);
      }
    }
    EXPECT_GE(times.size(), 2U) << "one chunk is lost at most";
    const std::string line = "WriteRecordHeader: write failed!";
    const std::size_t before = log_.CountContaining(line);
    if (writer.Close() == BagFileWriter::Result::kOk) {
      EXPECT_EQ(times.size(), 2U) << "else closing failed";
      names.push_back(Folder() + "/" + std::to_string(failsAt) + ".bag");
      expected.push_back(std::move(times));
      std::ofstream(names.back(), std::ios::binary)
          .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    } else {
      EXPECT_EQ(log_.CountContaining(line), before + 1) << "a record of the closing index, or the file header";
    }
  }
  const auto bags = Read(names);
  for (std::size_t i = 0; i < bags.size(); ++i) {
    json times = json::array();
    for (const json& message : bags[i]["messages"]) {
      times.push_back(message["time"]);
    }
    EXPECT_EQ(times, expected[i]) << names[i];
  }
}

}  // namespace
}  // namespace qor::qorbag
