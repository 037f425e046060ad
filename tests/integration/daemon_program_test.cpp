// SPDX-License-Identifier: Apache-2.0
// The program maintaind as an administrator meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>

#include "platform/ipc/runtime_dir.h"
#include "tests/support/child_process.h"
#include "tests/support/raw_peer.h"
#include "tests/support/runtime_folder.h"

namespace qor::maintaind {
namespace {

using test::ChildProcess;
using test::RunProgram;
using testing::HasSubstr;

class DaemonProgramTest : public testing::Test {
 protected:
  std::unique_ptr<ChildProcess> Start(const std::string& instance) {
    auto program = std::make_unique<ChildProcess>(std::vector<std::string>{QOR_MAINTAIND, "--instance", instance,
                                                                           "--domain", "61", "--log-level", "info",
                                                                           "--runtime-dir", folder_.Path()});
    EXPECT_TRUE(program->WaitForErr("listens on")) << program->Err();
    return program;
  }
  test::RuntimeFolder folder_;
};

TEST_F(DaemonProgramTest, StopsCleanlyOnSigtermAndSigint) {
  for (const int signal : {SIGTERM, SIGINT}) {
    const auto program = Start("3");
    EXPECT_TRUE(std::filesystem::exists(ipc::DaemonSocketPath(3)));
    program->Signal(signal);
    EXPECT_EQ(program->Wait(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
  }
}

TEST_F(DaemonProgramTest, EachInstanceRunsOnce) {
  const auto first = Start("0");
  const test::Finished second = RunProgram({QOR_MAINTAIND, "--runtime-dir", folder_.Path()});
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.err, HasSubstr("maintaind instance 0 is running already: a living program listens on '" +
                                    ipc::DaemonSocketPath(0) + "'"));
  const auto other = Start("1");
  EXPECT_TRUE(test::RawPeer(ipc::DaemonSocketPath(0)).IsConnected());
}

TEST_F(DaemonProgramTest, CommandLineIsChecked) {
  using Arguments = std::vector<std::string>;
  for (const Arguments& wrong :
       {Arguments{"--instance", "65535"}, Arguments{"--instance", "x"}, Arguments{"--domain", "233"},
        Arguments{"--interface", "300.1.1.1"}, Arguments{"--deployment", "/no/such/folder"},
        Arguments{"--log-level", "loud"}, Arguments{"--unknown"}, Arguments{"superfluous"}}) {
    Arguments command{QOR_MAINTAIND};
    command.insert(command.end(), wrong.begin(), wrong.end());
    const test::Finished run = RunProgram(command);
    EXPECT_EQ(run.status, 2) << wrong[0];
    EXPECT_THAT(run.err, HasSubstr(wrong[0])) << "the message names what is wrong";
    EXPECT_EQ(run.out, "");
  }
  const test::Finished help = RunProgram({QOR_MAINTAIND, "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("Examples:"));
  EXPECT_EQ(RunProgram({QOR_MAINTAIND, "--version"}).out, "maintaind " QOR_VERSION "\n");
}

}  // namespace
}  // namespace qor::maintaind
