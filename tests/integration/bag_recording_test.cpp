// SPDX-License-Identifier: Apache-2.0
// Recordings of real publishers over both wires, with a daemon that may go and come back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/log/log_capture.h"
#include "src/qorbag/qor_bag_reader.h"
#include "src/qorbag/qor_recorder.h"
#include "tests/support/child_process.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/dds_event.h"
#include "tests/support/received_samples.h"
#include "tests/support/runtime_folder.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using maintaind::TransportQos;
using test::Bytes;
using test::Eventually;
using test::Pattern;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class BagRecordingTest : public ::testing::Test {
 protected:
  /// What an event published, in order.
  struct Source {
    com::Publisher publisher;
    std::vector<Bytes> published;
  };

  BagRecordingTest() {
    options_.outputPath = folder_.Path() + "/";
    options_.name = "run";
    options_.minSpace = 1;
    options_.all = true;
  }

  /// "shm", "udp", "mbuf", "protected" or "someip".
  void Advertise(const std::string& name, const std::string& kind) {
    maintaind::EventRegisterInfo event;
    event.eventName = name;
    event.dataTypeName = dataType_;
    if (kind == "someip") {
      auto& someip = event.bindings[DriverType::kSomeip].someip;
      someip.serviceId = static_cast<std::uint16_t>(0x7000 + ::getpid() % 0x1000);
      someip.instanceId = 1;
      someip.eventId = 0x8001;
      someip.eventGroupIds = {1};
    } else {
      const auto transport = kind == "mbuf"  ? TransportQos::kDshmMbuf
                             : kind == "udp" ? TransportQos::kUdp
                                             : TransportQos::kShm;
      auto [topic, isNew] = topics_.try_emplace(name, test::DdsEvent({transport}));
      topic->second.dds.qos.durability = durability_;
      topic->second.dds.e2e = {.isProtected = kind == "protected", .profile = 4, .dataId = 7};
      topic->second.dds.dataMode = kind == "mbuf" ? maintaind::DataMode::kMbuf : maintaind::DataMode::kNormal;
      event.bindings[DriverType::kDds] = topic->second;
    }
    ASSERT_TRUE(Helper::AddConfig(/*isPublisher=*/true, {}, event));
    sources_[name].publisher = node_.Advertise(name);
    ASSERT_TRUE(sources_[name].publisher);
  }

  void WaitForRecorder() {
    for (auto& [name, source] : sources_) {
      const com::Publisher& publisher = source.publisher;
      EXPECT_TRUE(Eventually([&publisher] { return publisher.GetSubscriberCount() == 1; })) << name;
    }
  }

  /// So many of each event, one a millisecond: what is recorded must not depend on how much a transport can take.
  void Publish(int count) {
    for (int i = 0; i < count; ++i) {
      for (auto& [name, source] : sources_) {
        Bytes payload = Pattern(20 + source.published.size() % 50, static_cast<std::uint32_t>(source.published.size()));
        if (name == "/rec/mbuf") {
          const dp::MbufSample sample{std::span(payload).first(7), {{payload.data() + 7, 3}, {payload.data() + 10, 5}}};
          EXPECT_TRUE(source.publisher.Publish(sample));
          payload = dp::EncodeMbufSample(sample);
        } else {
          EXPECT_TRUE(source.publisher.Publish(payload));
        }
        source.published.push_back(std::move(payload));
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::uint64_t PublishedCount() const {
    std::uint64_t count = 0;
    for (const auto& [name, source] : sources_) {
      count += source.published.size();
    }
    return count;
  }

  std::map<std::string, std::vector<Bytes>> Recorded(const std::string& bag) const {
    std::map<std::string, std::vector<Bytes>> recorded;
    QorBagReader reader(folder_.File(bag));
    EXPECT_TRUE(reader.Init());
    for (EventMsg msg; reader.ReadEventMsg(msg, 0);) {
      const auto bytes = msg.payload.Bytes();
      recorded[msg.event->eventName].emplace_back(bytes.begin(), bytes.end());
    }
    return recorded;
  }

  const log::LogCapture log_;
  const test::RuntimeFolder runtime_;
  const test::ScratchFolder folder_;
  std::unique_ptr<test::DaemonThread> daemon_ = std::make_unique<test::DaemonThread>(test::QuietDaemon());
  com::NodeHandle node_{"/recorded"};
  std::map<std::string, maintaind::EventInfo> topics_;
  std::map<std::string, Source> sources_;
  RecorderOptions options_;
  std::string dataType_ = "uint8";
  maintaind::DurabilityQos durability_ = maintaind::DurabilityQos::kVolatile;
};

TEST_F(BagRecordingTest, EverythingIsRecordedWhileDaemonsAndPublishersComeAndGo) {
  Advertise("/rec/shm", "shm");
  Advertise("/rec/mbuf", "mbuf");
  Advertise("/rec/protected", "protected");
  Advertise("/rec/someip", "someip");
  QorRecorder recorder(options_);
  bool isWhole = false;
  std::thread run([&] { isWhole = recorder.Run(); });
  WaitForRecorder();
  Publish(200);
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == PublishedCount(); }));

  daemon_ = nullptr;
  sources_.erase("/rec/someip");  // it needs the daemon
  const std::uint64_t before = recorder.GetStatus().written;
  Publish(50);
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == before + 150; })) << "without a daemon";

  sources_["/rec/shm"].publisher = com::Publisher();
  daemon_ = std::make_unique<test::DaemonThread>(test::QuietDaemon());
  Advertise("/rec/shm", "shm");
  Advertise("/rec/late", "udp");
  WaitForRecorder();
  const std::uint64_t again = recorder.GetStatus().written;
  Publish(100);
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == again + 400; }));
  recorder.Stop();
  run.join();
  EXPECT_TRUE(isWhole);
  const RecorderStatus status = recorder.GetStatus();
  EXPECT_EQ(status.counts.received, status.written);
  EXPECT_EQ(status.events.size(), 5U);

  auto recorded = Recorded("run.bag");
  EXPECT_EQ(recorded["/rec/someip"].size(), 200U);
  for (const auto& [name, source] : sources_) {
    EXPECT_EQ(recorded[name], source.published) << name;
  }
  EXPECT_THAT(folder_.Names(), testing::ElementsAre("run.bag"));
}

TEST_F(BagRecordingTest, ItEndsWhenEveryEventHasItsMessages) {
  Advertise("/rec/a", "shm");
  Advertise("/rec/b", "udp");
  options_.all = false;
  options_.events = {"/rec/a", "/rec/b[]", "/rec/left_out"};
  options_.excluded = {"/rec/left*"};
  options_.limit = 20;
  options_.skipFrame = 2;
  QorRecorder recorder(options_);
  std::thread run([&] { recorder.Run(); });
  WaitForRecorder();
  Publish(100);
  run.join();
  auto recorded = Recorded("run.bag");
  for (const auto& [name, source] : sources_) {
    ASSERT_EQ(recorded[name].size(), 20U);
    for (std::size_t i = 0; i < recorded[name].size(); ++i) {
      EXPECT_EQ(recorded[name][i], source.published[2 * i]) << name;
    }
  }
  const RecorderStatus status = recorder.GetStatus();
  EXPECT_EQ(status.counts.received, status.counts.skipped + status.counts.dropped + status.written);
  EXPECT_EQ(log_.CountContaining("Recorder no subscirber."), 1U);
}

TEST_F(BagRecordingTest, APublisherThatComesBackWithAnotherQosIsRecordedOn) {
  Advertise("/rec/a", "shm");
  QorRecorder recorder(options_);
  std::thread run([&] { recorder.Run(); });
  WaitForRecorder();
  Publish(20);
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == 20; }));
  sources_["/rec/a"].publisher = com::Publisher();
  topics_.at("/rec/a").dds.qos.reliability = maintaind::ReliabilityKind::kBestEffort;
  Advertise("/rec/a", "shm");
  WaitForRecorder();
  Publish(20);
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == 40; }));
  recorder.Stop();
  run.join();
  EXPECT_EQ(Recorded("run.bag")["/rec/a"], sources_["/rec/a"].published);
}

/// There may never be a second sample at which the recorder could look again.
TEST_F(BagRecordingTest, AValueThatComesOnceHasItsDefinition) {
  const std::string definition = R"({"ShortName":"Mode","Type":"ARRAY","template":"uint8","length":"20"})";
  std::filesystem::create_directory(folder_.File("types"));
  folder_.Write("types/mode.json", "[" + definition + "]");
  daemon_ = nullptr;
  maintaind::DaemonOptions daemon = test::QuietDaemon();
  daemon.deploymentDir = folder_.Path();
  daemon.answerFilter = [](const someip::MessageHeader& request, maintaind::ServiceAnswer answer) {
    if (request.serviceId == maintaind::QORMaintaindToolsService::ServiceIdentifier &&
        request.methodId == maintaind::operation::QueryAllDataType::kMethodId) {
      std::this_thread::sleep_for(std::chrono::milliseconds(150));  // the value is there earlier, if it may
    }
    return std::optional(std::move(answer));
  };
  daemon_ = std::make_unique<test::DaemonThread>(std::move(daemon));
  dataType_ = "Mode";
  durability_ = maintaind::DurabilityQos::kTransientLocal;
  Advertise("/rec/mode", "shm");
  Publish(1);
  QorRecorder recorder(options_);
  std::thread run([&] { recorder.Run(); });
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == 1; }));
  recorder.Stop();
  run.join();
  QorBagReader reader(folder_.File("run.bag"));
  ASSERT_TRUE(reader.Init());
  EventMsg msg;
  ASSERT_TRUE(reader.ReadEventMsg(msg, 0));
  EXPECT_EQ(msg.event->msgDefinition, definition);
}

TEST_F(BagRecordingTest, WhatIsLostWithItsChunkIsNotCountedAsWritten) {
  Advertise("/rec/a", "shm");
  Advertise("/rec/b", "shm");
  options_.chunkSize = 16;
  QorRecorder recorder(options_);
  bool isWhole = true;
  std::thread run([&] { isWhole = recorder.Run(); });
  WaitForRecorder();
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
  limit.rlim_cur = 40000;  // between two and three chunks
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  Publish(500);
  run.join();
  EXPECT_FALSE(isWhole);
  const auto recorded = Recorded("run.bag");
  const RecorderStatus status = recorder.GetStatus();
  for (const RecorderStatus::Event& event : status.events) {
    EXPECT_GT(event.written, 0U);
    EXPECT_EQ(event.written, recorded.at(event.name).size()) << event.name;
    EXPECT_EQ(event.counts.received, event.written + event.counts.dropped) << event.name;
  }
  EXPECT_EQ(status.counts.received, status.written + status.counts.dropped);
}

TEST_F(BagRecordingTest, NoMessageIsLostOrDoubledWhereFilesAreSplit) {
  Advertise("/rec/a", "shm");
  Advertise("/rec/b", "shm");
  options_.split = true;
  options_.chunkSize = 1;
  options_.maxSize = 4096;
  QorRecorder recorder(options_);
  std::thread run([&] { recorder.Run(); });
  WaitForRecorder();
  Publish(3000);
  EXPECT_TRUE(Eventually([&] { return recorder.GetStatus().written == PublishedCount(); }));
  recorder.Stop();
  run.join();
  const std::uint32_t last = recorder.GetStatus().splitIndex;
  EXPECT_GE(last, 50U);
  std::map<std::string, std::vector<Bytes>> all;
  for (std::uint32_t i = 0; i <= last; ++i) {
    for (auto& [name, payloads] : Recorded("run_" + std::to_string(i) + ".bag")) {
      all[name].insert(all[name].end(), payloads.begin(), payloads.end());
    }
  }
  for (const auto& [name, source] : sources_) {
    EXPECT_EQ(all[name], source.published) << name;
  }
}

TEST_F(BagRecordingTest, StopAtAnyMomentLeavesAClosedBagOrNone) {
  Advertise("/rec/a", "shm");
  for (const int delay : {-1, 0, 1, 5, 20, 100, 210, 250, 400, 1100}) {
    options_.name = "stop" + std::to_string(delay);
    QorRecorder recorder(options_);
    if (delay < 0) {
      recorder.Stop();
    }
    std::thread stopper([&] {
      const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(delay);
      while (std::chrono::steady_clock::now() < end) {
        static_cast<void>(sources_["/rec/a"].publisher.Publish(Pattern(1000)));
      }
      recorder.Stop();
    });
    const bool isWhole = recorder.Run();
    stopper.join();
    EXPECT_TRUE(isWhole) << delay;
  }
  EXPECT_FALSE(folder_.Names().contains("stop-1.bag"));
  EXPECT_TRUE(folder_.Names().contains(options_.name + ".bag"));
  for (const std::string& name : folder_.Names()) {
    EXPECT_TRUE(name.ends_with(".bag")) << name;
  }
}

TEST_F(BagRecordingTest, ARecordingOfNothingThatCanBeReceivedEnds) {
  Advertise("/rec/far", "udp");
  options_.ddsNetwork = "198.51.100.1";
  QorRecorder recorder(options_);
  std::vector<RecorderType> reports;
  recorder.RecorderRegisterCallback([&](RecorderType type, const std::string&) { reports.push_back(type); });
  recorder.Run();
  EXPECT_THAT(reports, testing::ElementsAre(RecorderType::kFileOpened, RecorderType::kSubscribing,
                                            RecorderType::kDdsFailed, RecorderType::kNothingSubscribed));
  EXPECT_EQ(log_.Count(LogLevel::kError, "All event record failed! Stop."), 1U);
}

class QorbagRecordTest : public BagRecordingTest {
 protected:
  /// Publishes until so many messages are recorded: the first ones may come before the recorder knows the publisher.
  bool PublishUntilRecorded(test::ChildProcess& record, int count) {
    return Eventually([&] {
      Publish(10);
      const std::string out = record.Out();
      const std::size_t last = out.rfind("\"received\"", out.rfind("\"events\""));
      return last != std::string::npos && std::atoi(out.c_str() + out.find(':', last) + 1) >= count;
    });
  }

  /// Whether a bag has what was published, from some message on, without a gap.
  void ExpectRecorded(const std::string& bag, std::size_t least) {
    const std::vector<Bytes> recorded = Recorded(bag)["/rec/a"];
    const std::vector<Bytes>& published = sources_["/rec/a"].published;
    ASSERT_GE(recorded.size(), least);
    EXPECT_NE(std::search(published.begin(), published.end(), recorded.begin(), recorded.end()), published.end());
  }

  std::vector<std::string> Command(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{QOR_QORBAG, "record"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
  }
};

TEST_F(QorbagRecordTest, CtrlCClosesTheBagASecondOneToo) {
  Advertise("/rec/a", "shm");
  test::ChildProcess record(Command({"-a", "-o", folder_.File("run"), "--json"}));
  ASSERT_TRUE(PublishUntilRecorded(record, 100));
  for (int count = 0; count < 100; ++count) {
    record.Signal(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(record.Wait(), 0) << record.Err();
  EXPECT_THAT(record.Out(), HasSubstr("{\"type\":\"summary\""));
  ExpectRecorded("run.bag", 100);
  const test::Finished again = test::RunProgram(Command({"-a", "-o", folder_.File("run")}));
  EXPECT_EQ(again.status, 1) << "it would be overwritten";
  EXPECT_THAT(again.err, HasSubstr("cannot record to"));
}

TEST_F(QorbagRecordTest, AKilledRecordingTakesNothingFromTheNext) {
  Advertise("/rec/a", "shm");
  for (const char* name : {"one", "two"}) {
    test::ChildProcess record(Command({"/rec/a", "-o", folder_.File(name), "--chunk-size", "1K", "--json"}));
    ASSERT_TRUE(PublishUntilRecorded(record, 200)) << name;
    record.Signal(SIGKILL);
    EXPECT_EQ(record.Wait(), 128 + SIGKILL);
    const auto fixed = test::RunProgram({QOR_QORBAG, "fix", folder_.File(std::string(name) + ".bag.active")});
    EXPECT_EQ(fixed.status, 0) << fixed.err;
    ExpectRecorded(std::string(name) + "_repair.bag", 150);
  }
}

TEST_F(QorbagRecordTest, WhatCannotBeRecordedIsToldWithItsStatus) {
  Advertise("/rec/door", "shm");
  ASSERT_TRUE(Eventually([&] { return daemon_->Events().size() == 1; }));
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"-o", folder_.File("x")});
    return test::RunProgram(Command(arguments));
  };
  const auto unknown = run({"/rec/dor"});
  EXPECT_EQ(unknown.status, 3);
  EXPECT_THAT(unknown.err, HasSubstr("no event is named '/rec/dor'. Did you mean '/rec/door'?"));
  EXPECT_EQ(run({"/nothing/*"}).status, 3);
  EXPECT_THAT(run({"/rec/*", "-x", "/rec/dor", "--min-space", "1000T"}).err,
              HasSubstr("none is left out by it. Did you mean '/rec/door'?"));
  std::filesystem::remove(folder_.File("x.bag"));
  EXPECT_EQ(run({}).status, 2);
  EXPECT_EQ(run({"-a", "--split"}).status, 2);
  EXPECT_THAT(run({"-a", "--max-size", "2X"}).err, HasSubstr("expected a size from"));
  EXPECT_THAT(folder_.Names(), IsEmpty());
  const auto full = run({"-a", "--min-space", "1000T"});
  EXPECT_EQ(full.status, 1);
  EXPECT_THAT(full.err, HasSubstr("the disk has no more room"));
  daemon_ = nullptr;
  auto silent = test::QuietDaemon();
  silent.answerFilter = [](const auto&, const auto&) { return std::nullopt; };
  daemon_ = std::make_unique<test::DaemonThread>(silent);
  for (const char* what : {"-a", "/rec/door"}) {
    const auto unanswered = run({what});
    EXPECT_EQ(unanswered.status, 1) << what;
    EXPECT_THAT(unanswered.err, HasSubstr("error: daemon 0 at '" + daemon_->SocketPath() + "' did not answer"));
  }
  daemon_ = nullptr;
  const auto alone = run({"-a"});
  EXPECT_EQ(alone.status, 1);
  EXPECT_THAT(alone.err, AllOf(HasSubstr("no daemon answers"), HasSubstr("start maintaind")));
}

}  // namespace
}  // namespace qor::qorbag
