// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_bag_file.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "src/common/checks.h"
#include "src/qorbag/bag_content_reader.h"
#include "src/qorbag/bag_log.h"
#include "src/qorbag/file_input.h"
#include "src/qorbag/file_output.h"

namespace qor::qorbag {
namespace {

/// The names that this process records to.
class OpenNames {
 public:
  static OpenNames& Process() {
    static auto* const names = new OpenNames;
    return *names;
  }
  bool Add(const std::string& name) {
    const std::lock_guard lock(mutex_);
    return names_.insert(name).second;
  }
  void Remove(const std::string& name) {
    const std::lock_guard lock(mutex_);
    names_.erase(name);
  }

 private:
  std::mutex mutex_;
  std::set<std::string> names_;
};

bool IsActiveName(const std::string& name) { return name.ends_with(".active"); }

/// Null, with a line in the log, when it cannot be read.
std::unique_ptr<FileInput> OpenFile(const std::string& name) {
  auto input = std::make_unique<FileInput>(name);
  if (input->IsOpen()) {
    return input;
  }
  kLog.Error() << "OpenRead: Bagfile " << name << " open failed!";
  return nullptr;
}

/// By the index: records of old bags and of active ones do not tell how much there is.
void SetExtent(const BagContent& content, std::uint32_t id, BagFileMessageInfo& message) {
  if (const auto index = content.indexes.find(id); index != content.indexes.end() && !index->second.empty()) {
    message.msgCount = index->second.size();
    message.startTime = index->second.front().time;
    message.endTime = index->second.back().time;
  }
}

int CodeOf(BagFileWriter::Result result) {
  switch (result) {
    case BagFileWriter::Result::kOk:
      return QorBagFile::kOk;
    case BagFileWriter::Result::kCompressionFailed:
      return QorBagFile::kCompressionFailed;
    case BagFileWriter::Result::kFailed:
      break;
  }
  return QorBagFile::kFailed;
}

}  // namespace

QorBagFile::~QorBagFile() {
  if (writer_.IsOpen()) {
    OpenNames::Process().Remove(writeName_);
  }
}

int QorBagFile::OpenWrite(const std::string& fileName, const std::string& filePath, const std::string& file) {
  if (fileName.empty()) {
    Failed("OpenWrite: Bagfile name is NULL!");
    errno = EINVAL;
    return kFailed;
  }
  if (!common::CheckPathForSecurity(filePath) || !common::CheckPathForSecurity(fileName)) {
    Failed("OpenWrite: The path is insecure[path=" + filePath + "].");
    errno = EINVAL;
    return kFailed;
  }
  if (!OpenNames::Process().Add(fileName)) {
    Failed("Error: recording the same file name, please check the file name.");
    errno = EEXIST;
    return kFailed;
  }
  auto output = std::make_unique<FileOutput>(fileName);
  const bool isMade = output->IsOpen();
  const auto result = isMade ? writer_.Open(std::move(output), file) : BagFileWriter::Result::kFailed;
  if (result == BagFileWriter::Result::kFailed) {
    if (isMade) {  // its start could not be written
      const int error = errno;
      ::unlink(fileName.c_str());
      errno = error;
    }
    OpenNames::Process().Remove(fileName);
    return kFailed;
  }
  writeName_ = fileName;
  file_ = file;
  return result == BagFileWriter::Result::kOk ? kOk : kNoCompressor;
}

int QorBagFile::Write(const EventMsg& msg, std::uint64_t time, const std::uint8_t* data, std::uint32_t size) {
  if (!writer_.IsOpen() || msg.event == nullptr) {
    return kFailed;
  }
  return CodeOf(writer_.Write(msg, time, {data, size}));
}

bool QorBagFile::OpenReadByName(const std::string& name) {
  return IsActiveName(name) ? OpenReadActiveFile(name) : OpenRead(name);
}

bool QorBagFile::OpenReadForBagHeaderInfo(const std::string& name) {
  return OpenInput(name, IsActiveName(name) ? BagFileReader::How::kActive : BagFileReader::How::kHeader);
}

int QorBagFile::ReadMsgDataIntoStream(const MessageIndex& index, QorBuffer& out, std::uint32_t offset,
                                      std::optional<std::uint32_t> connectionId) {
  using Result = BagFileReader::Result;
  const Result result = reader_.ReadMsgDataIntoStream(index, connectionId, out, offset);
  return result == Result::kOk ? kOk : result == Result::kFailed ? kFailed : kDecompressionFailed;
}

bool QorBagFile::CanBeFixed(const std::string& name) {
  FileInput input(name);
  BagContent content;
  return input.IsOpen() && BagContentReader(input, content).Begin() && content.header.connectionPos == 0 &&
         content.version >= kWithChunkEndInfo;
}

bool QorBagFile::OpenInput(const std::string& name, BagFileReader::How how) {
  if (name.empty()) {
    return Failed("OpenRead: Bagfile name is NULL!");
  }
  if (!common::CheckPathForSecurity(name)) {
    kLog.Error() << "OpenRead: The path is insecure[path=" << name << "].";
    return false;
  }
  auto input = OpenFile(name);
  file_ = name;
  return input != nullptr && reader_.Open(std::move(input), how);
}

bool QorBagFile::CheckIsSameBag(const QorBagFile& other) const {
  std::error_code error;
  return IsReading() && other.IsReading() && std::filesystem::equivalent(file_, other.file_, error);
}

bool QorBagFile::CopyOtherBagFileReadResult(const QorBagFile& other) {
  auto input = other.IsReading() ? OpenFile(other.file_) : nullptr;
  file_ = other.file_;
  return input != nullptr && reader_.Share(std::move(input), other.reader_);
}

bool QorBagFile::GetFileHeaderInfo(BagFileHeadInfo& info) const {
  if (!reader_.IsOpen()) {
    return false;
  }
  const BagContent& content = *reader_.Content();
  info = {file_,
          content.version,
          reader_.FileSize(),
          content.header.startRecordRealTime,
          content.header.startRecordVirtualTime,
          content.header.stopRecordRealTime,
          content.header.stopRecordVirtualTime,
          content.header.compression,
          content.isClosed,
          content.chunkInfos.size(),
          {}};
  for (const auto& [id, connection] : content.connections) {
    BagFileMessageInfo& message = info.messages.emplace_back();
    message.eventName = connection.eventName;
    message.dataType = connection.dataType;
    message.driverType = connection.driverType;
    message.serializationType = connection.serializationType;
    message.eventInfo = connection.eventInfo;
    if (content.hasIndexes) {
      SetExtent(content, id, message);
    } else {
      message.msgCount = connection.msgCount;
      message.startTime = connection.startTime;
      message.endTime = connection.endTime;
    }
  }
  if (info.messages.empty()) {
    kLog.Warn() << (info.version >= kWithStatistics ? "GetInfoFromOptimizedBag: connection size is zero!"
                                                    : "GetInfoFromOldBag: connection size is zero!");
  }
  return true;
}

int QorBagFile::CloseWrite() {
  if (!writer_.IsOpen()) {
    return kFailed;
  }
  const auto result = writer_.Close();
  OpenNames::Process().Remove(writeName_);
  return CodeOf(result);
}

}  // namespace qor::qorbag
