// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_bag_extractor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "src/common/checks.h"
#include "src/common/files.h"

namespace qor::qorbag {
namespace {

constexpr std::string_view kSuffix = ".bag";

bool IsName(std::string_view name) {
  return std::ranges::all_of(name, [](char c) {
    const bool isWord = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    return isWord || std::string_view("-.@#/").find(c) != std::string_view::npos;
  });
}

/// Of the folder that a file is to be in.
std::string FolderOf(const std::string& file) {
  const std::string folder = std::filesystem::path(file).parent_path().string();
  return folder.empty() ? "." : folder;
}

/// Of a failure of QorBagFile, by errno.
std::string ReasonOf(int code) {
  return code == QorBagFile::kCompressionFailed ? "it cannot be compressed" : std::strerror(errno);
}

}  // namespace

ExtractCode QorBagExtractor::Extract() {
  log_.Info() << "Extract progress is initialized.";
  log_.Info() << "Prepare to extract";
  const ExtractCode code = CheckParam();
  return code == ExtractCode::kOk ? DoExtract() : code;
}

ExtractCode QorBagExtractor::CheckParam() const {
  constexpr std::uint16_t kDomains = 64;
  if (const ExtractCode code = CheckNames(); code != ExtractCode::kOk) {
    return code;
  }
  if (const ExtractCode code = CheckTimes(); code != ExtractCode::kOk) {
    return code;
  }
  if (options_.domainId != QorEventQuery::kAnyDomain && options_.domainId >= kDomains) {
    log_.Error() << "Invalid domain id number[0, 63][domainId=" << options_.domainId << "]";
    return ExtractCode::kBadDomain;
  }
  if (!options_.network.empty() && !common::CheckIP(options_.network)) {
    log_.Error() << "Invalid network [network=" << options_.network << "]";
    return ExtractCode::kBadNetwork;
  }
  return ExtractCode::kOk;
}

ExtractCode QorBagExtractor::CheckNames() const {
  const std::string& input = options_.inputFile;
  const std::string& output = options_.outputFile;
  if (input.empty() || !IsName(input)) {
    log_.Error() << "Invalid input file name[fileName=" << input << "]";
    return ExtractCode::kBadName;
  }
  if (output.empty() || output.ends_with('/')) {
    log_.Error() << "Output file or output folder path is empty[outputFile=" << output << "]";
    return ExtractCode::kBadName;
  }
  if (!IsName(output)) {
    log_.Error() << "Invalid output file name[fileName=" << output << "]";
    return ExtractCode::kBadName;
  }
  std::error_code error;  // a file that is not there is no other's equal
  const std::string suffixed = output.ends_with(kSuffix) ? output : output + std::string(kSuffix);
  if (input == output || std::filesystem::equivalent(input, suffixed, error)) {
    log_.Error() << "Input and output file conflict[file=" << input << "]";
    return ExtractCode::kSameFile;
  }
  return ExtractCode::kOk;
}

/// An end of 0 is later than everything: 0 - 1 is the largest number there is.
ExtractCode QorBagExtractor::CheckTimes() const {
  constexpr std::uint64_t kStartLimit = 10000001;
  constexpr std::uint64_t kEndLimit = 10000000001;
  if (options_.startTime >= kStartLimit) {
    log_.Error() << "Start time exceeds the limit[startTime=" << options_.startTime << "]";
    return ExtractCode::kBadStartTime;
  }
  if (options_.endTime >= kEndLimit) {
    log_.Error() << "End time exceeds the limit[endTime=" << options_.endTime << "]";
    return ExtractCode::kBadEndTime;
  }
  if (options_.endTime - 1 < options_.startTime) {
    log_.Error() << "Invalid time range[startTime=" << options_.startTime << ", endTime=" << options_.endTime << "]";
    return ExtractCode::kBadTimeRange;
  }
  return ExtractCode::kOk;
}

ExtractCode QorBagExtractor::DoExtract() {
  if (!input_.OpenReadByName(options_.inputFile)) {
    log_.Error() << "Cannot open file '" << options_.inputFile << "'";
    return ExtractCode::kCannotOpen;
  }
  QorView view;
  AddQuery(view);
  progress_.total = view.Size();
  log_.Info() << "Found " << view.Size() << " message(s)";
  if (view.Size() == 0) {
    return ExtractCode::kNoMessage;
  }
  UpdateOutputName();
  if (const ExtractCode code = CheckSpace(view); code != ExtractCode::kOk) {
    return code;
  }
  return WriteViewToFile(view);
}

void QorBagExtractor::AddQuery(QorView& view) {
  QorView whole;
  whole.AddQuery(input_, 0, UINT64_MAX);
  const std::uint64_t start = TimeAfter(whole.GetBeginTime(), options_.startTime);
  const std::uint64_t end =
      options_.endTime == 0 ? whole.GetEndTime() : TimeAfter(whole.GetBeginTime(), options_.endTime);
  log_.Info() << "Start time: " << start;
  log_.Info() << "End time: " << end;
  for (const std::string& name : options_.eventNames) {
    log_.Info() << "Event: " << name;
  }
  ConnectionPredicate predicate = QorTrueQuery();
  if (!options_.eventNames.empty()) {
    predicate = QorEventQuery(options_.eventNames, {}, options_.domainId, options_.network);
  }
  view.AddQuery(input_, std::move(predicate), start, end);
}

void QorBagExtractor::UpdateOutputName() {
  if (!options_.outputFile.ends_with(kSuffix)) {
    options_.outputFile += kSuffix;
  }
}

/// For what is to be written, not compressed, with what stands around each message and each chunk.
ExtractCode QorBagExtractor::CheckSpace(const QorView& view) {
  constexpr std::uint64_t kLeast = std::uint64_t{64} << 10U;
  constexpr std::uint64_t kChunkShare = 64;
  const std::string folder = FolderOf(options_.outputFile);
  if (!common::IsDirectory(folder)) {
    return CannotCreate(options_.outputFile, ENOENT);
  }
  const std::uint64_t eachMessage = kMessagePayloadAt + MessageIndex::SizeIn(input_.GetVersion());
  const std::uint64_t messages = view.PayloadBytes() + view.Size() * eachMessage;
  if (common::CheckFreeSpace(folder, kLeast + messages + messages / kChunkShare)) {
    return ExtractCode::kOk;
  }
  log_.Error() << "No enough space";
  reason_ = std::strerror(ENOSPC);
  return ExtractCode::kNoSpace;
}

ExtractCode QorBagExtractor::CannotCreate(const std::string& name, int error) {
  reason_ = std::strerror(error);
  log_.Error() << "Cannot create file '" << name << "': " << reason_;
  return ExtractCode::kCannotCreate;
}

ExtractCode QorBagExtractor::WriteViewToFile(const QorView& view) {
  const std::string& name = options_.outputFile;
  const std::string writeName = name + ".active";
  QorBagFile output;
  output.SetVersion(input_.GetVersion());
  output.SetCompressionType(input_.GetCompressionType());
  if (common::IsPathExist(name)) {
    return CannotCreate(name, EEXIST);
  }
  switch (output.OpenWrite(writeName, FolderOf(name), name)) {
    case QorBagFile::kOk:
      break;
    case QorBagFile::kNoCompressor:
      log_.Error() << "Something wrong with compressor.";
      reason_ = "the compressor cannot be set up";
      std::remove(writeName.c_str());
      return ExtractCode::kNoCompressor;
    default:
      return CannotCreate(writeName, errno);
  }
  const int code = CopyMessages(view, output, progress_, stop_);
  const bool isWritten = code == QorBagFile::kOk;
  if (!isWritten) {
    reason_ = ReasonOf(code);
    log_.Error() << "An error occured while writing bag file";
  } else if (stop_) {
    log_.Info() << "Stop extracting";
  }
  return Finish(output, writeName, isWritten);
}

ExtractCode QorBagExtractor::Finish(QorBagFile& output, const std::string& writeName, bool isWritten) {
  log_.Info() << "Wrote " << progress_.written.load() << " message(s)";
  const int closed = output.CloseWrite();
  reason_ = isWritten && closed != QorBagFile::kOk ? ReasonOf(closed) : reason_;
  if (stop_ && progress_.written == 0) {
    std::remove(writeName.c_str());
    return ExtractCode::kStopped;
  }
  if (isWritten && closed == QorBagFile::kOk) {
    if (common::RenameToFreeName(writeName, options_.outputFile)) {
      log_.Info() << "Done";
      return stop_ ? ExtractCode::kStopped : ExtractCode::kOk;
    }
    reason_ = std::strerror(errno);
  }
  std::remove(writeName.c_str());
  if (!isWritten) {
    return ExtractCode::kWriteFailed;
  }
  log_.Error() << "Cannot close output file '" << options_.outputFile << "': " << reason_;
  return ExtractCode::kCannotClose;
}

}  // namespace qor::qorbag
