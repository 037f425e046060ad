// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_E2E_CHECK_STATUS_H
#define QOR_COM_E2E_CHECK_STATUS_H

#include <cstdint>

namespace qor::com::e2e {

/// What the check of one E2E-protected sample says. The numbers are those that tools report.
enum class CheckStatus : std::uint8_t {
  kOk = 0,             ///< intact and in sequence; up to maxDeltaCounter - 1 samples may have been lost before it
  kRepeated = 1,       ///< intact, but with the counter of the previous one
  kWrongSequence = 2,  ///< intact, but the counter went on by more than maxDeltaCounter, or back
  kError = 3,          ///< checksum, data id or length is wrong
  kNotAvailable = 4,   ///< nothing was received yet
  kNoNewData = 5,      ///< nothing was received since the previous check
  kCheckDisabled = 6   ///< the event is not protected, or with a profile that is not known here
};

/// The enumerator's name, for example "kOk"; "" for a number that is none.
constexpr const char* CheckStatusName(CheckStatus status) {
  switch (status) {
    case CheckStatus::kOk:
      return "kOk";
    case CheckStatus::kRepeated:
      return "kRepeated";
    case CheckStatus::kWrongSequence:
      return "kWrongSequence";
    case CheckStatus::kError:
      return "kError";
    case CheckStatus::kNotAvailable:
      return "kNotAvailable";
    case CheckStatus::kNoNewData:
      return "kNoNewData";
    case CheckStatus::kCheckDisabled:
      return "kCheckDisabled";
  }
  return "";
}

}  // namespace qor::com::e2e

#endif
