// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDED_ENDPOINT_H
#define QOR_QORBAG_RECORDED_ENDPOINT_H

#include <string>

#include "src/common/records/event_info.h"

/// The settings of a DDS endpoint for which a bag has no field of their own. They stand behind the name of the QoS
/// profile, each behind a ";" and only when it is not the default:
///
///     fast;best_effort;transient_local;keep_last=1;type=Speed_;partition=a,b;max_sample_size=100
///
/// docs/bag-format.md has the list. Any thread.
namespace qor::qorbag {

/// The profile with the settings. `dataType`: what the bag says of the payload; the DDS type name is a setting only
/// when it is another.
std::string WithEndpointSettings(const maintaind::DDSEventInfo& endpoint, const std::string& dataType);

/// Takes the settings out of the profile of an endpoint that was read from a bag; what is not understood is left out.
void RestoreEndpointSettings(maintaind::DDSEventInfo& endpoint);

}  // namespace qor::qorbag

#endif
