// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_QOR_SOMEIP_DESERIALIZER_H
#define QOR_DATATYPE_QOR_SOMEIP_DESERIALIZER_H

#include "src/common/records/serialization_node.h"
#include "src/datatype/qor_deserializer.h"

namespace qor::qortools::common {

/// Prints SOME/IP payloads that are serialized as the settings of an entity say. As QorDeserializer otherwise.
class QorSomeipDeserializer : public QorDeserializer {
 public:
  /// `queryAll` as the query of QorDeserializer; `topNode` holds the settings of the payload's type.
  QorSomeipDeserializer(QueryFunction queryAll, const maintaind::SerializationNode& topNode, FormatType format);
};

}  // namespace qor::qortools::common

#endif
