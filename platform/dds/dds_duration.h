// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DDS_DURATION_H
#define QOR_DDS_DDS_DURATION_H

#include <fastdds/rtps/common/Time_t.h>

#include <chrono>
#include <cstdint>

namespace qor::dds {

inline eprosima::fastrtps::Duration_t DdsDuration(std::chrono::milliseconds duration) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
  const std::chrono::nanoseconds rest = duration - seconds;
  return {static_cast<std::int32_t>(seconds.count()), static_cast<std::uint32_t>(rest.count())};
}

}  // namespace qor::dds

#endif
