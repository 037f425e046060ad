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
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "platform/ipc/unique_fd.h"
#include "platform/maintaind/daemon/daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_folder.h"

namespace qor {
namespace {

using nlohmann::json;
using test::ChildProcess;
using test::Finished;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// Speaks of daemons, publishers and command lines.
class QoreventTest : public ::testing::Test {
 protected:
  QoreventTest() {
    setenv("QOR_RUNTIME_DIR", folder_.Path().c_str(), 1);
    setenv("QOR_DEPLOYMENT_DIR", folder_.Path().c_str(), 1);
    setenv("TERM", "xterm", 1);
  }

  void StartDaemon() { daemon_ = StartedDaemon(0, isMute_); }

  /// It does not answer tools while `isMute`.
  std::unique_ptr<maintaind::Daemon> StartedDaemon(std::uint16_t instance, const std::atomic<bool>& isMute) {
    maintaind::DaemonOptions options;
    options.instance = instance;
    options.dds.domains.emplace();
    options.answerFilter = [this, &isMute](const someip::MessageHeader& request, maintaind::ServiceAnswer answer) {
      const bool isToolsService = request.serviceId == maintaind::QORMaintaindToolsService::ServiceIdentifier;
      toolsRequests_ += isToolsService ? 1 : 0;
      return isMute && isToolsService ? std::nullopt : std::optional(std::move(answer));
    };
    auto daemon = std::make_unique<maintaind::Daemon>(std::move(options));
    EXPECT_TRUE(daemon->Start().HasValue());
    return daemon;
  }

  /// A publisher that the daemon knows.
  std::unique_ptr<ChildProcess> StartPublisher(const std::string& event, int periodMs,
                                               const std::string& node = "/test_pub",
                                               std::optional<int> domain = std::nullopt) {
    auto publisher = std::make_unique<ChildProcess>(
        std::vector<std::string>{std::string(QOR_TEST_PROGRAMS) + "/test_publisher", node, event,
                                 std::to_string(domain.value_or(domain_)), std::to_string(periodMs)});
    EXPECT_TRUE(publisher->WaitForOut("ready"));
    EXPECT_TRUE(Eventually([&] { return Run({"list", "--namespace", event}).status == 0; })) << "not listed: " << event;
    return publisher;
  }

  static std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), QOR_QOREVENT);
    return arguments;
  }
  static Finished Run(std::vector<std::string> arguments, ChildProcess::Stdout out = ChildProcess::Stdout::kPipe) {
    return test::RunProgram(Command(std::move(arguments)), out);
  }

  static bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + ChildProcess::kPatience;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
  }

  static std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
      lines.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
    return lines;
  }

  test::ScratchFolder folder_;
  const int domain_ = 1 + getpid() % 60;
  std::atomic<bool> isMute_{false};
  std::atomic<int> toolsRequests_{0};
  std::unique_ptr<maintaind::Daemon> daemon_;
};

TEST_F(QoreventTest, WrongUsageIsTwoAndHelpIsZero) {
  const std::vector<std::vector<std::string>> wrong{{},
                                                    {"lst"},
                                                    {"-v", "help"},
                                                    {"export", "-o", ""},
                                                    {"export", "-o", ".."},
                                                    {"export", "-o", "a b"},
                                                    {"export", "-d", "/etc/passwd"},
                                                    {"export", "-d", "/nonexistent/a"},
                                                    {"export", "-d", folder_.File("w(1)")},
                                                    {"list", "-s", "-p"},
                                                    {"list", "-c", "near"},
                                                    {"show"},
                                                    {"show", "/a", "--domain-id", "64"},
                                                    {"show", "/a", "--domain-id", "70000"},
                                                    {"show", "/a", "--network-ip", "1.2.3.400"},
                                                    {"show", "/a", "--uuid", "12x"},
                                                    {"show", std::string(5001, 'a')},
                                                    {"hz"},
                                                    {"hz", "/a", "-w", "0"},
                                                    {"hz", "/a", "-n", "-1"},
                                                    {"hz", "/a", "-d", "0"},
                                                    {"hz", "/a", "--someip-network", "1net"}};
  for (const auto& arguments : wrong) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 2) << ::testing::PrintToString(arguments);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err, "");
  }
  EXPECT_THAT(Run({"show", "/a", "--domain-id", "64"}).err, HasSubstr("expected a number from 0 to 63, or 1000"));
  EXPECT_THAT(Run({"-v", "lst"}).err, HasSubstr("there are: list, show, export, hz. Did you mean 'list'?"));
  EXPECT_THAT(Run({"export", "-d", "/nonexistent/a"}).err, HasSubstr("the folder '/nonexistent' does not exist"));
  for (const char* verb : {"list", "show", "export", "hz"}) {
    const Finished help = Run({verb, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr(std::string("Examples:\n  qorevent ") + verb));
  }
  EXPECT_THAT(Run({"--version"}).out, StartsWith("qorevent "));
}

TEST_F(QoreventTest, ADistanceWithAnotherRoleIsRefusedWithoutADaemon) {
  for (const char* distance : {"local", "all"}) {
    const Finished run = Run({"list", "-a", "-c", distance});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("[QueryAll][Filter is conflicting, because -c is specified with -s or -a]"));
  }
  EXPECT_THAT(Run({"list", "-s", "-c", "local", "--namespace", "/a"}).err, HasSubstr("[QueryAllWithNamespace]"));
}

TEST_F(QoreventTest, WithoutADaemonEveryVerbSaysWhatToDo) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"list"}, {"show", "/a"}, {"export", "-d", folder_.Path()}, {"hz", "/a"}}) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err,
                AllOf(HasSubstr("Find service fail."), HasSubstr("start maintaind"), HasSubstr("QOR_RUNTIME_DIR")));
  }
}

TEST_F(QoreventTest, ListTellsOnlineFromOffline) {
  StartDaemon();
  EXPECT_EQ(Run({"list"}).status, 0) << "no events are no failure";
  const auto publisher = StartPublisher("/car/speed", 0);
  const auto other = StartPublisher("/carpet/gear", 0, "/other_pub");

  const std::string domain = std::to_string(domain_);
  EXPECT_EQ(Run({"list"}).out, "/car/speed\tDDS\tonline\t/test_pub\t0\tUDP\t" + domain + "\tTestType\n" +
                                   "/carpet/gear\tDDS\tonline\t/other_pub\t0\tUDP\t" + domain + "\tTestType\n");
  EXPECT_EQ(Lines(Run({"list", "--namespace", "/car"}).out).size(), 1U) << "/carpet is not in /car";
  EXPECT_EQ(Run({"list", "--namespace", "/cart"}).status, 3);
  EXPECT_EQ(Run({"list", "-s"}).out, "");
  EXPECT_EQ(Lines(Run({"list", "-c", "network"}).out).size(), 2U);
  EXPECT_EQ(Run({"list", "-c", "local"}).out, "");

  publisher->Signal(SIGKILL);
  publisher->Wait();
  ASSERT_TRUE(Eventually([&] {
    return json::parse(Run({"list", "--namespace", "/car", "--json"}).out)["state"] == "offline";
  }));
  EXPECT_EQ(json::parse(Run({"list", "--namespace", "/carpet", "--json"}).out)["state"], "online");
}

TEST_F(QoreventTest, ShowKnowsBothSides) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  ChildProcess subscriber(Command({"hz", "/car/speed"}));
  json event;
  ASSERT_TRUE(Eventually([&] {
    event = json::parse(Run({"show", "/car/speed", "--json"}).out);
    return !event["subscriberNodes"].empty();
  }));
  EXPECT_EQ(event["publisherNodes"].at(0)["node"], "/test_pub");
  EXPECT_EQ(event["publisherNodes"].at(0)["processId"], publisher->Pid());
  EXPECT_EQ(event["subscriberNodes"].at(0)["node"], "/qorevent/hz/");
  EXPECT_EQ(event["subscriberNodes"].at(0)["processId"], subscriber.Pid());
  EXPECT_EQ(event["subscribers"], json::array({"/qorevent/hz/"}));
  EXPECT_EQ(event["bindings"].at(0)["domainId"], domain_);
  EXPECT_EQ(event["bindings"].at(0)["attributes"]["Reliability"], "RELIABLE");
  EXPECT_EQ(event["definition"], nullptr);

  const std::string text = Run({"show", "/car/speed"}).out;
  EXPECT_THAT(text, AllOf(StartsWith("/car/speed\n"), HasSubstr("0x1234, instance 1"),
                          HasSubstr("process " + std::to_string(publisher->Pid())), HasSubstr("Subscribers: 1")));
  EXPECT_THAT(Run({"list", "-s", "--wide"}).out, HasSubstr("/qorevent/hz/"));
}

TEST_F(QoreventTest, OneNameInTwoDomainsIsTwoEvents) {
  StartDaemon();
  const auto first = StartPublisher("/car/door", 10);
  const auto second = StartPublisher("/car/door", 10, "/second_pub", domain_ + 1);
  const std::string domain = std::to_string(domain_ + 1);
  ASSERT_TRUE(Eventually([&] { return Lines(Run({"list"}).out).size() == 2; }));
  EXPECT_EQ(Lines(Run({"show", "ALL", "--json"}).out).size(), 2U);
  const auto shown = Lines(Run({"show", "ALL", "--domain-id", domain, "--json"}).out);
  ASSERT_EQ(shown.size(), 1U) << "the filter narrows ALL";
  EXPECT_EQ(json::parse(shown[0])["publisher"], "/second_pub");

  const Finished ambiguous = Run({"hz", "/car/door"});
  EXPECT_EQ(ambiguous.status, 1);
  EXPECT_THAT(ambiguous.err, HasSubstr("choose one with --domain-id, --instance or --network-ip"));
  EXPECT_EQ(Run({"hz", "/car/door", "--domain-id", domain, "-n", "1"}).status, 0);
}

TEST_F(QoreventTest, AMistypedNameGetsTheNearOnes) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 0);
  for (const char* verb : {"show", "hz"}) {
    const Finished run = Run({verb, "/car/sped"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("no event is named '/car/sped'. Did you mean '/car/speed'?"));
  }
  EXPECT_THAT(Run({"list", "--namespace", "car"}).err, HasSubstr("no events in 'car'. Did you mean '/car'"));
  const Finished run = Run({"show", "/car/speed", "--domain-id", std::to_string(domain_ == 5 ? 6 : 5)});
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("but not with"));
}

TEST_F(QoreventTest, ExportIsWholeOrNotThere) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 0);
  const auto exportTo = [&](const std::string& name) {
    return Command({"export", "-d", folder_.Path(), "-o", name, "--json"});
  };
  const Finished run = test::RunProgram(exportTo("all.json"));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(json::parse(run.out), json({{"path", folder_.File("all.json")}, {"events", 1}}));
  const json event = json::parse(folder_.Read("all.json"))["events"].at(0);
  EXPECT_EQ(event["name"], "/car/speed");
  EXPECT_EQ(event["publish"]["node"], "/test_pub");
  EXPECT_EQ(event["publish"]["resource"], "test_resource");
  EXPECT_NE(event["publish"]["identity"], "");
  EXPECT_EQ(event["dds"]["domain"], domain_);

  folder_.Write("mine.json", "precious");
  const Finished refused = test::RunProgram(exportTo("mine.json"));
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("The same file exists in the current path"));
  EXPECT_EQ(folder_.Read("mine.json"), "precious");
  EXPECT_EQ(test::RunProgram(exportTo("no/slash.json")).status, 2);

  isMute_ = true;
  const int before = toolsRequests_;
  ChildProcess interrupted(exportTo("late.json"));
  ASSERT_TRUE(Eventually([&] { return toolsRequests_ > before; }));
  interrupted.Signal(SIGINT);
  isMute_ = false;
  EXPECT_EQ(interrupted.Wait(), 130);
  EXPECT_FALSE(folder_.Names().contains("late.json"));
  EXPECT_FALSE(folder_.Names().contains("late.json.active"));
}

TEST_F(QoreventTest, ADaemonThatDoesNotAnswerIsAWarningOrWithStrictAFailure) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  std::atomic<bool> isSecondMute{true};
  const auto second = StartedDaemon(1, isSecondMute);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"list"}, {"show", "/car/speed"}, {"hz", "/car/speed", "-n", "1"}}) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("/car/speed"));
    EXPECT_THAT(run.err, HasSubstr("warning: a daemon did not answer"));
    auto strict = arguments;
    strict.push_back("--strict");
    EXPECT_EQ(Run(strict).status, 1);
  }
  isMute_ = true;
  EXPECT_EQ(Run({"list"}).status, 1) << "nobody answers";
  isSecondMute = false;
  for (const char* verb : {"show", "hz"}) {
    EXPECT_EQ(Run({verb, "/car/sped"}).status, 1) << "who knows whether the name is wrong";
  }
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"list"}, {"show", "ALL"}, {"export", "-d", folder_.Path()}}) {
    const Finished run = Run(arguments);
    EXPECT_EQ(run.status, 0) << "the one that answers knows no event: " << run.err;
    EXPECT_THAT(run.err, HasSubstr("warning: a daemon did not answer"));
  }
}

TEST_F(QoreventTest, HzMeasuresUntilCtrlC) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  ChildProcess hz(Command({"hz", "/car/speed", "--json", "-w", "50"}));
  ASSERT_TRUE(hz.WaitForOut("\"window\":50")) << hz.Err();
  hz.Signal(SIGINT);
  EXPECT_EQ(hz.Wait(), 0);
  const auto lines = Lines(hz.Out());
  json report;
  for (const std::string& line : lines) {
    const json object = json::parse(line);
    report = object["type"] == "report" ? object : report;
  }
  EXPECT_EQ(report["event"], "/car/speed");
  EXPECT_LE(report["rate"].get<double>() * report["min"].get<double>(), 1.0) << "the mean is between the extremes";
  EXPECT_GE(report["rate"].get<double>() * report["max"].get<double>(), 1.0);
  EXPECT_GT(report["bandwidth"], 0.0);
  const json summary = json::parse(lines.back());
  EXPECT_EQ(summary["type"], "summary");
  EXPECT_GE(summary["samples"], 52) << "50 intervals after two samples of warm-up";
  EXPECT_EQ(summary["bytes"].get<int>(), summary["samples"].get<int>() * 100);
  EXPECT_NEAR(summary["rate"].get<double>() * summary["duration"].get<double>(), summary["samples"].get<int>() - 1,
              0.5);
  ASSERT_TRUE(Eventually([&] { return Run({"list", "-s"}).out.empty(); })) << "the subscription is released";
}

TEST_F(QoreventTest, HzEndsByCountAndByTimeLimit) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  const auto silent = StartPublisher("/car/silent", 0, "/silent_pub");
  const Finished counted = Run({"hz", "/car/speed", "-n", "2"});
  EXPECT_EQ(counted.status, 0);
  auto lines = Lines(counted.out);
  std::erase_if(lines, [](const std::string& line) { return line.ends_with("\tbandwidth=0 B/s"); });
  ASSERT_EQ(lines.size(), 3U) << "reports before the first sample do not count:\n" << counted.out;
  EXPECT_THAT(lines[0], StartsWith("/car/speed\trate="));
  EXPECT_THAT(lines[2], StartsWith("/car/speed\tsummary\tsamples="));

  const Finished limited = Run({"hz", "/car/silent", "-t", "1.2", "--json"});
  EXPECT_EQ(limited.status, 124);
  EXPECT_EQ(json::parse(Lines(limited.out).at(0))["rate"], nullptr);
  EXPECT_EQ(Run({"hz", "/nowhere", "-t", "0.3"}).status, 3);

  ChildProcess interrupted(Command({"hz", "/car/silent"}));
  ASSERT_TRUE(interrupted.WaitForOut("/car/silent"));
  interrupted.Signal(SIGINT);
  EXPECT_EQ(interrupted.Wait(), 130);
}

TEST_F(QoreventTest, HzPicksUpAnEventThatAppearsLater) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  ChildProcess hz(Command({"hz", "/car/speed", "/car/late", "--json"}));
  ASSERT_TRUE(hz.WaitForErr("still looking for '/car/late'"));
  ASSERT_TRUE(hz.WaitForOut("\"event\":\"/car/late\",\"rate\":null"));
  const auto late = StartPublisher("/car/late", 10, "/late_pub");
  EXPECT_TRUE(Eventually([&] {
    for (const std::string& line : Lines(hz.Out())) {
      const json report = json::parse(line);
      if (report["event"] == "/car/late" && !report["rate"].is_null()) {
        return true;
      }
    }
    return false;
  }));
}

TEST_F(QoreventTest, MessagesNameEachSampleAndAClosedPipeEndsQuietly) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  const Finished five = Run({"hz", "--messages", "/car/speed", "-n", "5"});
  EXPECT_EQ(five.status, 0);
  EXPECT_EQ(Lines(five.out), std::vector<std::string>(5, "/car/speed"));

  ChildProcess piped(Command({"hz", "-m", "/car/speed"}));
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
  ASSERT_GT(fcntl(reader.Get(), F_SETPIPE_SZ, 4096), 0);  // one page: full from the first write on
  ChildProcess hz({"/bin/sh", "-c", "exec \"$0\" hz -m /car/speed >\"$1\"", QOR_QOREVENT, fifo});
  ASSERT_TRUE(Eventually([&] {
    int waiting = 0;
    return ioctl(reader.Get(), FIONREAD, &waiting) == 0 && waiting > 0;
  }));
  hz.Signal(SIGTERM);
  EXPECT_EQ(hz.Wait(), 0);
}

TEST_F(QoreventTest, OnATerminalThereAreHeadingsAndHzDrawsInPlace) {
  StartDaemon();
  const auto publisher = StartPublisher("/car/speed", 10);
  const std::string list = Run({"list"}, ChildProcess::Stdout::kTerminal).out;
  EXPECT_THAT(list, AllOf(StartsWith("\033[1mEVENT"), HasSubstr("SUBS")));
  ChildProcess hz(Command({"hz", "/car/speed"}), ChildProcess::Stdout::kTerminal);
  EXPECT_TRUE(hz.WaitForOut("\033[2A\033[J")) << "two lines up: the heading and one event";
  hz.Signal(SIGTERM);
  EXPECT_EQ(hz.Wait(), 0);
  EXPECT_THAT(hz.Out(), HasSubstr("MEAN RATE Hz"));

  setenv("NO_COLOR", "1", 1);
  EXPECT_THAT(Run({"list"}, ChildProcess::Stdout::kTerminal).out, Not(HasSubstr("\033")));
  unsetenv("NO_COLOR");
}

}  // namespace
}  // namespace qor
