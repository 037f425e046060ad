// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_GUID_TEXT_H
#define QOR_DDS_GUID_TEXT_H

#include <fastdds/rtps/common/Guid.h>

#include <string>

namespace qor::dds {

/// 24 lower-case hexadecimal digits.
std::string GuidText(const eprosima::fastrtps::rtps::GuidPrefix_t& prefix);
/// 32 lower-case hexadecimal digits.
std::string GuidText(const eprosima::fastrtps::rtps::GUID_t& guid);

}  // namespace qor::dds

#endif
