// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/opened_bags.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "src/common/checks.h"
#include "src/common/files.h"
#include "src/common/name_pattern.h"
#include "src/qorbag/bag_format.h"
#include "src/qorbag/bag_record_reader.h"
#include "src/qorbag/file_input.h"
#include "tools/common/near_names.h"
#include "tools/common/output.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

constexpr std::string_view kActive = ".active";

std::string WhyUnreadable(const std::string& file) {
  if (common::IsDirectory(file)) {
    return ": it is a folder";
  }
  if (!common::HasOnlySafeCharacters(file)) {
    return ": its name has a character that is refused, such as a parenthesis or a quotation mark";
  }
  qorbag::FileInput input(file);
  if (!input.IsOpen()) {
    return ": it is no file";
  }
  if (input.Size() == 0) {
    return ": it is empty";
  }
  std::uint32_t version = 0;
  std::uint64_t headerPos = 0;
  if (!qorbag::ReadVersion(input, version, headerPos)) {
    return version > qorbag::CURRENT_BAG_VERSION ? ": " + qorbag::TooNewText(version)
                                                 : "; 'qorbag check' tells where and what is wrong";
  }
  if (version < qorbag::kWithChunkEndInfo && file.ends_with(kActive)) {
    return ": it is of version " + qorbag::VersionText(version) + ", of which only closed ones can be read";
  }
  return "; 'qorbag check' tells where and what is wrong";
}

}  // namespace

void ComplainUnreadable(const std::string& file) {
  if (::access(file.c_str(), R_OK) != 0) {
    Complain("'" + Printable(file) + "': " + std::strerror(errno));
    return;
  }
  if (!file.ends_with(kActive) && qorbag::QorBagFile::CanBeFixed(file)) {
    Complain("'" + Printable(file) + "' was not closed. To make a bag of what is complete: rename it to '" +
             Printable(file) + ".active', then 'qorbag fix'");
    return;
  }
  Complain("'" + Printable(file) + "' cannot be read as a bag" + WhyUnreadable(file));
}

bool OpenedBags::Open(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    if (!bags_.emplace_back().OpenReadByName(file)) {
      ComplainUnreadable(file);
      return false;
    }
  }
  return true;
}

std::optional<ExitCode> OpenedBags::Select(const Selection& selection, qorbag::QorView& view) {
  if (const auto ending = CheckEventNames(selection.events, bags_); ending.has_value()) {
    return ending;
  }
  qorbag::QorView all;
  for (qorbag::QorBagFile& bag : bags_) {
    all.AddQuery(bag, 0, UINT64_MAX);
  }
  const std::uint64_t begin = all.GetBeginTime();
  const std::uint64_t end = selection.end > 0.0 ? qorbag::TimeAfter(begin, Milliseconds(selection.end)) : UINT64_MAX;
  const qorbag::QorEventQuery query(selection.events, {}, selection.domainId, selection.network);
  for (qorbag::QorBagFile& bag : bags_) {
    view.AddQuery(bag, query, qorbag::TimeAfter(begin, Milliseconds(selection.start)), end);
  }
  if (view.Size() != 0) {
    return std::nullopt;
  }
  Complain(all.Size() == 0 ? "there is no message" : "no message is of these events and this time");
  return kExitNoMatch;
}

bool OpenedBags::HasDdsEvent(const std::string& name) const {
  return std::ranges::any_of(bags_, [&name](const qorbag::QorBagFile& bag) {
    return std::ranges::any_of(bag.Content()->connections, [&name](const auto& one) {
      return one.second.driverType == maintaind::DriverType::kDds && one.second.eventName == name;
    });
  });
}

std::optional<ExitCode> CheckEventNames(const std::vector<std::string>& names,
                                        const std::list<qorbag::QorBagFile>& bags) {
  std::vector<std::string> known;
  for (const qorbag::QorBagFile& bag : bags) {
    for (const auto& [id, connection] : bag.Content()->connections) {
      known.push_back(connection.eventName);
    }
  }
  for (const std::string& name : names) {
    if (std::ranges::any_of(known, [&name](const auto& one) { return common::MatchesName(name, one); })) {
      continue;
    }
    Complain(common::IsNamePattern(name) ? "no event matches '" + Printable(name) + "'"
                                         : "no event is named '" + Printable(name) + "'." + DidYouMean(name, known));
    return kExitNoMatch;
  }
  return std::nullopt;
}

}  // namespace qor::tools
