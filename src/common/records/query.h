// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_QUERY_H
#define QOR_COMMON_RECORDS_QUERY_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/node_info.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

/// Asks for the data type of one entity. `domainId` 1000 and empty texts mean "any".
struct QueryDataTypeIndex {
  std::string entityName;
  std::string instanceShortName;
  std::uint32_t domainId = 1000;
  std::string networkIp;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("entityName", s.entityName...);
    visit("instanceShortName", s.instanceShortName...);
    visit("domainId", s.domainId...);
    visit("networkIp", s.networkIp...);
  }
};

/// Asks for the subscriber nodes of one event. A binding that the event lacks leaves its numbers 0; `topicName` is
/// "notopic" for an event without a topic.
struct QuerySubEventInfoIndex {
  std::uint16_t ddsServiceId = 0;
  std::uint16_t ddsInstanceId = 0;
  std::string topicName;
  std::uint16_t domainId = 0;
  std::uint16_t someipServiceId = 0;
  std::string ddsNetworkSegment;
  std::string someipNetworkSegment;
  std::uint16_t someipInstanceId = 0;
  std::uint16_t eventId = 0;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("ddsServiceId", s.ddsServiceId...);
    visit("ddsInstanceId", s.ddsInstanceId...);
    visit("topicName", s.topicName...);
    visit("domainId", s.domainId...);
    visit("someipServiceId", s.someipServiceId...);
    visit("ddsNetworkSegment", s.ddsNetworkSegment...);
    visit("someipNetworkSegment", s.someipNetworkSegment...);
    visit("someipInstanceId", s.someipInstanceId...);
    visit("eventId", s.eventId...);
  }
};

/// The subscriber nodes of one event as one daemon knows them.
struct SubNodeEventInfo {
  std::vector<NodeInfoWithAppName> subscribers;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("subscribers", s.subscribers...);
  }
};

/// What a daemon says when one event is to be shown.
struct EventShowTexts {
  std::string dataTypeName;      ///< name of the top-level type; empty: not known
  std::string topLevelTypeJson;  ///< its definition; empty: none is deployed
  std::string typeListJson;      ///< a JSON array of the definitions it refers to, directly or not

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("dataTypeName", s.dataTypeName...);
    visit("topLevelTypeJson", s.topLevelTypeJson...);
    visit("typeListJson", s.typeListJson...);
  }
};

/// The data types of one method.
struct MethodTypeTexts {
  std::vector<std::string> inputTypeJson;  ///< one definition a request parameter
  std::string outputTypeJson;              ///< empty: the method has no output
  std::string typeListJson;                ///< a JSON array of the definitions they refer to

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("inputTypeJson", s.inputTypeJson...);
    visit("outputTypeJson", s.outputTypeJson...);
    visit("typeListJson", s.typeListJson...);
  }
};

/// One data type definition.
struct DataTypeInfo {
  std::string name;
  std::string definitionJson;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("name", s.name...);
    visit("definitionJson", s.definitionJson...);
  }
};

/// A type and the types its definition names.
struct DataTypeRef {
  std::string name;
  std::vector<std::string> references;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("name", s.name...);
    visit("references", s.references...);
  }
};

/// How a switching operation ended.
enum class ReturnCode : std::uint32_t { kOk = 0, kNotFound = 1, kNotSupported = 2, kFailed = 3 };

}  // namespace qor::maintaind

#endif
