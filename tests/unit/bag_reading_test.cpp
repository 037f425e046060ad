// SPDX-License-Identifier: Apache-2.0
// Bags that tests/data/bag_format.py made, which shares nothing with the library: one for each version and compression,
// with what is in it as JSON beside it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/log/log_config.h"
#include "src/qorbag/bag_file_reader.h"
#include "src/qorbag/file_input.h"
#include "tests/support/bytes_input.h"

namespace qor::qorbag {
namespace {

using nlohmann::json;
using test::Bytes;
using test::BytesInput;
using How = BagFileReader::How;

struct Message {
  std::uint64_t time = 0;
  std::string payload;  ///< hexadecimal
  std::uint64_t position = 0;
  bool isRead = false;
};
/// By connection id, in the order of time.
using Messages = std::map<std::uint32_t, std::vector<Message>>;

std::string Hex(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

Messages Expected(const json& bag) {
  Messages messages;
  for (const json& message : bag["messages"]) {
    messages[message["connection"]].push_back({message["time"], message["payload"], 0, true});
  }
  for (auto& [id, list] : messages) {
    std::ranges::stable_sort(list, {}, &Message::time);
  }
  return messages;
}

Messages Found(BagFileReader& reader) {
  Messages messages;
  QorBuffer buffer;
  for (const auto& [id, index] : reader.Content()->indexes) {
    for (const MessageIndex& entry : index) {
      const bool isRead = reader.ReadMsgDataIntoStream(entry, id, buffer, 0) == BagFileReader::Result::kOk;
      messages[id].push_back({entry.time, isRead ? Hex(buffer.Bytes()) : "", entry.msgPos, isRead});
    }
  }
  return messages;
}

Bytes ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

class BagReadingTest : public ::testing::Test {
 protected:
  BagReadingTest() {
    log::LogOptions quiet;
    quiet.stderrLevel = LogLevel::kOff;
    log::ConfigureLog(quiet);
  }

  static std::string Name(const std::string& file) { return std::string(QOR_TEST_DATA) + "/bags/" + file; }

  static void ExpectSame(const Messages& found, const Messages& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (const auto& [id, list] : expected) {
      ASSERT_EQ(found.count(id), 1U) << id;
      const auto& other = found.at(id);
      ASSERT_EQ(other.size(), list.size()) << id;
      for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_TRUE(other[i].isRead) << id << " " << i;
        EXPECT_EQ(other[i].time, list[i].time) << id << " " << i;
        EXPECT_EQ(other[i].payload, list[i].payload) << id << " " << i;
      }
    }
  }
};

TEST_F(BagReadingTest, EveryVersionAndCompressionIsReadWhole) {
  int count = 0;
  for (const auto& file : std::filesystem::directory_iterator(Name(""))) {
    if (file.path().extension() != ".json") {
      continue;
    }
    ++count;
    const std::string name = file.path().stem();
    SCOPED_TRACE(name);
    const json bag = json::parse(std::ifstream(file.path()));
    const std::uint32_t version = bag["version"];
    BagFileReader reader;
    ASSERT_TRUE(reader.Open(std::make_unique<FileInput>(Name(name + ".bag")), How::kClosed));
    EXPECT_EQ(reader.Content()->version, version);
    EXPECT_EQ(reader.Content()->header.stopRecordRealTime, bag["header"].value("stopRecordRealTime", 0));
    ASSERT_EQ(reader.Content()->connections.size(), bag["connections"].size());
    for (const json& connection : bag["connections"]) {
      const Connection& found = reader.Content()->connections.at(connection["id"]);
      EXPECT_EQ(found.eventName, connection["event"]);
      EXPECT_EQ(found.msgDefinition, connection.value("msgDef", ""));
      EXPECT_EQ(found.msgCount, connection.value("msgCount", 0));
      const json& info = connection["eventInfo"];
      if (found.driverType == maintaind::DriverType::kSomeip) {
        EXPECT_EQ(found.eventInfo.someip.minorVersion, info["minorVersion"]);
        EXPECT_EQ(json(found.eventInfo.someip.eventGroupIds), info["eventGroupIds"]);
        EXPECT_EQ(found.eventInfo.someip.networkName, info.value("networkName", ""));
      } else {
        EXPECT_EQ(found.eventInfo.dds.topicName, info["topicName"]);
        EXPECT_EQ(found.eventInfo.dds.udpMulticastAddress, info.value("udpMulticastAddress", ""));
        EXPECT_EQ(found.eventInfo.dds.transports.size(), 2U);
        EXPECT_EQ(found.eventInfo.dds.transports[0],
                  version <= 130 ? maintaind::TransportQos::kUdp : maintaind::TransportQos::kShm);
      }
    }
    const Messages expected = Expected(bag);
    ExpectSame(Found(reader), expected);

    BagFileReader active;
    const std::string activeName = Name(name + ".bag.active");
    if (version <= 140) {
      EXPECT_FALSE(active.Open(std::make_unique<FileInput>(Name(name + ".bag")), How::kActive));
    } else {
      ASSERT_TRUE(active.Open(std::make_unique<FileInput>(activeName), How::kActive));
      ExpectSame(Found(active), expected);
    }
  }
  EXPECT_EQ(count, 35);
}

/// Whether every message that a changed bag gives is one of the whole bag, unless the change is within it.
void ExpectIntact(const Messages& found, const Messages& expected, std::uint64_t changed) {
  for (const auto& [id, list] : found) {
    for (const Message& message : list) {
      const bool isChangedItself = changed >= message.position + kMessagePayloadAt &&
                                   changed < message.position + kMessagePayloadAt + message.payload.size() / 2;
      if (!message.isRead || isChangedItself) {
        continue;
      }
      const bool isKnown = std::ranges::any_of(expected, [&](const auto& connection) {
        return std::ranges::any_of(connection.second, [&](const Message& other) {
          return other.time == message.time && other.payload == message.payload;
        });
      });
      EXPECT_TRUE(isKnown) << id << " " << message.time << " " << message.payload;
    }
  }
}

TEST_F(BagReadingTest, WhatIsCutOrChangedIsNeverTakenForAnother) {
  for (const std::string name : {"v100", "v150", "v270", "v270_lz4", "v270_zstd"}) {
    const Messages expected = Expected(json::parse(std::ifstream(Name(name + ".json"))));
    const bool isCompressed = name.size() > 4;
    for (const How how : {How::kClosed, How::kActive, How::kDamaged}) {
      const Bytes whole = ReadFile(Name(name + (how == How::kClosed ? ".bag" : ".bag.active")));
      const auto read = [&](Bytes bytes, std::uint64_t changed) {
        BagFileReader reader;
        auto input = std::make_unique<BytesInput>(std::move(bytes));
        if (reader.Open(std::move(input), how)) {
          ExpectIntact(Found(reader), expected, isCompressed ? UINT64_MAX : changed);
        }
      };
      for (std::size_t at = 0; at < whole.size(); ++at) {
        SCOPED_TRACE(name + " at " + std::to_string(at));
        read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)}, UINT64_MAX);
        for (const unsigned bits : {0xFFU, 0x01U, 0x40U}) {
          Bytes changed = whole;
          changed[at] = static_cast<std::uint8_t>(changed[at] ^ bits);
          read(std::move(changed), at);
        }
      }
    }
  }
}

}  // namespace
}  // namespace qor::qorbag
