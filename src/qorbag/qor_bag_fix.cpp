// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_bag_fix.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "src/common/files.h"

namespace qor::qorbag {
namespace {

/// Messages of connections whose record is lost.
std::uint64_t UndescribedCount(const BagContent& content) {
  std::uint64_t count = 0;
  for (const auto& [id, index] : content.indexes) {
    count += content.connections.contains(id) ? 0 : index.size();
  }
  return count;
}

}  // namespace

bool QorBagFix::Fix() { return SetNames() && OpenRead() && Run(); }

bool QorBagFix::SetNames() {
  constexpr std::string_view kActive = ".bag.active";
  const std::string& input = options_.inputFile;
  if (input.empty()) {
    return Fail("QorBagFix filename is empty!");
  }
  std::string& path = options_.outputPath;
  if (!path.starts_with('/')) {
    return Fail("QorBagFix output path is not an absolute path!");
  }
  path += path.ends_with('/') ? "" : "/";
  const std::string name = common::GetFileName(input);
  if (!name.ends_with(kActive)) {
    return Fail("QorBagFix: the name of an active file ends in .bag.active, and '" + input + "' does not");
  }
  outputName_ = path + name.substr(0, name.size() - kActive.size()) + "_repair.bag";
  writeName_ = outputName_ + ".active";
  return true;
}

bool QorBagFix::OpenRead() {
  return input_.OpenReadDamagedFile(options_.inputFile) ||
         Fail("QorBagFix open .active file failed!", FixPrintType::kNoInput);
}

bool QorBagFix::Run() {
  QorView view;
  view.AddQuery(input_, 0, UINT64_MAX);
  progress_.total = view.Size();
  if (view.Size() == 0) {
    log_.Error() << "No valid message(s) in active file to fix.";
    Print(FixPrintType::kNothing, "No valid message(s) in active file to fix.");
    return false;
  }
  log_.Info() << "Begin to fix active file.[msgNum=" << view.Size() << "]";
  Print(FixPrintType::kBegin);
  if (!CheckDisk()) {
    return false;
  }
  output_.SetVersion(input_.GetVersion());
  output_.SetCompressionType(input_.GetCompressionType());
  switch (output_.OpenWrite(writeName_, options_.outputPath, outputName_)) {
    case QorBagFile::kOk:
      break;
    case QorBagFile::kNoCompressor:
      Fail("QorBagFix cannot compress what '" + writeName_ + "' is to hold");
      return RemoveOutput();
    default:
      return Fail("QorBagFix cannot make the file '" + writeName_ + "': " + std::strerror(errno));
  }
  return (DoRun(view) && CloseOutput() && HandleAcitveFile()) || RemoveOutput();
}

/// What was begun here. For callers that fail: always false.
bool QorBagFix::RemoveOutput() {
  if (output_.IsOpen()) {
    static_cast<void>(output_.CloseWrite());
  }
  ::unlink(writeName_.c_str());
  return false;
}

bool QorBagFix::CheckDisk() {
  constexpr std::uint64_t kLeast = 1073741824;
  log_.Info() << "Begin to check free disk.";
  const auto free = common::FreeSpace(options_.outputPath);
  if (!free.has_value()) {
    log_.Warn() << "Fail to check file system status.";
    return true;
  }
  if (*free > kLeast) {
    return true;
  }
  log_.Warn() << "Less than 1GB of space free on disk.[filePath=" << options_.outputPath << "]";
  Print(FixPrintType::kFailed, "Less than 1GB of space free on disk.[filePath=" + options_.outputPath + "]");
  return false;
}

bool QorBagFix::DoRun(const QorView& view) {
  const int code = CopyMessages(view, output_, progress_, stop_);
  log_.Info() << "Fix " << progress_.written.load() << " message(s)";
  if (stop_ && progress_.written == 0) {
    return Fail("QorBagFix was stopped before the first message", FixPrintType::kGivenUp);
  }
  const bool isPart = progress_.written + progress_.unreadable < progress_.total;
  if (stop_ && isPart && common::IsPathExist(outputName_)) {
    return Fail("QorBagFix was stopped; the older '" + outputName_ + "' stays as it was", FixPrintType::kGivenUp);
  }
  if (code == QorBagFile::kOk && progress_.written == 0) {
    return Fail("QorBagFix cannot read any of the " + std::to_string(progress_.total) + " messages");
  }
  switch (code) {
    case QorBagFile::kOk:
      return true;
    case QorBagFile::kCompressionFailed:
      return Fail("QorBagFix cannot compress what '" + writeName_ + "' is to hold");
    default:
      return Fail("QorBagFix cannot write to '" + writeName_ + "'");
  }
}

bool QorBagFix::CloseOutput() {
  const int code = output_.CloseWrite();
  if (code == QorBagFile::kOk) {
    return true;
  }
  return Fail(code == QorBagFile::kCompressionFailed ? "QorBagFix cannot compress what '" + writeName_ + "' is to hold"
                                                     : "QorBagFix cannot close '" + writeName_ + "'");
}

/// An older output is there until the new one is.
bool QorBagFix::HandleAcitveFile() {
  log_.Info() << "Renaming '" << writeName_ << "' to '" << outputName_ << "'";
  if (std::rename(writeName_.c_str(), outputName_.c_str()) != 0) {
    const std::string reason = std::strerror(errno);
    return Fail((common::IsPathExist(outputName_) ? "Failed to delete old file '" + outputName_
                                                  : "Failed to rename '" + writeName_ + "' to '" + outputName_) +
                "': " + reason);
  }
  Print(stop_ ? FixPrintType::kStopped : FixPrintType::kDone);
  return true;
}

bool QorBagFix::Fail(const std::string& text, FixPrintType type) {
  log_.Error() << text;
  Print(type, text);
  return false;
}

void QorBagFix::Print(FixPrintType type, std::string text) {
  if (!print_) {
    return;
  }
  FixEchoInfo info;
  info.text = std::move(text);
  info.outputFile = outputName_;
  info.messageCount = progress_.total;
  info.writtenCount = progress_.written;
  info.unreadableCount = progress_.unreadable + UndescribedCount(*input_.Content());
  info.chunkCount = input_.Content()->chunkInfos.size();
  info.leftChunkCount = input_.Content()->damage.chunkCount;
  info.leftBytes = input_.Content()->damage.bytes;
  print_(type, info);
}

}  // namespace qor::qorbag
