// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "src/qorbag/bag_check.h"
#include "src/qorbag/copy_messages.h"
#include "src/qorbag/file_input.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/quiet_log.h"
#include "tests/fuzz/require.h"

namespace qor::qorbag {
namespace {

/// Event, time and payload.
using Message = std::tuple<std::string, std::uint64_t, std::vector<std::uint8_t>>;

/// A folder for the bags that are made, which goes with the process.
class ScratchFolder {
 public:
  ScratchFolder() { Require(::mkdtemp(path_.data()) != nullptr); }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& Path() const { return path_; }

 private:
  std::string path_ = "/dev/shm/qor_fuzz_XXXXXX";
};

/// Those that can be read, by event.
std::vector<Message> MessagesOf(QorBagFile& bag) {
  QorView view;
  view.AddQuery(bag, 0, UINT64_MAX);
  std::vector<Message> messages;
  QorBuffer buffer;
  for (auto at = view.Begin(); !at.IsEnd(); at.Increase()) {
    if (at.Value().WriteMsg(buffer, 0) == QorBagFile::kOk) {
      messages.emplace_back(at.Value().GetEvent(), at.Value().GetTime(),
                            std::vector<std::uint8_t>(buffer.Bytes().begin(), buffer.Bytes().end()));
    }
  }
  std::ranges::sort(messages);
  return messages;
}

BagCheckReport Check(const std::string& name) {
  FileInput input(name);
  Require(input.IsOpen());
  return BagCheck(input).Run(std::atomic<bool>(false));
}

/// What is repaired is sound and has every message that can be read.
void Repair(QorBagFile& damaged) {
  static const ScratchFolder folder;
  const std::string name = folder.Path() + "/out.bag";
  QorView view;
  view.AddQuery(damaged, 0, UINT64_MAX);
  std::filesystem::remove(name);
  QorBagFile repaired;
  repaired.SetVersion(damaged.GetVersion());
  repaired.SetCompressionType(damaged.GetCompressionType());
  Require(repaired.OpenWrite(name, folder.Path(), name) == QorBagFile::kOk);
  CopyProgress progress;
  Require(CopyMessages(view, repaired, progress, std::atomic<bool>(false)) == QorBagFile::kOk);
  Require(repaired.CloseWrite() == QorBagFile::kOk);
  Require(progress.written + progress.unreadable == view.Size());
  Require(Check(name).faults.Count() == 0);
  Require(repaired.OpenRead(name));
  const std::vector<Message> expected = MessagesOf(damaged);
  Require(progress.written == expected.size());
  // Of messages of the same time, those of the event that came first may come first.
  const auto sorted = [](std::vector<Message> messages) {
    std::ranges::sort(messages);
    return messages;
  };
  Require(sorted(MessagesOf(repaired)) == sorted(expected));
}

}  // namespace
}  // namespace qor::qorbag

/// A bag, checked, and repaired as what an interrupted recording left.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::qorbag;
  static const qor::MemoryFile file;
  qor::KeepLogQuiet();
  file.Set({data, size});
  const BagCheckReport report = Check(file.Name());
  QorBagFile closed;
  if (report.faults.Count() == 0) {
    qor::Require(closed.OpenRead(file.Name()));
    qor::Require(MessagesOf(closed).size() == report.messageCount);
  }
  QorBagFile damaged;
  if (damaged.OpenReadDamagedFile(file.Name())) {
    Repair(damaged);
  }
  return 0;
}
