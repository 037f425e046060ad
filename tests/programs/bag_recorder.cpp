// SPDX-License-Identifier: Apache-2.0
// Records into a bag until it is killed or cannot go on, and says on stdout how many messages were recorded whenever
// more of them are in the file; the code that ended it, on stderr:
//
//     bag_recorder FOLDER NAME COMPRESSION
//
// Message i is 8 + i % 97 bytes long: its number, and bytes of that value. Its time is its number.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "src/qorbag/qor_bag_writer.h"

namespace {

off_t SizeOf(const std::string& file) {
  struct stat info {};
  return ::stat(file.c_str(), &info) == 0 ? info.st_size : -1;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace qor::qorbag;
  if (argc != 4) {
    return 2;
  }
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is an error like any other
  std::array<std::shared_ptr<const EventDescription>, 3> events;
  for (std::size_t i = 0; i < events.size(); ++i) {
    auto event = std::make_shared<EventDescription>();
    event->eventName = "/event" + std::to_string(i);
    events[i] = std::move(event);
  }
  QorBagWriter writer(argv[1], argv[2], "2.7", static_cast<FileCompressionType>(std::atoi(argv[3])));
  writer.SetMaxChunkSize(8);
  BagWriterCode code = writer.Init();
  off_t size = SizeOf(writer.WriteFileName());
  for (std::uint64_t i = 0; code == BagWriterCode::kOk; ++i) {
    std::vector<std::uint8_t> payload(8 + i % 97, static_cast<std::uint8_t>(i));
    std::memcpy(payload.data(), &i, sizeof(i));
    auto msg = std::make_shared<EventMsgInfo>();
    msg->event = events[i % events.size()];
    msg->payload = std::make_shared<const std::vector<std::uint8_t>>(std::move(payload));
    code = writer.Write(msg, i);
    const std::uint64_t written = i + 1;
    if (const off_t now = SizeOf(writer.WriteFileName()); now > size && code == BagWriterCode::kOk) {
      size = now;
      if (::write(STDOUT_FILENO, &written, sizeof(written)) != sizeof(written)) {
        return 1;
      }
    }
  }
  std::fprintf(stderr, "code %u\n", static_cast<unsigned>(code));
  return 1;
}
