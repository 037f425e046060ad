// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/quiet_log.h"
#include "tests/fuzz/require.h"

namespace qor::qorbag {
namespace {

using File = std::span<const std::uint8_t>;

/// Each message comes once, in the order of time, with the bytes that it claims to have.
void CheckView(QorBagFile& bag) {
  constexpr std::uint32_t kOffset = 3;
  QorView view;
  view.AddQuery(bag, 0, UINT64_MAX);
  QorBuffer buffer;
  std::uint64_t latest = view.GetBeginTime();
  std::uint64_t count = 0;
  for (auto at = view.Begin(); !at.IsEnd(); at.Increase()) {
    const QorMsgEntity& message = at.Value();
    Require(message.GetTime() >= latest);
    latest = message.GetTime();
    ++count;
    std::uint32_t size = 0;
    Require(message.GetMsgSize(size));
    if (message.WriteMsg(buffer, kOffset) == QorBagFile::kOk) {
      Require(buffer.GetSize() == std::size_t{kOffset} + size);
    }
  }
  Require(count == view.Size() && latest == view.GetEndTime());
  BagFileHeadInfo info;
  Require(bag.GetFileHeaderInfo(info));
  for (const BagFileMessageInfo& event : info.messages) {
    Require(event.startTime <= event.endTime);
    count -= event.msgCount;
  }
  Require(count == 0);
}

/// What is read of a bag that is not compressed stands in the file where the index says, behind a head that agrees.
void CheckMessages(QorBagFile& bag, File file) {
  QorBuffer buffer;
  for (const auto& [id, index] : bag.Content()->indexes) {
    for (const MessageIndex& entry : index) {
      if (bag.ReadMsgDataIntoStream(entry, buffer, 0, id) != QorBagFile::kOk) {
        continue;
      }
      Require(entry.msgPos + kMessagePayloadAt + entry.size <= file.size());
      const File record = file.subspan(entry.msgPos, kMessagePayloadAt + entry.size);
      MessageHead head;
      Require(head.Decode(record.data()) && head.connectionId == id && head.timeStamp == entry.time &&
              head.dataSize == entry.size);
      Require(std::ranges::equal(buffer.Bytes(), record.subspan(kMessagePayloadAt)));
    }
  }
}

/// What was read of a connection can be written, and read again as the same.
void CheckConnections(const QorBagFile& bag) {
  for (const auto& [id, connection] : bag.Content()->connections) {
    QorBuffer written;
    QorBuffer again;
    Require(connection.Encode(bag.GetVersion(), written));
    HeaderFields fields;
    Connection read;
    Require(fields.Parse(written.Bytes().subspan(sizeof(std::uint32_t))) && read.Decode(fields, bag.GetVersion()));
    Require(read.Encode(bag.GetVersion(), again) && std::ranges::equal(written.Bytes(), again.Bytes()));
  }
}

void Check(QorBagFile& bag, bool isOpen, File file) {
  Require(isOpen == bag.IsReading());
  if (isOpen) {
    CheckView(bag);
    CheckConnections(bag);
    if (bag.GetCompressionType() == FileCompressionType::kNone) {
      CheckMessages(bag, file);
    }
    bag.CloseRead();
  }
}

}  // namespace
}  // namespace qor::qorbag

/// A bag, taken for one that was closed and for one that was not.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::qorbag;
  static const qor::MemoryFile file;
  qor::KeepLogQuiet();
  const std::span bytes(data, size);
  file.Set(bytes);
  QorBagFile bag;
  Check(bag, bag.OpenRead(file.Name()), bytes);
  Check(bag, bag.OpenReadActiveFile(file.Name()), bytes);
  return 0;
}
