// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/maintaind/service/tools_service.h"
#include "src/common/records/codec.h"
#include "src/common/records/registration.h"
#include "src/common/records/remote_daemon.h"
#include "src/common/records/someip_link.h"
#include "src/common/records/to_json.h"

namespace qor::maintaind {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Gives every field of a record a value of its own, so that two fields that are swapped or left out show.
class FillVisitor {
 public:
  template <class T>
  void operator()(const char* /*name*/, T& value) {
    Fill(value);
  }

  template <class T>
  void Fill(T& value) {
    if constexpr (Record<T>) {
      T::Visit(*this, value);
    } else if constexpr (std::is_same_v<T, bool>) {
      value = true;
    } else if constexpr (std::is_enum_v<T>) {
      value = static_cast<T>(1);
    } else {
      value = static_cast<T>(++counter_ * 0x0101010101010101ULL);
    }
  }
  void Fill(std::string& text) { text = "text " + std::to_string(++counter_) + " \xC3\xA4"; }
  template <class T>
  void Fill(std::vector<T>& list) {
    list.resize(2);
    Fill(list[0]);
    Fill(list[1]);
  }
  template <class K, class T>
  void Fill(std::map<K, T>& map) {
    Fill(map[static_cast<K>(0)]);
    Fill(map[static_cast<K>(1)]);
  }

 private:
  std::uint64_t counter_ = 0;
};

template <class T>
T FilledRecord() {
  T record;
  FillVisitor().Fill(record);
  return record;
}

template <class T>
class EveryRecord : public testing::Test {};

using RecordTypes =
    testing::Types<EventInfoWithPubSub, MethodInfoWithPubSub, FieldInfoWithPubSub, ServiceInfoWithPubSub,
                   NodeInfoWithAppName, QueryDataTypeIndex, QuerySubEventInfoIndex, SubNodeEventInfo, EventShowTexts,
                   MethodTypeTexts, DataTypeInfo, DataTypeRef, LatencySwitch, LatencyQueryInfo, LatencyStatus,
                   LatencyResult, ApplicationHello, DaemonHello, EventRegistration, MethodRegistration,
                   FieldRegistration, ServiceRegistration, ServiceOffer, ServiceState, SubscriberChange, RemoteDaemon>;
TYPED_TEST_SUITE(EveryRecord, RecordTypes);

TYPED_TEST(EveryRecord, ComesBackFromTheWireAsItWas) {
  const auto record = FilledRecord<TypeParam>();
  const Bytes bytes = Encode(record);
  TypeParam decoded;
  ASSERT_TRUE(Decode(bytes, decoded));
  EXPECT_TRUE(decoded == record);
  EXPECT_EQ(Encode(decoded), bytes);
  EXPECT_EQ(ToJson(decoded), ToJson(record));
}

TYPED_TEST(EveryRecord, CutAtAnyLengthOrExtendedIsRefused) {
  const Bytes bytes = Encode(FilledRecord<TypeParam>());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    TypeParam decoded;
    ASSERT_FALSE(Decode(std::span(bytes).first(length), decoded)) << "cut at " << length << " of " << bytes.size();
  }
  Bytes extended = bytes;
  extended.push_back(0);
  TypeParam decoded;
  EXPECT_FALSE(Decode(extended, decoded));
}

TEST(RecordCodec, WritesSomeipSerialization) {
  PeerUnicast peer;
  peer.address = "ab";
  peer.port = 0x1234;
  peer.isReliable = true;
  EXPECT_THAT(Encode(peer), testing::ElementsAre(0, 0, 0, 6, 0xEF, 0xBB, 0xBF, 'a', 'b', 0, 0x12, 0x34, 1));

  const std::vector<std::uint16_t> list{1, 0x0203};
  EXPECT_THAT(Encode(list), testing::ElementsAre(0, 0, 0, 4, 0, 1, 2, 3));

  const std::map<DriverType, HistoryQos> map{{DriverType::kSomeip, {HistoryKind::kKeepAll, 5}}};
  EXPECT_THAT(Encode(map), testing::ElementsAre(0, 0, 0, 9, 0, 0, 0, 1, 1, 0, 0, 0, 5));
}

TEST(RecordCodec, RefusesLengthsThatClaimMoreThanThereIs) {
  const Bytes listOfFourGigabytes{0xFF, 0xFF, 0xFF, 0xFF, 0, 1};
  std::vector<EventInfoWithPubSub> list;
  EXPECT_FALSE(Decode(listOfFourGigabytes, list));

  // The inner list claims bytes that belong to what follows the outer one.
  const Bytes innerLongerThanOuter{0, 0, 0, 5, 0, 0, 0, 9, 1, 2, 3, 4, 5, 6, 7, 8};
  std::vector<Bytes> lists;
  EXPECT_FALSE(Decode(innerLongerThanOuter, lists));
}

TEST(RecordCodec, RefusesTextsWithoutMarkOrTerminatorAndFlagsThatAreNeither) {
  std::string text;
  EXPECT_FALSE(Decode(Bytes{0, 0, 0, 4, 0xEF, 0xBB, 0xBF, 'a'}, text));
  EXPECT_FALSE(Decode(Bytes{0, 0, 0, 2, 'a', 0}, text));
  EXPECT_FALSE(Decode(Bytes{0, 0, 0, 0}, text));
  bool flag = false;
  EXPECT_FALSE(Decode(Bytes{2}, flag));
}

TEST(RecordEquality, SeesADifferenceInAnInheritedAndInANestedField) {
  const auto record = FilledRecord<EventInfoWithPubSub>();
  auto other = record;
  EXPECT_TRUE(other == record);
  other.hostDomainName += "x";
  EXPECT_FALSE(other == record);
  other = record;
  other.bindings[DriverType::kDds].dds.qos.history.depth++;
  EXPECT_FALSE(other == record);
}

}  // namespace
}  // namespace qor::maintaind
