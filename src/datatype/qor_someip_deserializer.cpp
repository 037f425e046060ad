// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/qor_someip_deserializer.h"

#include <utility>

namespace qor::qortools::common {

QorSomeipDeserializer::QorSomeipDeserializer(QueryFunction queryAll, const maintaind::SerializationNode& topNode,
                                             FormatType format)
    : QorDeserializer(Protocol::kSomeip, std::move(queryAll), DeserializeType::kPadded,
                      maintaind::StructSerializationPolicy::kAlignOuterLayer, format, topNode) {}

}  // namespace qor::qortools::common
