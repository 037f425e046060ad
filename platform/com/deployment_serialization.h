// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_SERIALIZATION_H
#define QOR_COM_DEPLOYMENT_SERIALIZATION_H

#include "platform/com/deployment_reader.h"
#include "src/common/records/serialize_config.h"

namespace qor::com {

/// Reads the optional "serialization" of an entity: its type, and with it the settings of SOME/IP or the layout of a
/// PDU, which the record carries encoded.
void ReadSerialization(DeploymentReader& entity, maintaind::SerializeConfig& config);

}  // namespace qor::com

#endif
