// SPDX-License-Identifier: Apache-2.0
#include "src/common/files.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <string>

#include "platform/log/log_capture.h"
#include "src/common/qor_common.h"
#include "src/common/safe_write.h"
#include "tests/support/scratch_folder.h"

namespace qor {
namespace {

namespace fs = std::filesystem;
using common::FileCalls;
using test::ScratchFolder;
using testing::ElementsAre;
using testing::IsEmpty;

const QorCommon& Common() { return QorCommon::GetInstance(); }

/// A write to disk in a folder of its own, and what it left there.
class SafeWrite : public testing::Test {
 protected:
  int Save(const std::string& data = "data", const FileCalls& calls = FileCalls::System()) {
    return common::SaveDataToDisk(folder_.File("f.json"), data, owner_, calls);
  }
  void ExpectWarning(const std::string& text) {
    auto lines = capture_.Lines();
    std::erase_if(lines, [](const auto& line) { return line.level < LogLevel::kWarn; });  // whom root writes for
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, LogLevel::kWarn);
    EXPECT_EQ(lines[0].text, text);
  }
  std::string ActivePath() const { return folder_.File("f.json.active"); }

  ScratchFolder folder_;
  log::LogCapture capture_;
  std::string owner_;
};

TEST_F(SafeWrite, HandsTheFileOverToItsOwner) {
  static uid_t user = 0;
  static bool isAllowed = true;
  FileCalls calls = FileCalls::System();
  calls.changeOwner = [](int, uid_t newUser, gid_t) {
    user = newUser;
    return isAllowed ? 0 : -1;
  };
  owner_ = "nobody:nogroup";
  EXPECT_EQ(Save("data", calls), 0);
  EXPECT_EQ(Common().Uid2Name(user), "nobody");
  EXPECT_THAT(capture_.Lines(), IsEmpty());

  fs::remove(folder_.File("f.json"));
  isAllowed = false;
  EXPECT_EQ(Save("data", calls), 0) << "a file of another owner is better than none";
  ExpectWarning("[SaveDataToFile][Change owner failed][path=" + ActivePath() + ", owner=nobody:nogroup]");
  EXPECT_EQ(folder_.Read("f.json"), "data");
}

TEST_F(SafeWrite, LeavesTheWholeFileAndNothingElse) {
  const std::string data(100000, 'x');
  EXPECT_EQ(Save(data), 0);
  EXPECT_THAT(folder_.Names(), ElementsAre("f.json"));
  EXPECT_EQ(folder_.Read("f.json"), data);
  EXPECT_EQ(fs::status(folder_.File("f.json")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_THAT(capture_.Lines(), IsEmpty());
  EXPECT_EQ(Common().SaveDataToDisk(folder_.File("empty"), ""), 0);
  EXPECT_EQ(folder_.Read("empty"), "");
}

TEST_F(SafeWrite, NeverReplacesWhatHasTheName) {
  folder_.Write("f.json", "old");
  EXPECT_EQ(Save(), -4);
  EXPECT_EQ(folder_.Read("f.json"), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("f.json"));
  ExpectWarning("[SaveDataToDisk][Saved file is exist][path=" + folder_.File("f.json") + "]");

  fs::remove(folder_.File("f.json"));
  fs::create_symlink("nowhere", folder_.File("f.json"));
  EXPECT_EQ(Save(), -4);
  fs::remove(folder_.File("f.json"));
  FileCalls calls = FileCalls::System();
  calls.rename = [](const char* from, const char* to) {
    std::ofstream(to) << "made in the last moment";
    return FileCalls::System().rename(from, to);
  };
  EXPECT_EQ(Save("data", calls), -4);
  EXPECT_EQ(folder_.Read("f.json"), "made in the last moment");
  EXPECT_THAT(folder_.Names(), ElementsAre("f.json"));
}

TEST_F(SafeWrite, LeavesAnotherWritersActiveFileAloneAndFollowsNoPlantedLink) {
  folder_.Write("victim", "precious");
  folder_.Write("f.json.active", "half");
  EXPECT_EQ(Save(), -5);
  ExpectWarning("[SaveDataToDisk][Saved active file is exist][path=" + ActivePath() + "]");
  EXPECT_EQ(folder_.Read("f.json.active"), "half");
  for (const char* target : {"victim", "not yet"}) {
    fs::remove(ActivePath());
    fs::create_symlink(target, ActivePath());
    EXPECT_EQ(Save(), -5);
  }
  EXPECT_EQ(folder_.Read("victim"), "precious");
  EXPECT_THAT(folder_.Names(), ElementsAre("f.json.active", "victim"));
}

TEST_F(SafeWrite, RefusesUnsafeAndUnreachablePaths) {
  EXPECT_EQ(Common().SaveDataToDisk(folder_.File("a;b"), "data"), -7);
  ExpectWarning("[SaveDataToFile][Check path char failed][path=" + folder_.File("a;b") + "]");
  capture_.Clear();
  EXPECT_EQ(Common().SaveDataToDisk(folder_.File("none/f"), "data"), -7);
  ExpectWarning("[SaveDataToFile][Open dir failed][path=" + folder_.File("none/f.active") + "]");
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(SafeWrite, EveryFailingCallLeavesNothing) {
  const auto openFiles = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto openBefore = openFiles();
  const auto expect = [&](int code, const std::string& text, auto fail) {
    FileCalls calls = FileCalls::System();
    fail(calls);
    capture_.Clear();
    EXPECT_EQ(Save("data", calls), code);
    EXPECT_THAT(folder_.Names(), IsEmpty());
    ExpectWarning(text);
  };
  const std::string writeFailed = "[SaveDataToFile][Write data to file failed][path=" + ActivePath() + "]";
  expect(-7, writeFailed, [](FileCalls& calls) {
    calls.write = [](int, const void*, std::size_t) -> ssize_t { return errno = ENOSPC, -1; };
  });
  expect(-7, writeFailed, [](FileCalls& calls) {  // the disk becomes full meanwhile
    calls.write = [](int file, const void* data, std::size_t size) { return ::write(file, data, size - 1); };
  });
  expect(-7, "[SaveDataToFile][Sync data failed][path=" + ActivePath() + "]",
         [](FileCalls& calls) { calls.sync = [](int) { return -1; }; });
  expect(-8, "[SaveDataToDisk][Rename failed when saving data to disk][path=" + folder_.File("f.json") + ", errno=5]",
         [](FileCalls& calls) { calls.rename = [](const char*, const char*) { return errno = EIO, -1; }; });
  EXPECT_EQ(openFiles(), openBefore);
}

TEST_F(SafeWrite, AnInterruptedWriteIsTriedAgain) {
  static bool isInterrupted = false;
  FileCalls calls = FileCalls::System();
  calls.write = [](int file, const void* data, std::size_t size) -> ssize_t {
    isInterrupted = !isInterrupted;
    return isInterrupted ? (errno = EINTR, -1) : ::write(file, data, size);
  };
  EXPECT_EQ(Save("data", calls), 0);
  EXPECT_EQ(folder_.Read("f.json"), "data");
}

TEST(Paths, AreResolvedSplitAndNormalised) {
  const ScratchFolder folder;
  fs::create_directory(folder.File("d"));
  fs::create_directory_symlink("d", folder.File("link"));
  folder.Write("d/f", "");
  EXPECT_TRUE(Common().IsPathExist(folder.File("link/f")));
  EXPECT_FALSE(Common().IsPathExist(folder.File("link/g")));
  EXPECT_EQ(Common().GetRealPath(folder.File("link/../link/f")), folder.File("d/f"));
  EXPECT_EQ(Common().GetRealPath(folder.File("g")), "");
  EXPECT_EQ(Common().GetFolderPath(folder.File("link/g")), folder.File("d"));
  EXPECT_EQ(Common().GetFolderPath("name"), fs::current_path().string());
  EXPECT_EQ(Common().GetFolderPath(folder.File("none/g")), "");
  EXPECT_EQ(Common().GetFileName("/a/b"), "b");
  EXPECT_EQ(Common().GetFileName("b"), "b");
  EXPECT_EQ(Common().GetFileName("/a/"), "");
  EXPECT_EQ(Common().GetCanonicalPath(folder.File("link/./new/../newer//")), folder.File("d/newer"));
  EXPECT_EQ(Common().GetCanonicalPath("new/name"), (fs::current_path() / "new/name").string());
  EXPECT_EQ(Common().GetCanonicalPath("//"), "/");
  EXPECT_EQ(Common().GetCanonicalPath(""), "");
}

TEST(Paths, FreeSpaceIsWhatTheFileSystemSays) {
  EXPECT_TRUE(Common().CheckFreeSpace("/", 0));
  log::LogCapture capture;
  EXPECT_FALSE(Common().CheckFreeSpace("/", std::numeric_limits<std::uint64_t>::max()));
  EXPECT_EQ(capture.Count(LogLevel::kDebug, "Checking free space of '/'"), 1U);
  EXPECT_FALSE(Common().CheckFreeSpace("/no/such/path", 0));
  EXPECT_EQ(capture.Count(LogLevel::kWarn, "Failed to access filesystem info of '/no/such/path'"), 1U);
}

class ExportPath : public testing::Test {
 protected:
  int Get(const std::string& path, const std::string& name = "f.json") {
    result_ = "untouched";
    return Common().GetExportFilePath(path, name, result_);
  }

  ScratchFolder folder_;
  log::LogCapture capture_;
  std::string result_;
};

TEST_F(ExportPath, IsMadeFromTheResolvedDirectoryWhoseLastPartIsMade) {
  EXPECT_EQ(Get(folder_.Path()), 0);
  EXPECT_EQ(result_, folder_.File("f.json"));
  EXPECT_EQ(Get(""), 0);
  EXPECT_EQ(result_, (fs::current_path() / "f.json").string());
  EXPECT_EQ(Get("/"), 0);
  EXPECT_EQ(result_, "/f.json");
  const mode_t before = ::umask(0);
  EXPECT_EQ(Get(folder_.File("new/")), 0);
  ::umask(before);
  EXPECT_EQ(result_, folder_.File("new/f.json"));
  EXPECT_EQ(fs::status(folder_.File("new")).permissions(), fs::perms::all);
}

TEST_F(ExportPath, TellsWhatIsWrong) {
  folder_.Write("file", "");
  const std::string tooLong = folder_.File(std::string(300, 'x'));
  const auto expect = [this](const std::string& path, const std::string& name, int code, const std::string& text) {
    capture_.Clear();
    EXPECT_EQ(Get(path, name), code);
    EXPECT_EQ(capture_.Count(LogLevel::kWarn, "[Export]" + text), 1U) << text;
    EXPECT_EQ(capture_.Lines().size(), 1U);
    EXPECT_EQ(result_, "untouched");
  };
  expect(folder_.Path(), "a/b", -2, "[File name is invalid][filename=a/b]");
  expect(folder_.File("a/b/c"), "f", -11, "[Parent path is not exist][parentPath=" + folder_.File("a/b/") + "]");
  expect(folder_.File("file"), "f", -3, "[File path is invalid][path=" + folder_.File("file") + "]");
  expect(folder_.File("a;b"), "f", -3, "[File path is invalid][path=" + folder_.File("a;b") + "]");
  expect(tooLong, "f", -11, "[Create path failed][path=" + tooLong + ", errno=" + std::to_string(ENAMETOOLONG) + "]");
}

}  // namespace
}  // namespace qor
