// SPDX-License-Identifier: Apache-2.0
#include <fastdds/rtps/common/SerializedPayload.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <thread>

#include "platform/com/recv_buffer.h"
#include "platform/dds/delivery_gate.h"
#include "platform/dds/endpoint_qos.h"
#include "platform/dds/endpoint_transports.h"
#include "platform/dds/raw_type.h"
#include "platform/dds/shared_memory.h"
#include "platform/dds/shared_memory_port.h"
#include "platform/ipc/unique_fd.h"
#include "platform/log/log_capture.h"
#include "tests/support/scratch_folder.h"

namespace qor::dds {
namespace {

using Bytes = std::vector<std::uint8_t>;
using eprosima::fastrtps::rtps::SerializedPayload_t;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

Bytes Serialized(const Bytes& payload, std::uint16_t encapsulation) {
  RawType type("T", false);
  OutgoingSample sample{payload, encapsulation};
  SerializedPayload_t serialized(type.getSerializedSizeProvider(&sample)());
  EXPECT_TRUE(type.serialize(&sample, &serialized));
  EXPECT_EQ(serialized.length, serialized.max_size);
  return {serialized.data, serialized.data + serialized.length};
}

TEST(RawType, WritesHeaderPayloadAndCountedPadding) {
  EXPECT_THAT(Serialized({}, 0x0001), ElementsAre(0, 1, 0, 0));
  EXPECT_THAT(Serialized({9}, 0x0007), ElementsAre(0, 7, 0, 3, 9, 0, 0, 0));
  EXPECT_THAT(Serialized({9, 8, 7}, 0x0001), ElementsAre(0, 1, 0, 1, 9, 8, 7, 0));
  EXPECT_THAT(Serialized({9, 8, 7, 6}, 0x0001), ElementsAre(0, 1, 0, 0, 9, 8, 7, 6));
  const Bytes payload(5);
  OutgoingSample sample{payload, 1};
  SerializedPayload_t tooSmall(11);
  EXPECT_FALSE(RawType("T", false).serialize(&sample, &tooSmall));
}

TEST(IncomingSample, TakesTheExactPayloadAndReusesItsBuffer) {
  IncomingSample sample;
  sample.Assign(Bytes{0, 7, 0, 3, 9, 8, 7, 6, 5, 0, 0, 0});
  EXPECT_FALSE(sample.IsMalformed());
  EXPECT_THAT(sample.Payload(), ElementsAre(9, 8, 7, 6, 5));
  EXPECT_EQ(sample.Encapsulation(), 7);
  const auto* const buffer = sample.Payload().data();
  sample.Assign(Bytes{0, 1, 0, 0, 1, 2, 3, 4, 5});  // a writer that does not pad
  EXPECT_THAT(sample.Payload(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(sample.Payload().data(), buffer);
  sample.Assign(Bytes{0, 1, 0, 0});
  EXPECT_THAT(sample.Payload(), IsEmpty());
  EXPECT_FALSE(sample.IsMalformed());
}

TEST(IncomingSample, GivesItsMemoryAwayAndGoesOnInOther) {
  IncomingSample sample;
  com::ByteBuffer kept;
  for (const Bytes& payload : {Bytes{1, 2, 3, 4}, Bytes(100, 5), Bytes{6, 7, 8, 9}}) {
    Bytes serialized(RawType::kEncapsulationSize + payload.size());
    std::ranges::copy(payload, serialized.begin() + RawType::kEncapsulationSize);
    sample.Assign(serialized);
    com::RecvBuffer received;
    received.payload = sample.Payload();
    received.memory = &sample.Memory();
    received.KeepPayload(kept);
    EXPECT_THAT(kept.Bytes(), ElementsAreArray(payload));
    EXPECT_EQ(kept.GetData(), received.payload.data()) << "copied";
    received.memory = nullptr;
    com::ByteBuffer copied;
    received.KeepPayload(copied);
    EXPECT_THAT(copied.Bytes(), ElementsAreArray(payload));
  }
}

TEST(IncomingSample, KnowsWhatIsTooShort) {
  for (const Bytes& bytes : {Bytes{}, Bytes{0}, Bytes{0, 1, 0}, Bytes{0, 1, 0, 1}, Bytes{0, 1, 0, 3, 1, 1}}) {
    IncomingSample sample;
    sample.Assign(bytes);
    EXPECT_TRUE(sample.IsMalformed()) << bytes.size();
    EXPECT_THAT(sample.Payload(), IsEmpty());
  }
}

TEST(SplitPartition, TakesNamesWithoutBlanks) {
  EXPECT_THAT(SplitPartition(""), IsEmpty());
  EXPECT_THAT(SplitPartition(" , ,"), IsEmpty());
  EXPECT_THAT(SplitPartition("a"), ElementsAre("a"));
  EXPECT_THAT(SplitPartition(" a b ,c*,,d "), ElementsAre("a b", "c*", "d"));
}

TEST(EndpointQos, StandsEveryDepth) {
  maintaind::DDSEventInfo event;
  event.isKeyed = true;
  for (const std::uint32_t depth : {0U, 1U, 6000U, 0xFFFFFFFFU}) {
    event.qos.history.depth = depth;
    const auto qos = MakeReaderQos(event, 0);
    EXPECT_GE(qos.history().depth, 1);
    EXPECT_GE(qos.resource_limits().max_samples_per_instance, qos.history().depth);
    EXPECT_GT(qos.resource_limits().max_samples, 0);
  }
  event.qos.history = {.kind = maintaind::HistoryKind::kKeepAll, .depth = 1};
  EXPECT_EQ(MakeReaderQos(event, 0).history().kind, eprosima::fastdds::dds::KEEP_ALL_HISTORY_QOS);
  EXPECT_EQ(MakeReaderQos(event, 77).history().kind, eprosima::fastdds::dds::KEEP_LAST_HISTORY_QOS);
  EXPECT_EQ(MakeReaderQos(event, 77).history().depth, 77);
}

TEST(ChooseTransports, TakesUdpWhereThereIsNoSharedMemoryAndKnowsWhatCannotBeDriven) {
  using maintaind::TransportQos;
  for (const auto& wanted :
       {std::vector<TransportQos>{}, {TransportQos::kShm}, {TransportQos::kShm, TransportQos::kUdp}}) {
    const auto chosen = ChooseTransports(wanted, false);
    ASSERT_TRUE(chosen);
    EXPECT_TRUE(chosen.Value().useUdp && !chosen.Value().useSharedMemory);
    EXPECT_THAT(chosen.Value().used, ElementsAre(TransportQos::kUdp));
  }
  EXPECT_FALSE(ChooseTransports({TransportQos::kPcie}, true));
  EXPECT_FALSE(ChooseTransports({static_cast<TransportQos>(99)}, true));
}

TEST(SharedMemory, IsUsedAsFarAsThereIsRoomAndGivenUpWithOneWarning) {
  const test::ScratchFolder folder;
  log::LogCapture capture;
  EXPECT_EQ(UsableSegmentSize(1U << 20U, folder.Path()), 1U << 20U);
  EXPECT_EQ(capture.Lines().size(), 0U);
  EXPECT_EQ(UsableSegmentSize(1U << 20U, folder.File("missing")), 0U);
  EXPECT_EQ(UsableSegmentSize(1U << 20U, folder.File("missing")), 0U);
  EXPECT_EQ(UsableSegmentSize(1U << 20U, "/proc"), 0U) << "no room at all";
  EXPECT_EQ(capture.CountContaining("Shared memory cannot be used"), 1U);
}

TEST(SharedMemory, OnlyTheSegmentsOfTheDeadAreRemoved) {
  const test::ScratchFolder folder;
  for (const char* name : {"fastrtps_dead", "fastrtps_living", "fastrtps_young", "fastrtps_port7411", "other"}) {
    folder.Write(name, "segment");
    folder.Write(std::string(name) + "_el", "");
    if (name != std::string("fastrtps_young")) {
      std::filesystem::last_write_time(folder.File(std::string(name) + "_el"),
                                       std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1));
    }
  }
  const ipc::UniqueFd owner(::open(folder.File("fastrtps_living_el").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(owner.Get(), LOCK_EX), 0);
  RemoveAbandonedSegments(folder.Path());
  EXPECT_THAT(folder.Names(), testing::UnorderedElementsAre("fastrtps_living", "fastrtps_living_el", "fastrtps_young",
                                                            "fastrtps_young_el", "fastrtps_port7411",
                                                            "fastrtps_port7411_el", "other", "other_el"));
}

TEST(SharedMemory, NoPortOfTheDeadIsUsedAgainAsLongAsSomebodyKnowsIt) {
  const test::ScratchFolder folder;
  const auto numberOfNew = [&] { return SharedMemoryPort::Reserve(folder.Path())->Number(); };
  const std::uint32_t first = numberOfNew();
  EXPECT_EQ(numberOfNew(), first) << "its owner ended in good order";
  {
    const auto owner = SharedMemoryPort::Reserve(folder.Path());
    EXPECT_EQ(numberOfNew(), first + 1);
  }
  const std::string queue = "fastrtps_port" + std::to_string(first);
  {
    folder.Write(queue + "_el", "");
    const ipc::UniqueFd lock(::open(folder.File(queue + "_el").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.Get(), LOCK_EX), 0);
    EXPECT_EQ(numberOfNew(), first + 1) << "its owner has ended, but its queue is open still";
  }
  if (const pid_t child = ::fork(); child == 0) {
    auto killed = SharedMemoryPort::Reserve(folder.Path());
    ::_exit(killed->Number() == first ? 0 : 1);
  } else {
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
  }
  folder.Write(queue, "queue");
  std::vector<SharedMemoryPort> others;
  {
    const ipc::UniqueFd file(::open(folder.File(queue).c_str(), O_RDWR | O_CLOEXEC));
    void* const writer = ::mmap(nullptr, 5, PROT_READ, MAP_SHARED, file.Get(), 0);
    ASSERT_NE(writer, MAP_FAILED);
    for (auto port = SharedMemoryPort::Reserve(folder.Path()); port; port = SharedMemoryPort::Reserve(folder.Path())) {
      EXPECT_NE(port->Number(), first);
      others.push_back(std::move(*port));
    }
    EXPECT_GT(others.size(), 200U);
    ::munmap(writer, 5);
  }
  EXPECT_EQ(numberOfNew(), first);
  EXPECT_EQ(folder.Names().count(queue), 0U);
}

TEST(DeliveryGate, LosesNoSignalAndLetsOneThreadIn) {
  DeliveryGate gate;
  std::atomic<int> offered{0};
  std::atomic<int> inside{0};
  int taken = 0;  // touched by the delivering thread only
  const auto signal = [&] {
    for (int i = 0; i < 20'000; ++i) {
      ++offered;
      gate.Signal([&] {
        EXPECT_EQ(inside.fetch_add(1), 0);
        taken = offered;
        --inside;
      });
    }
  };
  std::thread other(signal);
  signal();
  other.join();
  gate.Signal([] {});
  EXPECT_EQ(taken, 40'000);
}

TEST(DeliveryGate, CloseWaitsForTheDeliveryAndLetsNothingIn) {
  DeliveryGate gate;
  std::atomic<bool> isInside{false};
  std::atomic<bool> hasLeft{false};
  std::thread delivering([&] {
    gate.Signal([&] {
      isInside = true;
      while (!gate.IsClosed()) {
        std::this_thread::yield();
      }
      hasLeft = true;
    });
  });
  while (!isInside) {
    std::this_thread::yield();
  }
  gate.Close();
  EXPECT_TRUE(hasLeft);
  gate.Signal([] { FAIL(); });
  delivering.join();
}

}  // namespace
}  // namespace qor::dds
