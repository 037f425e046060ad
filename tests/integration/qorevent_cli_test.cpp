// SPDX-License-Identifier: Apache-2.0
// The qorevent program as a user runs it: with a daemon in this process, publishers in processes of their own, and a
// runtime directory and DDS domain that nobody else uses.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "platform/ipc/unique_fd.h"
#include "platform/maintaind/daemon/daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/dds_event.h"
#include "tests/support/eventually.h"
#include "tests/support/runtime_folder.h"

namespace qor {
namespace {

using nlohmann::json;
using test::ChildProcess;
using test::Eventually;
using test::Finished;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// Speaks of daemons, publishers and command lines.
class QoreventTest : public ::testing::Test {
 protected:
  QoreventTest() {
    test::SetEnvironment("QOR_DEPLOYMENT_DIR", folder_.Path().c_str());
    test::SetEnvironment("TERM", "xterm");
  }

  void StartDaemon() { daemon_ = StartedDaemon(0, isMute_); }

  /// It does not answer tools while `isMute`.
  std::unique_ptr<test::DaemonThread> StartedDaemon(std::uint16_t instance, const std::atomic<bool>& isMute) {
    auto options = test::QuietDaemon(instance);
    options.deploymentDir = folder_.Path();
    options.answerFilter = [this, &isMute](const someip::MessageHeader& request, maintaind::ServiceAnswer answer) {
      const bool isToolsService = request.serviceId == maintaind::QORMaintaindToolsService::ServiceIdentifier;
      toolsRequests_ += isToolsService ? 1 : 0;
      return isMute && isToolsService ? std::nullopt : std::optional(std::move(answer));
    };
    return std::make_unique<test::DaemonThread>(std::move(options));
  }

  /// A publisher that the daemon knows.
  std::unique_ptr<ChildProcess> StartPublisher(const std::string& event, int periodMs,
                                               const std::string& node = "/test_pub",
                                               std::optional<int> domain = std::nullopt) {
    auto publisher = std::make_unique<ChildProcess>(
        std::vector<std::string>{std::string(QOR_TEST_PROGRAMS) + "/test_publisher", node, event,
                                 std::to_string(domain.value_or(domain_)), std::to_string(periodMs)});
    EXPECT_TRUE(publisher->WaitForOut("ready"));
    EXPECT_TRUE(Eventually([&] { return Run("list --namespace " + event).status == 0; })) << "not listed: " << event;
    return publisher;
  }

  /// What a user types after the program's name.
  static std::vector<std::string> Command(const std::string& arguments) {
    std::istringstream words(arguments);
    std::vector<std::string> command{QOR_QOREVENT};
    command.insert(command.end(), std::istream_iterator<std::string>(words), {});
    return command;
  }
  static Finished Run(const std::string& arguments, ChildProcess::Stdout out = ChildProcess::Stdout::kPipe) {
    return test::RunProgram(Command(arguments), out);
  }

  static std::vector<std::string> Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  test::RuntimeFolder folder_;
  const int domain_ = test::DomainOfThisProcess();
  std::atomic<bool> isMute_{false};
  std::atomic<int> toolsRequests_{0};
  std::unique_ptr<test::DaemonThread> daemon_;
};

/// There are a daemon and an event.
class QoreventSpeedTest : public QoreventTest {
 protected:
  void SetUp() override {
    StartDaemon();
    publisher_ = StartPublisher("/car/speed", 10);
  }

  std::unique_ptr<ChildProcess> publisher_;
};

TEST_F(QoreventTest, WrongUsageIsTwoAndHelpIsZero) {
  const std::string tooLong(5001, 'a');
  const std::vector<std::pair<std::string, std::vector<std::string>>> wrong = {
      {"", {"", "lst", "-v help"}},
      {"export ", {"-o ..", "-o a;b", "-o no/slash", "-d /etc/passwd", "-d /nonexistent/a", "-d /tmp/w(1)"}},
      {"list ", {"-s -p", "-c near", "-a -c all", "-s -c local --namespace /a"}},
      {"show ",
       {"", "/a --domain-id 64", "/a --domain-id 70000", "/a --network-ip 1.2.3.400", "/a --uuid 12x", tooLong}},
      {"echo ", {"", "/a --raw --summary", "/a -n 2 --once", "/a -t -1"}},
      {"hz ", {"", "/a -w 0", "/a -n -1", "/a -d 0", "/a --someip-network 1net"}}};
  for (const auto& [verb, options] : wrong) {
    for (const std::string& option : options) {
      const Finished run = Run(verb + option);
      EXPECT_EQ(run.status, 2) << verb << option;
      EXPECT_EQ(run.out, "");
      EXPECT_NE(run.err, "");
    }
  }
  EXPECT_THAT(Run("show /a --domain-id 64").err, HasSubstr("expected a number from 0 to 63, or 1000"));
  EXPECT_THAT(Run("-v lst").err, HasSubstr("there are: list, show, export, echo, hz. Did you mean 'list'?"));
  EXPECT_THAT(Run("export -d /nonexistent/a").err, HasSubstr("the folder '/nonexistent' does not exist"));
  EXPECT_THAT(Run("list -a -c local").err,
              HasSubstr("[QueryAll][Filter is conflicting, because -c is specified with -s or -a]"));
  for (const char* verb : {"list", "show", "export", "echo", "hz"}) {
    const Finished help = Run(std::string(verb) + " --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr(std::string("Examples:\n  qorevent ") + verb));
  }
  EXPECT_THAT(Run("--version").out, StartsWith("qorevent "));
}

TEST_F(QoreventTest, WithoutADaemonEveryVerbSaysWhatToDo) {
  for (const std::string& arguments :
       std::vector<std::string>{"list", "show /a", "export -d " + folder_.Path(), "echo /a", "hz /a"}) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err,
                AllOf(HasSubstr("Find service fail."), HasSubstr("start maintaind"), HasSubstr("QOR_RUNTIME_DIR")));
  }
}

TEST_F(QoreventTest, ListTellsOnlineFromOffline) {
  StartDaemon();
  EXPECT_EQ(Run("list").status, 0) << "no events are no failure";
  const auto publisher = StartPublisher("/car/speed", 0);
  const auto other = StartPublisher("/carpet/gear", 0, "/other_pub");

  const std::string domain = std::to_string(domain_);
  EXPECT_EQ(Run("list").out, "/car/speed\tDDS\tonline\t/test_pub\t0\tUDP\t" + domain + "\tTestType\n" +
                                 "/carpet/gear\tDDS\tonline\t/other_pub\t0\tUDP\t" + domain + "\tTestType\n");
  EXPECT_EQ(Lines(Run("list --namespace /car").out).size(), 1U) << "/carpet is not in /car";
  EXPECT_EQ(Run("list --namespace /cart").status, 3);
  EXPECT_EQ(Run("list -s").out, "");
  EXPECT_EQ(Lines(Run("list -c network").out).size(), 2U);
  EXPECT_EQ(Run("list -c local").out, "");

  publisher->Signal(SIGKILL);
  publisher->Wait();
  ASSERT_TRUE(Eventually([&] { return json::parse(Run("list --namespace /car --json").out)["state"] == "offline"; }));
  EXPECT_EQ(json::parse(Run("list --namespace /carpet --json").out)["state"], "online");
}

TEST_F(QoreventSpeedTest, ShowKnowsBothSides) {
  ChildProcess subscriber(Command("hz /car/speed"));
  json event;
  ASSERT_TRUE(Eventually([&] {
    event = json::parse(Run("show /car/speed --json").out);
    return !event["subscriberNodes"].empty();
  }));
  EXPECT_EQ(event["publisherNodes"].at(0)["node"], "/test_pub");
  EXPECT_EQ(event["publisherNodes"].at(0)["processId"], publisher_->Pid());
  EXPECT_EQ(event["subscriberNodes"].at(0)["processId"], subscriber.Pid());
  EXPECT_EQ(event["subscribers"], json::array({"/qorevent/hz/"}));
  EXPECT_EQ(event["bindings"].at(0)["attributes"]["Reliability"], "RELIABLE");
  EXPECT_EQ(event["definition"], nullptr);
  EXPECT_THAT(Run("show /car/speed").out,
              AllOf(StartsWith("/car/speed\n"), HasSubstr("0x1234, instance 1"),
                    HasSubstr("process " + std::to_string(publisher_->Pid())), HasSubstr("Subscribers: 1")));
  EXPECT_THAT(Run("list -s --wide").out, HasSubstr("/qorevent/hz/"));
}

TEST_F(QoreventTest, OneNameInTwoDomainsIsTwoEvents) {
  StartDaemon();
  const auto first = StartPublisher("/car/door", 10);
  const auto second = StartPublisher("/car/door", 10, "/second_pub", domain_ + 1);
  const std::string domain = std::to_string(domain_ + 1);
  ASSERT_TRUE(Eventually([&] { return Lines(Run("list").out).size() == 2; }));
  const auto shown = Lines(Run("show ALL --domain-id " + domain + " --json").out);
  ASSERT_EQ(shown.size(), 1U) << "the filter narrows ALL";
  EXPECT_EQ(json::parse(shown[0])["publisher"], "/second_pub");

  const Finished ambiguous = Run("hz /car/door");
  EXPECT_EQ(ambiguous.status, 1);
  EXPECT_THAT(ambiguous.err, HasSubstr("choose one with --domain-id, --instance or --network-ip"));
  EXPECT_EQ(Run("hz /car/door --domain-id " + domain + " -n 1").status, 0);
}

TEST_F(QoreventSpeedTest, AMistypedNameGetsTheNearOnes) {
  for (const char* verb : {"show", "hz"}) {
    const Finished run = Run(std::string(verb) + " /car/sped");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("no event is named '/car/sped'. Did you mean '/car/speed'?"));
  }
  EXPECT_THAT(Run("list --namespace car").err, HasSubstr("no events in 'car'. Did you mean '/car'"));
  EXPECT_THAT(Run("show /car/speed --domain-id 5").err, HasSubstr("but not with"));
}

TEST_F(QoreventSpeedTest, ExportIsWholeOrNotThere) {
  const auto exportTo = [&](const std::string& name) {
    return Command("export -d " + folder_.Path() + " -o " + name + " --json");
  };
  const Finished run = test::RunProgram(exportTo("all.json"));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(json::parse(run.out), json({{"path", folder_.File("all.json")}, {"events", 1}}));
  const json event = json::parse(folder_.Read("all.json"))["events"].at(0);
  EXPECT_EQ(event["publish"]["resource"], "test_resource");
  EXPECT_NE(event["publish"]["identity"], "");

  folder_.Write("mine.json", "precious");
  const Finished refused = test::RunProgram(exportTo("mine.json"));
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("The same file exists in the current path"));
  EXPECT_EQ(folder_.Read("mine.json"), "precious");

  isMute_ = true;
  const int before = toolsRequests_;
  ChildProcess interrupted(exportTo("late.json"));
  ASSERT_TRUE(Eventually([&] { return toolsRequests_ > before; }));
  interrupted.Signal(SIGINT);
  isMute_ = false;
  EXPECT_EQ(interrupted.Wait(), 130);
  EXPECT_FALSE(folder_.Names().contains("late.json") || folder_.Names().contains("late.json.active"));
}

TEST_F(QoreventSpeedTest, ADaemonThatDoesNotAnswerIsAWarningOrWithStrictAFailure) {
  std::atomic<bool> isSecondMute{true};
  const auto second = StartedDaemon(1, isSecondMute);
  for (const std::string& arguments :
       std::vector<std::string>{"list", "show /car/speed", "hz /car/speed -n 1", "echo /car/speed --once"}) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("/car/speed"));
    EXPECT_THAT(run.err, HasSubstr("warning: daemon 1 at '" + second->SocketPath() + "' did not answer"));
    EXPECT_EQ(Run(arguments + " --strict").status, 1);
  }
  isMute_ = true;
  EXPECT_EQ(Run("list").status, 1) << "nobody answers";
  isSecondMute = false;
  EXPECT_EQ(Run("show /car/sped").status, 1) << "who knows whether the name is wrong";
  for (const std::string& arguments : {std::string("list"), std::string("show ALL"), "export -d " + folder_.Path()}) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 0) << "the one that answers knows no event: " << run.err;
    EXPECT_THAT(run.err, HasSubstr("warning: daemon 0 at '" + daemon_->SocketPath() + "' did not answer"));
  }
}

TEST_F(QoreventSpeedTest, HzMeasuresUntilCtrlC) {
  ChildProcess hz(Command("hz /car/speed --json -w 50"));
  ASSERT_TRUE(hz.WaitForOut("\"window\":50")) << hz.Err();
  hz.Signal(SIGINT);
  EXPECT_EQ(hz.Wait(), 0);
  const auto lines = Lines(hz.Out());
  const json report = json::parse(lines.at(lines.size() - 2));
  EXPECT_EQ(report["event"], "/car/speed");
  EXPECT_LE(report["rate"].get<double>() * report["min"].get<double>(), 1.0) << "the mean is between the extremes";
  EXPECT_GE(report["rate"].get<double>() * report["max"].get<double>(), 1.0);
  const json summary = json::parse(lines.back());
  EXPECT_EQ(summary["type"], "summary");
  EXPECT_GE(summary["samples"], 52) << "50 intervals after two samples of warm-up";
  EXPECT_EQ(summary["bytes"].get<int>(), summary["samples"].get<int>() * 100);
  ASSERT_TRUE(Eventually([&] { return Run("list -s").out.empty(); })) << "the subscription is released";
}

TEST_F(QoreventSpeedTest, HzEndsByCountAndByTimeLimit) {
  const auto silent = StartPublisher("/car/silent", 0, "/silent_pub");
  const Finished counted = Run("hz /car/speed -n 2");
  EXPECT_EQ(counted.status, 0);
  auto lines = Lines(counted.out);
  std::erase_if(lines, [](const std::string& line) { return line.ends_with("\tbandwidth=0 B/s"); });
  ASSERT_EQ(lines.size(), 3U) << "reports before the first sample do not count:\n" << counted.out;
  EXPECT_THAT(lines[0], StartsWith("/car/speed\trate="));
  EXPECT_THAT(lines[2], StartsWith("/car/speed\tsummary\tsamples="));

  const Finished limited = Run("hz /car/silent -t 1.2 --json");
  EXPECT_EQ(limited.status, 124);
  EXPECT_EQ(json::parse(Lines(limited.out).at(0))["rate"], nullptr);
  EXPECT_EQ(Run("hz /nowhere -t 0.3").status, 3);

  ChildProcess interrupted(Command("hz /car/silent"));
  ASSERT_TRUE(interrupted.WaitForOut("/car/silent"));
  interrupted.Signal(SIGINT);
  EXPECT_EQ(interrupted.Wait(), 130);
}

TEST_F(QoreventSpeedTest, HzPicksUpAnEventThatAppearsLater) {
  ChildProcess hz(Command("hz -m /car/speed /car/late"));
  ASSERT_TRUE(hz.WaitForErr("still looking for '/car/late'"));
  const auto late = StartPublisher("/car/late", 10, "/late_pub");
  EXPECT_TRUE(hz.WaitForOut("/car/late\n"));
}

TEST_F(QoreventSpeedTest, MessagesNameEachSampleAndAClosedPipeEndsQuietly) {
  const Finished five = Run("hz --messages /car/speed -n 5");
  EXPECT_EQ(five.status, 0);
  EXPECT_EQ(Lines(five.out), std::vector<std::string>(5, "/car/speed"));

  ChildProcess piped(Command("hz -m /car/speed"));
  ASSERT_TRUE(piped.WaitForOut("/car/speed\n"));
  piped.CloseOut();
  EXPECT_EQ(piped.Wait(), 0);
  EXPECT_EQ(piped.Err(), "");
}

TEST_F(QoreventTest, AStopSignalEndsHzWhoseReaderStalls) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 1);
  const std::string fifo = folder_.File("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
  const ipc::UniqueFd reader(open(fifo.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_GT(fcntl(reader.Get(), F_SETPIPE_SZ, 4096), 0);
  ChildProcess hz({"/bin/sh", "-c", "exec \"$0\" hz -m /car/speed >\"$1\"", QOR_QOREVENT, fifo});
  int waiting = 0;
  ASSERT_TRUE(Eventually([&] {
    const int before = waiting;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return ioctl(reader.Get(), FIONREAD, &waiting) == 0 && waiting > 0 && waiting == before;
  })) << "the pipe takes no more";
  hz.Signal(SIGTERM);
  EXPECT_EQ(hz.Wait(), 0);
}

TEST_F(QoreventSpeedTest, OnATerminalThereAreHeadingsAndHzDrawsInPlace) {
  const std::string list = Run("list", ChildProcess::Stdout::kTerminal).out;
  EXPECT_THAT(list, AllOf(StartsWith("\033[1mEVENT"), HasSubstr("SUBS")));
  ChildProcess hz(Command("hz /car/speed"), ChildProcess::Stdout::kTerminal);
  EXPECT_TRUE(hz.WaitForOut("\033[J\033[2A")) << "two lines up: the heading and one event";
  hz.Signal(SIGTERM);
  EXPECT_EQ(hz.Wait(), 0);
  EXPECT_THAT(hz.Out(), HasSubstr("MEAN RATE Hz"));

  test::SetEnvironment("NO_COLOR", "1");
  EXPECT_THAT(Run("list", ChildProcess::Stdout::kTerminal).out, Not(HasSubstr("\033")));
  test::SetEnvironment("NO_COLOR", nullptr);
}

/// The event has a type definition: a number and 96 bytes, in each of which is 0x5A.
class QoreventEchoTest : public QoreventSpeedTest {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(folder_.File("types"));
    folder_.Write("types/test.json", R"([
        {"ShortName": "TestRest", "Type": "ARRAY", "template": "uint8", "length": "96"},
        {"ShortName": "TestType", "Type": "STRUCTURE", "Subelements": [
            {"Name": "number", "Type": "uint32"}, {"Name": "rest", "Type": "TestRest"}]}])");
    QoreventSpeedTest::SetUp();
  }
};

TEST_F(QoreventEchoTest, SamplesArePrintedAsAsked) {
  const auto expectOut = [](const std::string& arguments, const std::string& out) {
    const Finished run = Run("echo /car/speed " + arguments);
    EXPECT_EQ(run.status, 0) << arguments;
    EXPECT_EQ(run.out, out) << arguments;
    EXPECT_EQ(run.err, "") << arguments;
  };
  const std::string line = R"({ "/car/speed" : { "number" : 1515870810, "rest" : "<array type: uint8, length: 96>" } })"
                           "\n";
  expectOut("--once --summary", line);
  expectOut("-n 3 -s", line + line + line);
  expectOut("--once -m -s", "number: 1515870810\nrest: \"<array type: uint8, length: 96>\"\n---\n");
  expectOut("--once --field number", "1515870810\n");
  expectOut("--once -m --field number", "1515870810\n");
  expectOut("--once --field rest[95]", "90\n");
  std::string bytes = "/car/speed 100 bytes:";
  for (int i = 0; i < 100; ++i) {
    bytes += " 5a";
  }
  expectOut("--once --raw", bytes + "\n");

  const json sample = json::parse(Run("echo /car/speed --once --json").out);
  EXPECT_EQ(sample["event"], "/car/speed");
  EXPECT_EQ(sample["returnCode"], 0);
  EXPECT_EQ(sample["e2e"], nullptr);
  EXPECT_EQ(sample["value"]["number"], 1515870810);
  EXPECT_EQ(sample["value"]["rest"].size(), 96U);
}

TEST_F(QoreventEchoTest, WhatIsNotThereIsToldWithWhatIs) {
  EXPECT_THAT(Run("show /car/speed").out,
              HasSubstr("number: uint32\n    rest: TestRest\n      template: uint8 = 96\n"));
  Finished run = Run("echo /car/speed --field numbr");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("'TestType' has no member 'numbr'; it has: number, rest"));
  run = Run("echo /car/spead");
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("Did you mean '/car/speed'?"));
  const auto silent = StartPublisher("/car/silent", 0);
  run = Run("echo /car/silent -t 0.3");
  EXPECT_EQ(run.status, 124);
  EXPECT_THAT(run.err, HasSubstr("no sample arrived within the time limit"));
}

TEST_F(QoreventSpeedTest, EchoWithoutADefinitionPrintsBytesAndSaysSoOnce) {
  const Finished run = Run("echo /car/speed -n 2");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(Lines(run.out).size(), 2U);
  EXPECT_THAT(run.out, StartsWith("/car/speed 100 bytes: 5a 5a"));
  EXPECT_THAT(run.err, HasSubstr("the samples of '/car/speed' are printed as bytes: "));
}

TEST_F(QoreventSpeedTest, EchoEndsQuietlyWithItsReaderAndByCtrlC) {
  ChildProcess headed(Command("echo /car/speed --raw"));
  EXPECT_TRUE(headed.WaitForOut("bytes"));
  headed.CloseOut();
  EXPECT_EQ(headed.Wait(), 0);
  EXPECT_EQ(headed.Err(), "");

  ChildProcess interrupted(Command("echo /car/speed --raw"));
  EXPECT_TRUE(interrupted.WaitForOut("bytes"));
  interrupted.Signal(SIGINT);
  EXPECT_EQ(interrupted.Wait(), 0);
}

}  // namespace
}  // namespace qor
